// Loads arbitrary bytes as a partial file of a block file, reads across the
// blocks it took in, and checks that saving and loading again keeps them.
// Records are 32800 bytes: run with -max_len=100000 or more.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "files/VirtualFileBase.h"
#include "libzr/Strings.h"

namespace {

class FuzzFile : public VirtualFileBase
{
public:
  using VirtualFileBase::blocks_;
  LightweightString<wchar_t> getName() const override { return {}; }
  bool isComplete() const override { return true; }
  unsigned long getBytesArrived() const override { return 0; }
  void cancelWaits() override {}
  LightweightString<wchar_t> getSourceName() const override { return {}; }
  bool setSourceName(const LightweightString<wchar_t>&) override { return false; }
};

const std::string& folder()
{
  static const std::string made = [] {
    // mkdtemp replaces the six trailing X characters.
    std::string pattern = "/tmp/fuzz_partialfile_" + std::string(6, 'X');
    char* name = pattern.data();
    if (!mkdtemp(name)) abort();
    return std::string(name) + "/";
  }();
  return made;
}

LightweightString<wchar_t> wide(const std::string& path)
{
  return fromUTF8(path.c_str(), unsigned(path.size()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string in = folder() + "in.partial";
  const std::string out = folder() + "out.partial";
  FILE* f = std::fopen(in.c_str(), "wb");
  if (!f) abort();
  if (size && std::fwrite(data, 1, size, f) != size) abort();
  std::fclose(f);

  FuzzFile file;
  if (!file.loadFromPartialFile(wide(in))) abort();
  const size_t records = size / VirtualFileBase::kRecordSize;
  if (file.blocks_.size() > records) abort();

  // Reads at offsets the input chooses, some straddling blocks.
  std::vector<char> buffer(3 * VirtualFileBase::kBlockSize);
  for (size_t i = 0; i + 8 <= size && i < 64; i += 8) {
    uint64_t offset = 0;
    std::memcpy(&offset, data + i, 8);
    const unsigned int count = unsigned(offset % buffer.size());
    if (file.readAt(offset >> 16, buffer.data(), count) > count) abort();
  }
  for (const auto& [offset, block] : file.blocks_) {
    if (block->getUsed() != VirtualFileBase::kBlockSize) abort();
    if (offset % VirtualFileBase::kBlockSize != 0) continue;
    if (file.readAt(offset, buffer.data(), VirtualFileBase::kBlockSize) != VirtualFileBase::kBlockSize)
      abort();
    if (std::memcmp(buffer.data(), block->getBuffer(), VirtualFileBase::kBlockSize) != 0) abort();
  }

  unlink(out.c_str());
  file.loadFromPartialFile(wide(out));
  if (!file.saveToPartialFile()) abort();
  FuzzFile again;
  if (!again.loadFromPartialFile(wide(out))) abort();
  if (again.blocks_.size() != file.blocks_.size()) abort();
  for (const auto& [offset, block] : file.blocks_) {
    auto it = again.blocks_.find(offset);
    if (it == again.blocks_.end()) abort();
    if (std::memcmp(it->second->getBuffer(), block->getBuffer(), VirtualFileBase::kBlockSize) != 0) abort();
  }
  return 0;
}
