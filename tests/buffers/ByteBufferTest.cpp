#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "BufferTestSupport.h"
#include "buffers/AlignedByteBufferImpl.h"
#include "libOS/OS.h"

namespace {

using buffertest::bufferOf;
using buffertest::captureStdout;
using buffertest::dataOf;

const std::string kUsedAssertion = "assertion failed 0 at misc/ByteBuffer\n";
const std::string kFalseAssertion = "assertion failed false at misc/ByteBuffer\n";

const unsigned char* bytes(const char* text)
{
  return reinterpret_cast<const unsigned char*>(text);
}

TEST(ByteBuffer, AllocAgainForgetsTheOldDataAndOffset)
{
  Zr::Ptr<ByteBufferImpl> buffer = bufferOf("0123456789");
  buffer->consume(4);
  ASSERT_TRUE(buffer->alloc(4));
  EXPECT_EQ(buffer->getUsed(), 0u);
  EXPECT_EQ(buffer->getReadOffset(), 0u);
  // A count kept from the larger block would let this write past the new one.
  EXPECT_TRUE(buffer->append(bytes("abcd"), 4));
  EXPECT_EQ(dataOf(*buffer), "abcd");
}

TEST(ByteBuffer, SetUsedAndAppendCountPastTheSizeClampAndComplain)
{
  ByteBufferImpl buffer(16);
  EXPECT_TRUE(buffer.append(10u));
  EXPECT_EQ(buffer.getUsed(), 10u);
  bool ok = true;
  // 10 + 0xFFFFFFFF wraps to 9 in 32 bits, which would look like success.
  EXPECT_EQ(captureStdout([&] { ok = buffer.append(0xFFFFFFFFu); }), kUsedAssertion);
  EXPECT_FALSE(ok);
  EXPECT_EQ(buffer.getUsed(), 16u);
  EXPECT_EQ(captureStdout([&] { ok = buffer.setUsed(17); }), kUsedAssertion);
  EXPECT_FALSE(ok);
  EXPECT_EQ(buffer.getUsed(), 16u);
}

TEST(ByteBuffer, AppendAfterConsumingCannotRunPastTheBlock)
{
  ByteBufferImpl buffer(8);
  buffer.append(bytes("abcdef"), 6);
  EXPECT_EQ(buffer.consume(4), 4u);
  EXPECT_EQ(dataOf(buffer), "ef");
  // size less used is 6, but only 2 bytes lie behind offset 4 + used 2.
  bool ok = true;
  EXPECT_EQ(captureStdout([&] { ok = buffer.append(bytes("123"), 3); }), kFalseAssertion);
  EXPECT_FALSE(ok);
  EXPECT_TRUE(buffer.append(bytes("12"), 2));
  EXPECT_EQ(dataOf(buffer), "ef12");
}

TEST(ByteBuffer, ReadOffsetMovesTheViewNotTheSizes)
{
  Zr::Ptr<ByteBufferImpl> buffer = bufferOf("0123456789");
  unsigned char* start = buffer->getBuffer();
  EXPECT_EQ(buffer->consume(3), 3u);
  EXPECT_EQ(buffer->getBuffer(), start + 3);
  EXPECT_EQ(buffer->getSize(), 10u);
  EXPECT_EQ(dataOf(*buffer), "3456789");
  EXPECT_EQ(buffer->consume(100), 7u);
  EXPECT_EQ(buffer->getUsed(), 0u);
  buffer->clear();
  EXPECT_EQ(buffer->getBuffer(), start);
}

TEST(ByteBuffer, BufferAtEndIsBehindTheDataAndNullWhenFull)
{
  ByteBufferImpl buffer(4);
  EXPECT_EQ(buffer.getBufferAtEnd(), buffer.getBuffer());
  buffer.append(bytes("ab"), 2);
  buffer.consume(1);
  EXPECT_EQ(buffer.getBufferAtEnd(), buffer.getBuffer() + 1);
  buffer.append(bytes("c"), 1);
  unsigned char* end = buffer.getBuffer();
  // Offset 1 + used 2 leaves one byte; filling it leaves none.
  buffer.append(bytes("d"), 1);
  EXPECT_EQ(captureStdout([&] { end = buffer.getBufferAtEnd(); }), kFalseAssertion);
  EXPECT_EQ(end, nullptr);
}

TEST(ByteBuffer, MemoryComesFromAndReturnsToTheOsAllocator)
{
  iAllocator* allocator = OS()->allocator();
  const size_t before = allocator->liveBlocks();
  {
    ByteBufferImpl plain(100);
    AlignedByteBufferImpl aligned;
    aligned.alloc(100, 4096);
    EXPECT_EQ(allocator->liveBlocks(), before + 2);
    plain.alloc(50);
    aligned.alloc(50, 64);
    EXPECT_EQ(allocator->liveBlocks(), before + 2);
  }
  EXPECT_EQ(allocator->liveBlocks(), before);
}

class AlignedBuffer : public testing::TestWithParam<unsigned int>
{
};

TEST_P(AlignedBuffer, DataStartsOnAPageAndTheWholeSizeIsUsable)
{
  const unsigned int page = GetParam();
  // Several sizes, so that the allocator's own alignment varies.
  for (unsigned int size : {1u, 7u, 100u, 4096u, 65537u}) {
    AlignedByteBufferImpl buffer;
    std::string printed = captureStdout([&] { ASSERT_TRUE(buffer.alloc(size, page)); });
    EXPECT_EQ(printed, "");
    EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.getBuffer()) % page, 0u) << size;
    EXPECT_EQ(buffer.getSize(), size);
    // Under the address sanitizer a block too short for size + alignment fails here.
    std::memset(buffer.getBuffer(), 0x5C, size);
    EXPECT_TRUE(buffer.setUsed(size));
  }
}

INSTANTIATE_TEST_SUITE_P(PageSizes, AlignedBuffer, testing::Values(1u, 16u, 48u, 512u, 4096u, 65536u));

} // namespace
