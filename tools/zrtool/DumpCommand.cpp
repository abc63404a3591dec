// zrtool dump: lists the streamed objects of a file by their layer headers
// alone, so no class needs to be known. The headers are read by the
// library's own reader; this file only walks from one to the next.
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Tool.h"
#include "libzr/Strings.h"
#include "streaming/PStream.h"
#include "streaming/StreamFile.h"
#include "streaming/StreamableTraits.h"

namespace zrtool {

namespace {

using Traits = StreamableTraitsBase;

// A name from the file as printable text: other bytes as \xNN, long ones cut.
std::string printable(const LightweightString<char>& name)
{
  std::string text;
  for (unsigned int i = 0; i < name.size() && text.size() < 60; ++i) {
    const unsigned char c = static_cast<unsigned char>(name.c_str()[i]);
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, c >= 0x20 && c < 0x7F && c != '\\' ? "%c" : "\\x%02X", c);
    text += escaped;
  }
  if (text.size() >= 60) text += "...";
  return text;
}

std::string versionOf(const StreamLayerHeader& h)
{
  return std::to_string(h.major) + "." + std::to_string(h.minor);
}

void printLayer(const StreamLayerHeader& h)
{
  std::printf("  %-8s v%-5s layer %-8u hierarchy %u\n", printable(h.name).c_str(), versionOf(h).c_str(),
              h.layerChunkSize, h.hierarchyChunkSize);
}

// What the stream's reader said, or the fallback; the stream is cleared.
std::string takeError(PStream& s, const std::string& fallback)
{
  std::string why = s.hasError() ? s.errorText() : fallback;
  s.clearError();
  while (!why.empty() && (why.back() == '\n' || why.back() == ' ')) why.pop_back();
  while (!why.empty() && why.front() == ' ') why.erase(0, 1);
  return why;
}

class Dumper
{
public:
  Dumper(PStream& s, std::uint64_t size) : s_(s), size_(size) {}

  // Lists the object at offset; false, with stop_ set, when no object
  // starts there that says where the next one is.
  bool object(std::uint64_t at, std::uint64_t& next)
  {
    s_.position(StreamFile::FileAddress(at));
    StreamLayerHeader base;
    if (readStreamLayerHeader(s_, base) != 0) return stop(at, takeError(s_, "its header cannot be read"));
    if (base.name != "$" && base.name != "Streamable")
      return stop(at, "no object starts here: its first layer is named \"" + printable(base.name) +
                          "\", where \"$\" belongs");
    if (base.layerChunkSize > base.hierarchyChunkSize)
      return stop(at, "the base layer's own size " + std::to_string(base.layerChunkSize) +
                          " is larger than its hierarchy size " + std::to_string(base.hierarchyChunkSize));
    const std::uint64_t end = std::uint64_t(base.dataStart) + base.hierarchyChunkSize;
    if (end > size_)
      return stop(at, "the object claims " + std::to_string(end - at) + " bytes, but the file ends " +
                          std::to_string(size_ - at) + " bytes on: it is cut short, or a size is wrong");
    next = end;

    // The base layer's data is the hierarchy name, the short names below it.
    LightweightString<char> hierarchy;
    const std::uint32_t longest =
        std::min<std::uint32_t>(base.layerChunkSize - 1, Streamable::kMaxHierarchyNameLength);
    const bool named =
        base.layerChunkSize > 0 && Traits::readBoundedText(s_, hierarchy, longest) == Traits::eTextRead;
    ++objects_;
    std::printf("offset %llu: %s, %llu bytes\n", (unsigned long long)at,
                named ? printable(hierarchy).c_str() : "(no hierarchy name)", (unsigned long long)(end - at));
    printLayer(base);
    if (!named) return damaged(base.dataStart, "the base layer holds no hierarchy name");
    // A nested layer named "$" would switch the stream's format for the
    // objects after this one too.
    const std::uint32_t format = s_.format();
    const bool sound = layers(base, end, hierarchy, at);
    s_.setFormat(format);
    return sound;
  }

