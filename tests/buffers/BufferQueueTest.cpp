#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "BufferTestSupport.h"
#include "buffers/BufferQueue.h"

namespace {

using buffertest::bufferOf;
using buffertest::captureStdout;
using buffertest::dataOf;

struct FilledQueue
{
  FilledQueue()
  {
    for (const char* part : {"abc", "defgh", "ij"}) {
      parts.push_back(bufferOf(part));
      queue.addBuffer(parts.back());
    }
  }
  Zr::BufferQueue queue;
  std::vector<Zr::Ptr<ByteBufferImpl>> parts;
};

TEST(BufferQueue, ReadsDrainAcrossBuffersInOrderAndReleaseEmptiedOnes)
{
  FilledQueue f;
  EXPECT_EQ(f.queue.getTotalBytes(), 10u);
  Zr::Ptr<ByteBufferImpl> none = f.queue.readData(0);
  ASSERT_TRUE(none);
  EXPECT_EQ(none->getUsed(), 0u);
  EXPECT_EQ(f.parts[0]->getReadOffset(), 0u);
  EXPECT_EQ(f.parts[0].refCount(), 2u);
  Zr::Ptr<ByteBufferImpl> first = f.queue.readData(4);
  ASSERT_TRUE(first);
  EXPECT_EQ(dataOf(*first), "abcd");
  EXPECT_EQ(first->getSize(), 4u);
  EXPECT_EQ(f.queue.getTotalBytes(), 6u);
  // The second buffer gave one byte: its view moved on, its bytes did not.
  EXPECT_EQ(f.parts[1]->getReadOffset(), 1u);
  EXPECT_EQ(dataOf(*f.parts[1]), "efgh");
  EXPECT_EQ(f.parts[0].refCount(), 1u);
  EXPECT_EQ(f.parts[1].refCount(), 2u);
  EXPECT_EQ(dataOf(*f.queue.readData(5)), "efghi");
  EXPECT_EQ(dataOf(*f.queue.readData(1)), "j");
  EXPECT_EQ(f.queue.getTotalBytes(), 0u);
}

TEST(BufferQueue, ResetReleasesEveryBuffer)
{
  FilledQueue f;
  f.queue.readData(4);
  f.queue.reset();
  EXPECT_EQ(f.parts[1].refCount(), 1u);
  EXPECT_EQ(f.queue.getTotalBytes(), 0u);
}

TEST(BufferQueue, AskingForMoreThanQueuedComplainsAndGivesWhatThereIs)
{
  FilledQueue f;
  Zr::Ptr<ByteBufferImpl> all;
  EXPECT_EQ(captureStdout([&] { all = f.queue.readData(15); }),
            "assertion failed numBytes <= getTotalBytes() at misc/BufferQueue\n");
  ASSERT_TRUE(all);
  EXPECT_EQ(dataOf(*all), "abcdefghij");
  EXPECT_EQ(f.queue.getTotalBytes(), 0u);
}

TEST(BufferQueue, TwoReadersEachGetWholeChunksOfTheStream)
{
  Zr::BufferQueue queue;
  std::string all;
  for (int i = 0; i < 2000; ++i) {
    const std::string part(1 + i % 7, char('a' + i % 26));
    all += part;
    queue.addBuffer(bufferOf(part));
  }
  constexpr int kReadsEach = 1300;
  std::vector<std::string> got[2];
  auto reader = [&](std::vector<std::string>& out) {
    for (int i = 0; i < kReadsEach; ++i) out.push_back(dataOf(*queue.readData(3)));
  };
  std::thread a(reader, std::ref(got[0]));
  std::thread b(reader, std::ref(got[1]));
  a.join();
  b.join();
  // Each read takes the next three bytes under the lock, so together the
  // readers hold the stream's first 2 * 1300 three-byte chunks, none torn.
  std::vector<std::string> chunks = got[0];
  chunks.insert(chunks.end(), got[1].begin(), got[1].end());
  std::vector<std::string> expected;
  for (size_t at = 0; at < 2 * kReadsEach * 3; at += 3) expected.push_back(all.substr(at, 3));
  std::sort(chunks.begin(), chunks.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(chunks, expected);
  EXPECT_EQ(queue.getTotalBytes(), all.size() - 2 * kReadsEach * 3);
}

} // namespace
