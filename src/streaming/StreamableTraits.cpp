#include "streaming/StreamableTraits.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "logging/DebugConsole.h"
#include "streaming/DynamicIntegralStorage.h"

namespace {

using Traits = StreamableTraitsBase;

thread_local const StreamLayerHeader* runningLayer = nullptr;

constexpr std::uint64_t kReadAhead = 1 << 20;

// Marks the layer whose unpack runs, and restores the outer one after it,
// also when the unpack throws.
class RunningLayer
{
public:
  explicit RunningLayer(const StreamLayerHeader& header) : outer_(runningLayer) { runningLayer = &header; }
  ~RunningLayer() { runningLayer = outer_; }
  RunningLayer(const RunningLayer&) = delete;
  RunningLayer& operator=(const RunningLayer&) = delete;

private:
  const StreamLayerHeader* outer_;
};

// Appends a formatted text of any length to the stream's error text.
void appendFormatted(PStream& s, const char* format, ...) __attribute__((format(printf, 2, 3)));
void appendFormatted(PStream& s, const char* format, ...)
{
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  const int n = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  if (n > 0) {
    std::vector<char> text(size_t(n) + 1);
    std::vsnprintf(text.data(), text.size(), format, again);
    s.append(text.data());
  }
  va_end(again);
}

// The end of what a reader may look at: the file's size, or for a stream
// being written, what the cache holds.
std::uint64_t dataEnd(const StreamFile& file)
{
  return file.usingTempFile() ? std::max(file.fileSize(), file.cacheSize()) : file.fileSize();
}

const unsigned char* cursor(PStream& s)
{
  return s.file()->cacheData() + s.file()->offset();
}

// A fixed-size value of the header: read when all of it is there; when the
// file ends inside it, the cursor goes to the end and the value keeps its
// default.
template <class V> void readHeaderValue(PStream& s, V& value)
{
  const std::uint32_t n = Traits::bytesAvailable(s, sizeof value);
  if (n == 0) return;
  if (n < sizeof value) {
    Traits::seekWithin(s, ~std::uint64_t(0));
    return;
  }
  std::memcpy(&value, cursor(s), sizeof value);
  s.position(s.position() + std::uint32_t(sizeof value));
}

// The same for a value in the dynamic form of format 1.
template <class S, class L, class V> void readDynamicValue(PStream& s, V& value)
{
  const std::uint32_t n = Traits::bytesAvailable(s, sizeof(S) + sizeof(L));
  if (n == 0) return;
  L wide = 0;
  const std::size_t used = DynamicIntegralStorage<S, L>::decode(cursor(s), n, wide);
  if (used == 0) {
    Traits::seekWithin(s, ~std::uint64_t(0));
    return;
  }
  value = wide;
  s.position(s.position() + std::uint32_t(used));
}

// Whether `known` holds exactly the `length` bytes at `text`.
bool isText(const LightweightString<char>* known, const char* text, std::uint32_t length)
{
  return known && known->size() == length && std::memcmp(known->c_str(), text, length) == 0;
}

// The names of the base layer, which announce the stream's format.
bool isBaseLayerName(const LightweightString<char>& name)
{
  return (name.size() == 1 && name.c_str()[0] == '$') ||
         (name.size() == 10 && std::memcmp(name.c_str(), "Streamable", 10) == 0);
}

// The version and the two sizes of a format 2 header, read in one look when
// all ten bytes are there and the header does not switch the stream's
// format; otherwise false, with nothing read.
bool readFixedPartAtOnce(PStream& s, StreamLayerHeader& header)
{
  constexpr std::uint32_t kFixedPart = 2 + 4 + 4;
  if (s.format() != 2 || Traits::bytesAvailable(s, kFixedPart) < kFixedPart) return false;
  const unsigned char* at = cursor(s);
  if (at[0] != 2 && isBaseLayerName(header.name)) return false;
  header.major = at[0];
  header.minor = at[1];
  std::memcpy(&header.layerChunkSize, at + 2, 4);
  std::memcpy(&header.hierarchyChunkSize, at + 6, 4);
  s.position(s.position() + kFixedPart);
  return true;
}

// The part of a header after the name, as format 2 has it: the version and
// the two sizes, in one write.
void writeVersionAndSizes(PStream& s, const StreamableLayerVersion& version, std::uint32_t layerSize,
                          std::uint32_t hierarchySize)
{
  unsigned char bytes[2 + 4 + 4];
  bytes[0] = version.major;
  bytes[1] = version.minor;
  std::memcpy(bytes + 2, &layerSize, 4);
  std::memcpy(bytes + 6, &hierarchySize, 4);
  s.writeBinary(bytes, sizeof bytes, false, true);
}

} // namespace

