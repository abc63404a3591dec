#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "BufferTestSupport.h"
#include "buffers/MediaBufferImpl.h"
#include "libOS/OS.h"

namespace {

using buffertest::captureStdout;

TEST(MediaBuffer, NewSampleIsAlignedTypeOneAndFreeForWriting)
{
  MediaBufferImpl sample(1000);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(sample.getBuffer()) % 16, 0u);
  EXPECT_EQ(sample.getSize(), 1000u);
  EXPECT_EQ(sample.getUsed(), 0u);
  EXPECT_EQ(sample.getType(), 1u);
  EXPECT_EQ(sample.getFlags(), 0u);
  EXPECT_EQ(sample.waitForWrite(0), iWaitable::eWaitSuccess);
  EXPECT_EQ(sample.waitForRead(0), iWaitable::eWaitTimeout);
}

TEST(MediaBuffer, UnlockAtAnOffsetComplainsAndStillSetsUsed)
{
  MediaBufferImpl sample(64);
  unsigned char* data = nullptr;
  unsigned int size = 0;
  ASSERT_TRUE(sample.lockBuffer(&data, &size));
  EXPECT_EQ(data, sample.getBuffer());
  EXPECT_EQ(size, 64u);
  EXPECT_EQ(captureStdout([&] { EXPECT_TRUE(sample.unlockBuffer(0, 5)); }), "");
  EXPECT_EQ(sample.getUsed(), 5u);
  EXPECT_EQ(captureStdout([&] { EXPECT_TRUE(sample.unlockBuffer(8, 20)); }),
            "assertion failed cbOffset == 0 at misc/MediaBuffer\n");
  EXPECT_EQ(sample.getUsed(), 20u);
}

TEST(MediaBuffer, SignalsHandTheBufferBackAndForth)
{
  MediaBufferImpl sample(8);
  sample.signalRead();
  EXPECT_EQ(sample.waitForRead(0), iWaitable::eWaitSuccess);
  EXPECT_EQ(sample.waitForWrite(0), iWaitable::eWaitTimeout);
  sample.signalWrite();
  EXPECT_EQ(sample.waitForWrite(0), iWaitable::eWaitSuccess);
  EXPECT_EQ(sample.waitForRead(0), iWaitable::eWaitTimeout);
}

TEST(MediaBuffer, ProducerAndConsumerTakeTurnsThroughTheEvents)
{
  MediaBufferImpl sample(sizeof(uint32_t));
  constexpr uint32_t kFrames = 300;
  std::vector<uint32_t> seen;
  std::thread consumer([&] {
    for (uint32_t i = 0; i < kFrames; ++i) {
      if (sample.waitForRead(10000) != iWaitable::eWaitSuccess) return;
      uint32_t value = 0;
      std::memcpy(&value, sample.getBuffer(), sizeof value);
      // The stamp travels with the data; a producer that ran ahead would
      // have changed one of them.
      if (sample.getTimeStamp() != value * 40ull) return;
      seen.push_back(value);
      sample.signalWrite();
    }
  });
  for (uint32_t i = 0; i < kFrames; ++i) {
    ASSERT_EQ(sample.waitForWrite(10000), iWaitable::eWaitSuccess);
    std::memcpy(sample.getBuffer(), &i, sizeof i);
    sample.setUsed(sizeof i);
    sample.setTimeStamp(i * 40ull);
    sample.signalRead();
  }
  consumer.join();
  ASSERT_EQ(seen.size(), kFrames);
  for (uint32_t i = 0; i < kFrames; ++i) ASSERT_EQ(seen[i], i);
}

} // namespace
