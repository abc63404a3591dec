#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdint>
#include <fstream>
#include <random>
#include <string>

#include "BufferTestSupport.h"
#include "buffers/ZrDataCompression.h"

namespace {

using buffertest::bufferOf;
using buffertest::dataOf;
using ZrDataCompression::zlibCompress;
using ZrDataCompression::zlibUncompress;

// Text with repeats and some binary noise, as edit files are.
std::string mixedData(size_t size, unsigned int seed = 1)
{
  std::mt19937 random(seed);
  std::string out;
  const char* words[] = {"clip ", "reel_04 ", "00:01:02:03 ", "take ", "grade ", "\n"};
  while (out.size() < size) {
    if (random() % 4 == 0) {
      for (int i = 0; i < 16; ++i) out.push_back(char(random()));
    } else {
      out += words[random() % 6];
    }
  }
  out.resize(size);
  return out;
}

std::string randomBytes(size_t size, unsigned int seed = 2)
{
  std::mt19937 random(seed);
  std::string out(size, '\0');
  for (char& c : out) c = char(random());
  return out;
}

std::string bigEndian(uint32_t value)
{
  return {char(value >> 24), char(value >> 16), char(value >> 8), char(value)};
}

// A block made by plain zlib with the header given.
std::string zlibBlock(const std::string& data, uint32_t header)
{
  uLongf size = compressBound(data.size());
  std::string out(size, '\0');
  EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(out.data()), &size,
                      reinterpret_cast<const Bytef*>(data.data()), data.size(), 6),
            Z_OK);
  out.resize(size);
  return bigEndian(header) + out;
}

std::string compressed(const std::string& data, int level = 6)
{
  Zr::Ptr<ByteBufferImpl> block = zlibCompress(bufferOf(data), level);
  return block ? dataOf(*block) : std::string("<null>");
}

std::string uncompressed(const std::string& block)
{
  Zr::Ptr<ByteBufferImpl> data = zlibUncompress(bufferOf(block));
  return data ? dataOf(*data) : std::string("<null>");
}

TEST(Compression, RoundTripsDataOfManySizes)
{
  for (size_t size : {1u, 2u, 99u, 100u, 4096u, 65537u, 1u << 20}) {
    const std::string data = mixedData(size, unsigned(size));
    const std::string block = compressed(data);
    ASSERT_NE(block, "<null>") << size;
    EXPECT_EQ(block.substr(0, 4), bigEndian(uint32_t(size)));
    EXPECT_EQ(uncompressed(block), data) << size;
  }
}

TEST(Compression, BlockIsTheLengthThenAPlainZlibStream)
{
  const std::string data = mixedData(300000);
  const std::string block = compressed(data, 9);
  std::string out(data.size(), '\0');
  uLongf size = out.size();
  ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(out.data()), &size,
                       reinterpret_cast<const Bytef*>(block.data()) + 4, block.size() - 4),
            Z_OK);
  EXPECT_EQ(size, data.size());
  EXPECT_EQ(out, data);
}

TEST(Compression, IncompressibleDataStillFits)
{
  for (size_t size : {1u, 13u, 99u, 1000u, 1u << 18}) {
    const std::string data = randomBytes(size, unsigned(size));
    const std::string block = compressed(data, 9);
    ASSERT_NE(block, "<null>");
    EXPECT_GT(block.size(), data.size());
    EXPECT_EQ(uncompressed(block), data);
  }
  // Level 0 only stores, adding block headers of its own.
  for (size_t size : {20u, 200000u}) {
    const std::string data = randomBytes(size, 7);
    EXPECT_EQ(uncompressed(compressed(data, 0)), data) << size;
  }
}

TEST(Compression, ReadsPlainZlibBlocksWhoseHeaderIsWrongOrZero)
{
  const std::string data = mixedData(50000);
  EXPECT_EQ(uncompressed(zlibBlock(data, uint32_t(data.size()))), data);
  // Zero: the output grows from one byte.
  EXPECT_EQ(uncompressed(zlibBlock("several bytes of data", 0)), "several bytes of data");
  EXPECT_EQ(uncompressed(zlibBlock("x", 0)), "x");
  // Too small: the output grows by doubling.
  EXPECT_EQ(uncompressed(zlibBlock(data, 10)), data);
  // Too large: the result is exactly what the stream held.
  Zr::Ptr<ByteBufferImpl> out = zlibUncompress(bufferOf(zlibBlock(data, 80000)));
  ASSERT_TRUE(out);
  EXPECT_EQ(out->getSize(), data.size());
  EXPECT_EQ(dataOf(*out), data);
  EXPECT_EQ(uncompressed(zlibBlock(data, 0x7FFFFFFF)), data);
  // Past 2 GiB a mismatch is not believed.
  EXPECT_EQ(uncompressed(zlibBlock(data, 0x80000000u)), "<null>");
  EXPECT_EQ(uncompressed(zlibBlock(data, 0xFFFFFFFFu)), "<null>");
}

TEST(Compression, ShortOrBrokenBlocksGiveNull)
{
  const std::string block = compressed(mixedData(20000));
  EXPECT_EQ(uncompressed(""), "<null>");
  EXPECT_EQ(uncompressed(block.substr(0, 4)), "<null>");
  EXPECT_FALSE(zlibUncompress(nullptr));
  // Every cut of the stream is refused; the address sanitizer checks that
  // none reads past the bytes given.
  for (size_t keep = 5; keep < block.size(); keep += 97)
    EXPECT_EQ(uncompressed(block.substr(0, keep)), "<null>") << keep;
  std::string corrupt = block;
  corrupt[4] ^= 0x55;
  EXPECT_EQ(uncompressed(corrupt), "<null>");
  corrupt = block;
  corrupt[corrupt.size() - 2] ^= 0x01; // the checksum
  EXPECT_EQ(uncompressed(corrupt), "<null>");
  EXPECT_EQ(uncompressed(bigEndian(100) + "not zlib at all"), "<null>");
}

// Virtual memory in use by this process, in bytes.
size_t virtualMemory()
{
  std::ifstream statm("/proc/self/statm");
  size_t pages = 0;
  statm >> pages;
  return pages * size_t(sysconf(_SC_PAGESIZE));
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

TEST(Compression, LyingHeaderDoesNotAllocateWhatItClaims)
{
  if (kSanitized) GTEST_SKIP() << "sanitizers reserve more address space than the limit allows";
  const std::string data = mixedData(4000);
  const std::string block = zlibBlock(data, 0x7FFFFFF0);
  // A child with 256 MiB of address space to spare: a decoder that trusts
  // the header asks for 2 GiB, fails and gives null.
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const rlimit limit{virtualMemory() + (256u << 20), RLIM_INFINITY};
    if (setrlimit(RLIMIT_AS, &limit) != 0) _exit(3);
    _exit(uncompressed(block) == data ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

} // namespace
