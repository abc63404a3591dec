#include "streaming/Streamable.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "buffers/ByteBufferImpl.h"
#include "core/Assert.h"
#include "logging/DebugConsole.h"
#include "streaming/StreamableTraits.h"
#include "text/GrowString.h"

Streamable::Streamable(BuilderType type) : builderType_(type) {}

Streamable::Streamable(const Streamable& other)
    : Zr::InternalRefCount(), StreamableChunkSizeHolder(), iObject(), STRM_layer_(other.STRM_layer_),
      builderType_(eOrdinary)
{}

Streamable& Streamable::operator=(const Streamable& other)
{
  STRM_layer_ = other.STRM_layer_;
  return *this;
}

Streamable::~Streamable() = default;

unsigned int Streamable::STRM_hierarchyUnpack(PStream& s)
{
  return STRM_Traits::hierarchyUnpack(this, s);
}

unsigned int Streamable::STRM_hierarchyPack(PStream& s) const
{
  return STRM_Traits::hierarchyPack(this, s);
}

void Streamable::printOn(GrowString& text) const
{
  text.append("Streamable");
}

void Streamable::assign(const Streamable*)
{
  Zr::softAssert(false, "false", "misc/strmable line 124");
}

LightweightString<char> Streamable::hierarchyName(bool includeBase, bool shortNames) const
{
  return subHierarchyName(includeBase, shortNames);
}

Zr::Ptr<Streamable> Streamable::clone(BuilderType) const
{
  return Zr::Ptr<Streamable>();
}

LightweightString<char> Streamable::subHierarchyName(bool includeBase, bool shortNames)
{
  if (!includeBase) return LightweightString<char>();
  return LightweightString<char>(shortNames ? shortLayerName() : layerName());
}

LightweightString<char> Streamable::STRM_L_Streamable_buildHierarchyName(const LightweightString<char>& name,
                                                                         bool includeBase, bool shortNames)
{
  if (!includeBase) return name;
  return subHierarchyName(true, shortNames) + "." + name;
}

void Streamable::readChunkAsBinary(PStream& s, Zr::Ptr<ByteBufferImpl>& buffer)
{
  std::uint32_t layerChunkSize = 0;
  std::uint32_t hierarchyChunkSize = 0;
  const StreamLayerHeader* layer = StreamableTraitsBase::currentLayer();
  const std::uint32_t at = s.position();
  if (layer && layer->dataStart == at) {
    // Inside an unpack the header was just read, in whichever format.
    layerChunkSize = layer->layerChunkSize;
    hierarchyChunkSize = layer->hierarchyChunkSize;
  } else {
    // Otherwise the two sizes stand just before the cursor, as format 2 has them.
    const StreamFile* file = s.file();
    if (!file || at < 8 || at > file->cacheSize()) {
      s.unexpectEOF();
      return;
    }
    std::memcpy(&layerChunkSize, file->cacheData() + at - 8, 4);
    std::memcpy(&hierarchyChunkSize, file->cacheData() + at - 4, 4);
  }
  Zr::softAssert(layerChunkSize == hierarchyChunkSize, "layerChunkSize == hierarchyChunkSize",
                 "misc/strmable line 264");
  if (layerChunkSize == 0) return;
  // The size comes from the file: it must be there before anything is allocated.
  if (StreamableTraitsBase::bytesAvailable(s, layerChunkSize) < layerChunkSize) {
    s.unexpectEOF();
    return;
  }
  auto* bytes = new (std::nothrow) ByteBufferImpl(layerChunkSize);
  if (!bytes || !bytes->getBuffer()) {
    delete bytes;
    s.append("Out of memory reading a layer's data.");
    return;
  }
  Zr::Ptr<ByteBufferImpl> held(bytes);
  s.readBytes(bytes->getBuffer(), layerChunkSize);
  bytes->setUsed(layerChunkSize);
  buffer = held;
}

int Streamable::compareTypes(const Streamable* a, const Streamable* b)
{
  if (a == b) return 0;
  if (!a || !b) return 1;
  return a->hierarchyName(false, true) == b->hierarchyName(false, true) ? 0 : 1;
}

void Streamable::asString(GrowString& text) const
{
  text.reset();
  printOn(text);
}

LightweightString<char> Streamable::className() const
{
  const LightweightString<char> names = hierarchyName(false, false);
  if (names.empty()) return LightweightString<char>(layerName());
  const char* text = names.c_str();
  const char* dot = std::strrchr(text, '.');
  return dot ? LightweightString<char>(dot + 1) : names;
}

void Streamable::pack(PStream& s) const
{
  STRM_setLayerVersion(2, 0);
  s << hierarchyName(false, true);
}

void Streamable::unpack(PStream& s)
{
  const unsigned int version = (unsigned(STRM_layer_.major) << 16) + STRM_layer_.minor;
  if (version != 0x10000 && version != 0x20000) {
    s.append(" Unknown object version! ");
    return;
  }
  const std::uint32_t start = s.position();
  // The name read is almost always the class's own, whose text it then shares.
  const LightweightString<char> own = hierarchyName(false, true);
  LightweightString<char> name;
  switch (StreamableTraitsBase::readBoundedText(s, name, kMaxHierarchyNameLength, &own)) {
  case StreamableTraitsBase::eTextRead:
    break;
  case StreamableTraitsBase::eTextTooLong:
    s.append("Hierarchy name longer than 16384 bytes.");
    return;
  case StreamableTraitsBase::eTextAtEnd:
    s.unexpectEOF();
    return;
  }
  unpackedHierarchyName_ = name;
  // What is left of the hierarchy is the nested layers. A hostile size
  // smaller than the name leaves none rather than wrapping round.
  const std::uint32_t used = s.position() - start;
  STRM_setChunkSize(STRM_chunkSize() >= used ? STRM_chunkSize() - used : 0);
  if (builderType_ == eHeaderProbe) return;
  if (name == own) return;
  if (const LightweightString<char> ownLong = hierarchyName(false, false); name == ownLong) {
    unpackedHierarchyName_ = ownLong;
    return;
  }
  const LightweightString<char> message =
      LightweightString<char>("Expected hierarchy Streamable.") + own + ", got Streamable." + name;
  s.append(message.c_str());
}

PStream& operator<<(PStream& s, const Streamable& object)
{
  object.STRM_hierarchyPack(s);
  return s;
}

PStream& operator>>(PStream& s, Streamable& object)
{
  if (s.hasError()) {
    LogBoth("Warning: Attempted to unpack from a stream with error flagged!\n");
    s.clearError();
  }
  object.STRM_hierarchyUnpack(s);
  return s;
}
