#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "LocksTestSupport.h"
#include "threads/RWLock.h"

namespace {

using lockstest::Job;

// What every thread checks while inside: who else is inside with it. The
// payload is plain memory, so a missing exclusion also shows as a data race
// under ThreadSanitizer and as a torn pair here.
struct Shared
{
  std::atomic<int> readersInside{0};
  std::atomic<int> writersInside{0};
  std::atomic<int> violations{0};
  long first = 0;
  long second = 0;
};

void readOnce(RWLock& lock, Shared& shared)
{
  lock.enterAsReader(false);
  shared.readersInside.fetch_add(1);
  if (shared.writersInside.load() != 0) shared.violations.fetch_add(1);
  if (shared.first != shared.second) shared.violations.fetch_add(1);
  shared.readersInside.fetch_sub(1);
  lock.leaveAsReader();
}

void writeOnce(RWLock& lock, Shared& shared)
{
  lock.enterAsWriter(false);
  if (shared.writersInside.fetch_add(1) != 0) shared.violations.fetch_add(1);
  if (shared.readersInside.load() != 0) shared.violations.fetch_add(1);
  ++shared.first;
  ++shared.second;
  shared.writersInside.fetch_sub(1);
  lock.leaveAsWriter();
}

class RWLockStressTest : public ::testing::TestWithParam<RWLock::ePrioritisation>
{
};

TEST_P(RWLockStressTest, ReadersAndWritersNeverOverlapAndCountsReturnToZero)
{
  constexpr int kThreads = 8;
  const int iterations = lockstest::stressScale(20000);
  // Few reader slots, so that readers also queue on their slots.
  RWLock lock(GetParam(), 3, 1);
  Shared shared;
  std::atomic<long> writes{0};
  std::atomic<int> ready{0};
  {
    std::vector<std::unique_ptr<Job>> jobs;
    for (int t = 0; t < kThreads; ++t)
      jobs.push_back(std::make_unique<Job>([&, t] {
        std::minstd_rand random(t + 1);
        // All start together, so that the threads really overlap.
        ready.fetch_add(1);
        while (ready.load() < kThreads) std::this_thread::yield();
        for (int i = 0; i < iterations; ++i) {
          const unsigned int roll = random() % 8;
          if (roll == 0) {
            writeOnce(lock, shared);
            writes.fetch_add(1);
          } else if (roll == 1) {
            // A refused try must leave nothing behind.
            if (lock.enterAsWriter(true)) {
              lock.leaveAsWriter();
            }
          } else if (roll == 2) {
            if (lock.enterAsReader(true)) lock.leaveAsReader();
          } else {
            readOnce(lock, shared);
          }
        }
      }));
  }
  EXPECT_EQ(shared.violations.load(), 0);
  EXPECT_EQ(shared.first, writes.load());
  EXPECT_EQ(lock.readersIn(), 0);
  EXPECT_EQ(lock.readersWaiting(), 0);
  EXPECT_EQ(lock.writersIn(), 0);
  EXPECT_EQ(lock.writersWaiting(), 0);
  // Every slot came back.
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(lock.enterAsReader(true));
  for (int i = 0; i < 3; ++i) lock.leaveAsReader();
  EXPECT_TRUE(lock.enterAsWriter(true));
  lock.leaveAsWriter();
}

INSTANTIATE_TEST_SUITE_P(Prioritisations, RWLockStressTest,
                         ::testing::Values(RWLock::ePreferReaders, RWLock::ePreferWriters,
                                           RWLock::ePreferNeither),
                         [](const auto& info) { return "Prioritisation" + std::to_string(info.param); });

TEST(RWLockFairnessTest, PreferredWriterGetsInThroughAStreamOfReaders)
{
  // Readers overlap one another without pause, so the lock is never empty.
  // A writer that is preferred still gets in after the readers inside at the
  // moment it starts waiting have left, long before the readers run out.
  constexpr int kReaders = 4;
  const long readsEach = lockstest::stressScale(200000);
  RWLock lock(RWLock::ePreferWriters, 100, 1);
  std::atomic<long> readsDone{0};
  std::atomic<long> readsBeforeWriter{-1};
  std::atomic<bool> writerStarted{false};
  {
    std::vector<std::unique_ptr<Job>> readers;
    for (int t = 0; t < kReaders; ++t)
      readers.push_back(std::make_unique<Job>([&] {
        for (long i = 0; i < readsEach && readsBeforeWriter.load() < 0; ++i) {
          lock.enterAsReader(false);
          readsDone.fetch_add(1);
          lock.leaveAsReader();
        }
      }));
    ASSERT_TRUE(lockstest::eventually([&] { return readsDone.load() > 0; }));
    Job writer([&] {
      writerStarted.store(true);
      lock.enterAsWriter(false);
      readsBeforeWriter.store(readsDone.load());
      lock.leaveAsWriter();
    });
  }
  ASSERT_TRUE(writerStarted.load());
  EXPECT_GE(readsBeforeWriter.load(), 0);
  EXPECT_LT(readsBeforeWriter.load(), kReaders * readsEach);
}

} // namespace