std::uint32_t StreamableTraitsBase::bytesAvailable(PStream& s, std::uint64_t want)
{
  StreamFile* file = s.file();
  if (!file) return 0;
  const std::uint64_t at = file->offset();
  const std::uint64_t end = std::min(dataEnd(*file), at + want);
  if (at >= end) return 0;
  if (end > file->cacheSize()) {
    // Past the part read at open, the file comes in by pieces of at least
    // kReadAhead, so that a reader of many small objects does not pay a
    // system call for each header.
    const std::uint64_t ahead = std::max(end, std::uint64_t(file->cacheSize()) + kReadAhead);
    file->cacheForward(StreamFile::FileAddress(std::min(ahead, dataEnd(*file))));
  }
  const std::uint64_t cached = std::min<std::uint64_t>(end, file->cacheSize());
  return cached > at ? std::uint32_t(cached - at) : 0;
}

void StreamableTraitsBase::seekWithin(PStream& s, std::uint64_t offset)
{
  StreamFile* file = s.file();
  if (!file) return;
  offset = std::min(offset, dataEnd(*file));
  if (offset > file->cacheSize()) file->cacheForward(StreamFile::FileAddress(offset));
  offset = std::min<std::uint64_t>(offset, file->cacheSize());
  file->position(StreamFile::FileAddress(offset));
}

const StreamLayerHeader* StreamableTraitsBase::currentLayer()
{
  return runningLayer;
}

StreamableTraitsBase::TextRead StreamableTraitsBase::readBoundedText(PStream& s,
                                                                     LightweightString<char>& text,
                                                                     unsigned int maxLength,
                                                                     const LightweightString<char>* knownA,
                                                                     const LightweightString<char>* knownB)
{
  const std::uint32_t n = bytesAvailable(s, std::uint64_t(maxLength) + 1);
  const char* at = n ? reinterpret_cast<const char*>(cursor(s)) : nullptr;
  const void* zero = n ? std::memchr(at, 0, n) : nullptr;
  if (zero) {
    const auto length = std::uint32_t(static_cast<const char*>(zero) - at);
    if (isText(knownA, at, length))
      text = *knownA;
    else if (isText(knownB, at, length))
      text = *knownB;
    else
      text = LightweightString<char>(at, length);
    s.position(s.position() + length + 1);
    return eTextRead;
  }
  text = LightweightString<char>();
  if (n == std::uint64_t(maxLength) + 1) {
    s.position(s.position() + n);
    return eTextTooLong;
  }
  if (n) text = LightweightString<char>(at, n);
  seekWithin(s, ~std::uint64_t(0));
  return eTextAtEnd;
}

namespace {

unsigned int readHeader(PStream& s, StreamLayerHeader& header, const Streamable* object,
                        const char* layerName, const LightweightString<char>* knownA,
                        const LightweightString<char>* knownB)
{
  header = StreamLayerHeader();
  // The texts name the reader's class, or what the stream says.
  auto layerText = [&]() { return LightweightString<char>(layerName ? layerName : header.name.c_str()); };
  auto objectText = [&]() { return object ? object->hierarchyName(false, false) : header.name; };

  if (!s.eof()) {
    if (Traits::readBoundedText(s, header.name, Traits::kMaxLayerNameLength, knownA, knownB) ==
        Traits::eTextTooLong) {
      appendFormatted(s, "Layer name longer than %u bytes while unpacking %s, layer %s.",
                      Traits::kMaxLayerNameLength, objectText().c_str(), layerText().c_str());
      return Traits::eStreamError;
    }
  }

  // Only a major that is really there announces a format; a default at the
  // end of the file does not.
  const bool majorThere = !s.eof();
  if (!readFixedPartAtOnce(s, header)) {
    switch (s.format()) {
    case 1: {
      readDynamicValue<unsigned char, unsigned short>(s, header.major);
      readDynamicValue<unsigned char, unsigned short>(s, header.minor);
      bool oversized = false;
      if (header.major > 255) {
        s.append((" Strm1.0 Object has oversized major rev (" + layerText() + "). ").c_str());
        oversized = true;
      }
      if (header.minor > 255) {
        s.append((" Strm1.0 Object has oversized minor rev (" + layerText() + "). ").c_str());
        oversized = true;
      }
      if (oversized) return Traits::eStreamError;
      break;
    }
    case 2: {
      unsigned char major = 0;
      unsigned char minor = 0;
      readHeaderValue(s, major);
      readHeaderValue(s, minor);
      header.major = major;
      header.minor = minor;
      break;
    }
    default:
      s.append("Unrecognized version for Streamable base");
      return Traits::eStreamError;
    }

    // The base layer announces the stream's format in its major.
    if (majorThere && isBaseLayerName(header.name)) s.setFormat(header.major);

    switch (s.format()) {
    case 1:
      readDynamicValue<unsigned short, unsigned int>(s, header.layerChunkSize);
      readDynamicValue<unsigned short, unsigned int>(s, header.hierarchyChunkSize);
      break;
    case 2:
      readHeaderValue(s, header.layerChunkSize);
      readHeaderValue(s, header.hierarchyChunkSize);
      break;
    default:
      s.append("Unrecognized version for Streamable base");
      return Traits::eStreamError;
    }
  }

  header.dataStart = s.position();
  if (s.eof()) {
    if (header.layerChunkSize == 0 && header.hierarchyChunkSize == 0) return Traits::eUnpacked;
    s.append(
        ("Unexpected end-of-file while unpacking " + objectText() + ", layer " + layerText() + ".").c_str());
    return Traits::eUnexpectedEOF;
  }
  return 0;
}

} // namespace

