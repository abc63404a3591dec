#include "streaming/StreamObjectManager.h"

#include <cstdio>
#include <exception>

#include "core/Crash.h"
#include "logging/DebugConsole.h"
#include "streaming/PStream.h"
#include "streaming/StreamableTraits.h"
#include "text/GrowString.h"

namespace {

// A plain pointer is constant-initialised, so it is null before any static
// initialiser runs, whatever their order.
StreamObjectManager* theSOManager_ = nullptr;

thread_local unsigned int readDepth = 0;

class DepthGuard
{
public:
  DepthGuard() { ++readDepth; }
  ~DepthGuard() { --readDepth; }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;
};

// How far the object reaches: E + size, within 32-bit offsets.
std::uint64_t objectEnd(std::uint32_t at, std::uint32_t size)
{
  return std::uint64_t(at) + size;
}

} // namespace

StreamObjectManager* theSOManager()
{
  if (!theSOManager_) {
    // Never destroyed: registrars of other libraries may outlive any order
    // of static destruction.
    auto* made = new StreamObjectManager;
    made->init();
  }
  return theSOManager_;
}

StreamObjectManager* StreamObjectManager::instance()
{
  return theSOManager_;
}

StreamObjectManager* StreamObjectManager::detach()
{
  StreamObjectManager* was = theSOManager_;
  theSOManager_ = nullptr;
  return was;
}

void StreamObjectManager::init()
{
  theSOManager_ = this;
}

bool StreamObjectManager::registerClass(const LightweightString<char>& shortName,
                                        const LightweightString<char>& fullName, Builder builder)
{
  const SORegisterRec record{builder, shortName, fullName};
  const bool shortIsNew = classes_.emplace(shortName, record).second;
  const bool fullIsNew = fullName == shortName || classes_.emplace(fullName, record).second;
  if (!shortIsNew || !fullIsNew) {
    const LightweightString<char> message = "Non-unique short name or full name registering " + shortName;
    qor_splat(message.c_str());
  }
  return true;
}

void StreamObjectManager::unregisterClass(const LightweightString<char>&) {}

const SORegisterRec* StreamObjectManager::find(const LightweightString<char>& name) const
{
  if (name.empty()) return nullptr;
  const auto it = classes_.find(name);
  return it == classes_.end() ? nullptr : &it->second;
}

StreamObjectManager::Builder StreamObjectManager::lookup(const LightweightString<char>& name) const
{
  const SORegisterRec* record = find(name);
  return record ? record->builder : nullptr;
}

Zr::Ptr<Streamable> StreamObjectManager::readObject(PStream& s)
{
  if (s.hasError()) {
    LogBoth("Warning: Stream with error flagged passed to readObject!\n");
    return Zr::Ptr<Streamable>();
  }
  if (readDepth >= kMaxNesting) {
    s.append("Objects nested deeper than 64 levels.");
    return Zr::Ptr<Streamable>();
  }
  DepthGuard depth;

  Streamable probe(Streamable::eHeaderProbe);
  const std::uint32_t start = s.position();
  StreamableTraitsBase::bytesAvailable(s, 512);
  StreamableTraits<Streamable, void>::unpackHeaderAndObject(&probe, s);
  if (s.hasError()) {
    LogBoth("StreamObjectManager::readObject(): Failed to read header!\n");
    return Zr::Ptr<Streamable>();
  }
  const std::uint64_t end = objectEnd(s.position(), probe.STRM_chunkSize());
  // Brings the whole object into the cache, as far as the file has it.
  StreamableTraitsBase::bytesAvailable(s, end - s.position());

  const LightweightString<char>& name = probe.STRM_unpackedHierarchyName();
  Zr::Ptr<Streamable> object;
  if (const Builder builder = lookup(name)) {
    s.position(start);
    try {
      object = builder(s);
    } catch (...) {
      object = Zr::Ptr<Streamable>();
      s.append(("Builder for " + name + " threw an exception.").c_str());
    }
  } else {
    const LightweightString<char> line = "Unregistered builder for " + name + ".";
    herc_printf("%s\n", line.c_str());
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
  }
  // A failed or unknown object is stepped over, so the next one can be read.
  StreamableTraitsBase::seekWithin(s, end);
  return object;
}

Zr::Ptr<Streamable> StreamObjectManager::readObjectAs(PStream& s, const Streamable& example)
{
  Zr::Ptr<Streamable> copy = example.clone(Streamable::eOrdinary);
  if (copy) copy->STRM_hierarchyUnpack(s);
  return copy;
}

StreamObjectInfo StreamObjectManager::objectInfo(PStream& s)
{
  return StreamObjectInfo(s);
}

StreamObjectInfo::StreamObjectInfo(PStream& s)
{
  if (StreamableTraitsBase::readBoundedText(s, name, StreamableTraitsBase::kMaxLayerNameLength) !=
      StreamableTraitsBase::eTextRead) {
    s.unexpectEOF();
    return;
  }
  s >> first >> second;
}

void StreamObjectInfo::printOn(GrowString& text) const
{
  if (name.empty()) return;
  char numbers[32];
  std::snprintf(numbers, sizeof numbers, " %u %u", first, second);
  text.append(name.c_str());
  text.append(" ");
  text.append(numbers);
}

PStream& operator>>(PStream& s, Streamable*& object)
{
  object = nullptr;
  StreamObjectManager* manager = StreamObjectManager::instance();
  if (!manager) {
    s.append("No Stream Object Manager.");
    return s;
  }
  Zr::Ptr<Streamable> read = manager->readObject(s);
  if (!read) return s;
  // Handed over as a new object is: with no handle counted on it, so that
  // the caller may delete it or hold it in a Zr::Ptr.
  unsigned int* counter = read.counterWord();
  object = read.get();
  OSAtomics::incRef(counter);
  read = Zr::Ptr<Streamable>();
  OSAtomics::decRef(counter);
  return s;
}