  int objects() const { return objects_; }
  int damagedObjects() const { return damaged_; }
  const std::string& stopped() const { return stop_; }

private:
  // Lists the layers inside the base layer; false never: a damaged layer
  // costs only the rest of its object.
  bool layers(const StreamLayerHeader& base, std::uint64_t end, const LightweightString<char>& hierarchy,
              std::uint64_t at)
  {

    // Each layer holds the next one after its own data, up to its end.
    std::string names;
    std::uint64_t layer = std::uint64_t(base.dataStart) + base.layerChunkSize;
    std::uint64_t within = end;
    while (layer < within) {
      s_.position(StreamFile::FileAddress(layer));
      StreamLayerHeader h;
      if (readStreamLayerHeader(s_, h) != 0)
        return damaged(layer, "a layer header cannot be read: " + takeError(s_, "the file ends in it"));
      const std::uint64_t layerEnd = std::uint64_t(h.dataStart) + h.hierarchyChunkSize;
      const std::string name = "layer \"" + printable(h.name) + "\"";
      if (h.layerChunkSize > h.hierarchyChunkSize)
        return damaged(layer, name + "'s own size " + std::to_string(h.layerChunkSize) +
                                  " is larger than its hierarchy size " +
                                  std::to_string(h.hierarchyChunkSize));
      if (layerEnd > within)
        return damaged(layer, name + " claims " + std::to_string(h.hierarchyChunkSize) +
                                  " bytes, past the end of the layer around it at offset " +
                                  std::to_string(within));
      printLayer(h);
      if (!names.empty()) names += '.';
      names += h.name.c_str();
      layer = std::uint64_t(h.dataStart) + h.layerChunkSize;
      within = layerEnd;
    }
    if (names != hierarchy.c_str())
      return damaged(at, "its layers are \"" + printable(LightweightString<char>(names.c_str())) +
                             "\", not the hierarchy its base layer names");
    return true;
  }

  bool stop(std::uint64_t at, const std::string& why)
  {
    stop_ = "offset " + std::to_string(at) + ": " + why;
    return false;
  }

  // The object's bounds are sound: the next object can still be read.
  bool damaged(std::uint64_t at, const std::string& why)
  {
    ++damaged_;
    std::printf("  offset %llu: %s; stepped over the rest of this object\n", (unsigned long long)at,
                why.c_str());
    s_.clearError();
    return true;
  }

  PStream& s_;
  std::uint64_t size_;
  int objects_ = 0;
  int damaged_ = 0;
  std::string stop_;
};

} // namespace

int runDump(const Args& args)
{
  if (args.size() != 1) return usageError("dump", "expects one FILE");
  const std::string& path = args[0];
  std::string reason;
  if (!isReadableFile(path, reason)) return cannotRead(path, reason);
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return cannotRead(path, "it vanished");
  const std::uint64_t size = std::uint64_t(st.st_size);
  if (size == 0) {
    std::printf("%s: 0 bytes, no objects\n", path.c_str());
    return eOk;
  }
  if (size > 0xFFFFFFFFull) return cannotRead(path, "larger than the 4 GiB a stream file can hold");

  StreamFile file;
  file.create(fromUTF8(path.c_str(), unsigned(path.size())), iFile::eOpenExisting);
  if (!file.valid() || file.fileSize() != size) return cannotRead(path, "the library cannot open it");
  PStream s(&file);
  Dumper dumper(s, size);
  std::uint64_t at = 0;
  while (at < size && dumper.object(at, at)) {
  }

  std::printf("%d object%s in %llu bytes", dumper.objects(), dumper.objects() == 1 ? "" : "s",
              (unsigned long long)size);
  if (dumper.damagedObjects()) std::printf(", %d of them damaged", dumper.damagedObjects());
  std::printf("\n");
  std::fflush(stdout);
  if (!dumper.stopped().empty()) {
    std::printf("stopped at %s\n", dumper.stopped().c_str());
    std::fprintf(stderr, "zrtool: %s stops making sense at %s\n", path.c_str(), dumper.stopped().c_str());
    return eBadData;
  }
  if (dumper.damagedObjects()) {
    std::fprintf(stderr, "zrtool: %s has %d damaged object%s\n", path.c_str(), dumper.damagedObjects(),
                 dumper.damagedObjects() == 1 ? "" : "s");
    return eBadData;
  }
  return eOk;
}

} // namespace zrtool