unsigned int readStreamLayerHeader(PStream& s, StreamLayerHeader& header, const Streamable* object,
                                   const char* layerName)
{
  return readHeader(s, header, object, layerName, nullptr, nullptr);
}

unsigned int StreamableTraitsBase::packLayer(const LayerOps& ops, const void* object,
                                             StreamableLayerVersion& version, PStream& s,
                                             PackFunctionStack& stack)
{
  stack.unhookTop();
  version = StreamableLayerVersion();
  s << ops.shortName;
  const std::uint32_t sizesStart = s.position();
  writeVersionAndSizes(s, version, StreamableChunkSizeHolder::kUnknownSize,
                       StreamableChunkSizeHolder::kUnknownSize);
  const std::uint32_t dataStart = s.position();
  ops.pack(object, s);
  const std::uint32_t ownEnd = s.position();
  if (PackFunctionStackEntry* next = stack.top()) {
    const unsigned int result = next->function(next->object, s, stack);
    if (result != ePacked && result != eUnpacked) return result;
  }
  const std::uint32_t hierarchyEnd = s.position();
  // The version the layer chose and the true sizes go over the first ones,
  // with the same width: nothing moves.
  s.position(sizesStart);
  writeVersionAndSizes(s, version, ownEnd - dataStart, hierarchyEnd - dataStart);
  s.position(hierarchyEnd);
  return s.hasError() ? eStreamError : ePacked;
}

unsigned int StreamableTraitsBase::unpackLayer(const LayerOps& ops, void* object, Streamable* whole,
                                               StreamableLayerVersion& version, PStream& s)
{
  StreamLayerHeader header;
  const unsigned int read =
      readHeader(s, header, whole, ops.longName, ops.sharedShortName, ops.sharedLongName);
  if (read != 0) return read;
  const std::uint64_t start = header.dataStart;
  if (ops.isBase) whole->STRM_setChunkSize(header.hierarchyChunkSize);
  if (header.layerChunkSize == 0) return eUnpacked;

  // A name read as one of the layer's own shares its text, so the usual
  // case compares two pointers.
  if (!s.hasError() && !header.name.empty() && header.name != *ops.sharedShortName &&
      header.name != *ops.sharedLongName) {
    s.append(("Expected short name '" + LightweightString<char>(ops.shortName) + "' for layer " +
              ops.longName + ", got " + header.name + ".")
                 .c_str());
    seekWithin(s, start + header.hierarchyChunkSize);
    return eWrongLayer;
  }

  version.major = static_cast<unsigned char>(header.major);
  version.minor = static_cast<unsigned char>(header.minor);
  {
    RunningLayer running(header);
    ops.unpack(object, s);
  }
  if (s.hasError()) {
    seekWithin(s, start + header.hierarchyChunkSize);
    return eStreamError;
  }

  const std::uint64_t at = s.position();
  const std::uint64_t end = start + header.layerChunkSize;
  if (at == end) return eUnpacked;
  const LightweightString<char> objectName = whole->hierarchyName(false, false);
  if (at > end) {
    appendFormatted(
        s,
        "Error: Unpacker read beyond end of chunk while unpacking object %s, layer %s v%d.%d, %d bytes "
        "overread.\n",
        objectName.c_str(), ops.longName, int(version.major), int(version.minor), int(at - end));
    return eStreamError;
  }
  Log("Warning: Not all object data was read while unpacking object %s, layer %s v%d.%d, %d/%d bytes "
      "unread.\n",
      objectName.c_str(), ops.longName, int(version.major), int(version.minor), int(end - at),
      int(header.layerChunkSize));
  seekWithin(s, end);
  return eUnpacked;
}

Zr::Ptr<Streamable> StreamableTraits<Streamable, void>::build(PStream& s)
{
  auto* made = new (std::nothrow) Streamable(Streamable::eBuilt);
  if (!made) return Zr::Ptr<Streamable>();
  Zr::Ptr<Streamable> handle(made);
  if (made->STRM_hierarchyUnpack(s) == eStreamError) return Zr::Ptr<Streamable>();
  return handle;
}
