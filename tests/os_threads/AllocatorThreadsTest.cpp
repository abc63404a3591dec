// The allocator's live figures while blocks are made and released on
// several threads, some of which end before their blocks are released.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "libOS/OS.h"

namespace {

constexpr int kPerThread = 200;

TEST(AllocatorFigures, FollowBlocksAcrossThreadsThatEnd)
{
  iAllocator* a = OS()->allocator();
  const size_t blocks = a->liveBlocks();
  const size_t bytes = a->liveBytes();

  std::vector<void*> made(2 * kPerThread);
  std::thread first([&] {
    for (int i = 0; i < kPerThread; ++i) made[i] = a->allocate(64);
  });
  std::thread second([&] {
    for (int i = 0; i < kPerThread; ++i) made[kPerThread + i] = a->allocate(64);
  });
  first.join();
  second.join();
  EXPECT_EQ(a->liveBlocks(), blocks + 2 * kPerThread);
  EXPECT_GE(a->liveBytes(), bytes + 2 * kPerThread * 64);

  // Half go back on a thread of their own while this one releases the rest
  // and a third reads the figures meanwhile.
  std::atomic<bool> done{false};
  std::thread reader([&] {
    while (!done.load()) {
      EXPECT_LE(a->liveBlocks(), blocks + 2 * kPerThread);
    }
  });
  std::thread releaser([&] {
    for (int i = 0; i < kPerThread; ++i) a->release(made[i]);
  });
  for (int i = kPerThread; i < 2 * kPerThread; ++i) a->release(made[i]);
  releaser.join();
  done.store(true);
  reader.join();
  EXPECT_EQ(a->liveBlocks(), blocks);
  EXPECT_EQ(a->liveBytes(), bytes);
}

// Released by a thread-local object's destructor, after the thread's own
// count has already been folded away at its end.
struct ReleasedAtThreadEnd
{
  void* block = nullptr;
  ~ReleasedAtThreadEnd() { OS()->allocator()->release(block); }
};

TEST(AllocatorFigures, CountReleasesMadeAsAThreadEnds)
{
  iAllocator* a = OS()->allocator();
  const size_t blocks = a->liveBlocks();
  const size_t bytes = a->liveBytes();
  std::thread worker([a] {
    // Made before the thread's first allocation, so destroyed after the
    // thread's count is gone.
    static thread_local ReleasedAtThreadEnd holder;
    ReleasedAtThreadEnd& made = holder;
    made.block = a->allocate(128);
    ASSERT_NE(made.block, nullptr);
  });
  worker.join();
  EXPECT_EQ(a->liveBlocks(), blocks);
  EXPECT_EQ(a->liveBytes(), bytes);
}

} // namespace
