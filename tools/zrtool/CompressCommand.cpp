// zrtool compress and uncompress: the compressed block format, made and read
// through ZrDataCompression.
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "Tool.h"
#include "buffers/ZrDataCompression.h"

namespace zrtool {

namespace {

// A block's length fields are 32 bits; leave room for the header and zlib's bound.
constexpr size_t kLargestInput = 0x7FFFFFFF;

Zr::Ptr<iMemHolder> holderOf(const std::string& data)
{
  Zr::Ptr<ByteBufferImpl> buffer(new ByteBufferImpl(unsigned(data.size())));
  if (!data.empty() && !buffer->getBuffer()) return {};
  buffer->append(reinterpret_cast<const unsigned char*>(data.data()), unsigned(data.size()));
  return buffer;
}

std::string bytesOf(const iMemHolder& buffer)
{
  return std::string(reinterpret_cast<const char*>(buffer.getBuffer()), buffer.getUsed());
}

bool parseLevel(const std::string& text, int& level)
{
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != 0 || value < -1 || value > 9) return false;
  level = int(value);
  return true;
}

// Reads IN for a command; false after reporting why it cannot.
bool readInput(const std::string& file, std::string& data, int& rc)
{
  std::string reason;
  if (!readWholeFile(file, data, reason)) {
    rc = cannotRead(file, reason);
    return false;
  }
  if (data.size() > kLargestInput) {
    rc = cannotRead(file, "larger than the 2 GiB a block can hold");
    return false;
  }
  return true;
}

} // namespace

int runCompress(const Args& args)
{
  std::vector<std::string> files;
  int level = -1;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "-level" || args[i] == "--level") {
      if (i + 1 == args.size()) return usageError("compress", "-level needs a number");
      if (!parseLevel(args[++i], level)) return usageError("compress", "level must be -1 to 9: " + args[i]);
    } else {
      files.push_back(args[i]);
    }
  }
  if (files.size() != 2) return usageError("compress", "expects IN and OUT");

  std::string data;
  int rc = eOk;
  if (!readInput(files[0], data, rc)) return rc;
  if (data.empty()) {
    std::fprintf(stderr, "zrtool: %s is empty: a compressed block holds at least one byte\n",
                 files[0].c_str());
    return eBadData;
  }
  Zr::Ptr<iMemHolder> input = holderOf(data);
  Zr::Ptr<ByteBufferImpl> block =
      input ? ZrDataCompression::zlibCompress(input, level) : Zr::Ptr<ByteBufferImpl>();
  if (!block || block->getUsed() == 0) {
    std::fprintf(stderr, "zrtool: could not compress %s (out of memory)\n", files[0].c_str());
    return eBadData;
  }
  std::string reason;
  if (!writeWholeFile(files[1], bytesOf(*block), reason)) return cannotWrite(files[1], reason);
  std::printf("compressed %zu bytes into %u (level %d)\n", data.size(), block->getUsed(), level);
  return eOk;
}

int runUncompress(const Args& args)
{
  if (args.size() != 2) return usageError("uncompress", "expects IN and OUT");
  std::string data;
  int rc = eOk;
  if (!readInput(args[0], data, rc)) return rc;
  if (data.size() < 5) {
    std::fprintf(stderr,
                 "zrtool: %s is not a compressed block: %zu bytes, too short for the 4-byte length and a "
                 "stream\n",
                 args[0].c_str(), data.size());
    return eBadData;
  }
  const unsigned char* header = reinterpret_cast<const unsigned char*>(data.data());
  const unsigned long claimed = (unsigned long)header[0] << 24 | (unsigned long)header[1] << 16 |
                                (unsigned long)header[2] << 8 | header[3];
  Zr::Ptr<iMemHolder> input = holderOf(data);
  Zr::Ptr<ByteBufferImpl> out = input ? ZrDataCompression::zlibUncompress(input) : Zr::Ptr<ByteBufferImpl>();
  if (!out) {
    if (claimed > 0x7FFFFFFFul)
      std::fprintf(stderr,
                   "zrtool: %s is not a compressed block: its header claims %lu bytes, which the stream "
                   "does not give\n",
                   args[0].c_str(), claimed);
    else
      std::fprintf(stderr, "zrtool: %s is not a compressed block: its stream is corrupt or cut short\n",
                   args[0].c_str());
    return eBadData;
  }
  std::string reason;
  if (!writeWholeFile(args[1], bytesOf(*out), reason)) return cannotWrite(args[1], reason);
  std::printf("uncompressed %zu bytes into %u\n", data.size(), out->getUsed());
  if (claimed != out->getUsed())
    std::printf("note: the header claims %lu bytes; the stream gave %u\n", claimed, out->getUsed());
  return eOk;
}

} // namespace zrtool
