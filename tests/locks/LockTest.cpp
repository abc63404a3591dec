#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "LocksTestSupport.h"
#include "libOS/OS.h"
#include "libOS/iThread.h"
#include "threads/BasicThread.h"
#include "threads/Lock.h"
#include "threads/ThreadSafetyTraits.h"

namespace {

using lockstest::eventually;
using lockstest::Job;
using ZrDC::ThreadSafetyTraits::NoLocking;
using ZrDC::ThreadSafetyTraits::ThreadSafe;

unsigned int currentThreadId()
{
  return OS()->threadMgr()->currentThreadId();
}

// Threads add to a plain counter under the lock; a lock that lets two in at
// once loses increments, and ThreadSanitizer sees the race.
constexpr int kCountThreads = 4;
const long kCountEach = lockstest::stressScale(20000);

template <class EnterLeave> long countUnder(EnterLeave enterLeave)
{
  long counter = 0;
  {
    std::vector<std::unique_ptr<Job>> jobs;
    for (int t = 0; t < kCountThreads; ++t)
      jobs.push_back(std::make_unique<Job>([&] {
        for (long i = 0; i < kCountEach; ++i) enterLeave([&] { ++counter; });
      }));
  }
  return counter;
}

// Another thread's lock() waits while the caller holds its last enter, and
// gets in once the caller leaves it.
void expectOtherWaitsForTheLastUnlock(Zr::Lock& lock)
{
  std::atomic<bool> otherIn{false};
  Job other([&] {
    lock.lock();
    otherIn.store(true);
    lock.unlock();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(otherIn.load());
  EXPECT_EQ(lock.unlock(), 1);
  EXPECT_TRUE(eventually([&] { return otherIn.load(); }));
  other.join();
}

TEST(ZrLockTest, HolderMayEnterAgainAndOtherThreadsWaitForItsLastUnlock)
{
  Zr::Lock lock("TagTableLock0");
  lock.init();
  EXPECT_STREQ(lock.name(), "TagTableLock0");
  EXPECT_FALSE(lock.isLocked());
  EXPECT_EQ(lock.lock(), 1);
  EXPECT_TRUE(lock.isLocked());
  lock.lock();
  lock.unlock();
  // One enter is still open.
  expectOtherWaitsForTheLastUnlock(lock);
  EXPECT_FALSE(lock.isLocked());
}

TEST(ZrLockTest, SerialisesWritersOfSharedMemory)
{
  Zr::Lock lock("counter");
  lock.init();
  EXPECT_EQ(countUnder([&](auto&& work) {
              lock.lock();
              work();
              lock.unlock();
            }),
            kCountThreads * kCountEach);
}

TEST(ZrLockTest, IdleLocksQueueInAFifoWithNoNodeOfTheirOwn)
{
  Zr::Lock first("TagTableLock0"), second("TagTableLock1");
  Fifo idle;
  idle.push(&first);
  idle.push(&second);
  EXPECT_EQ(static_cast<Zr::Lock*>(idle.pop()), &first);
  EXPECT_EQ(static_cast<Zr::Lock*>(idle.pop()), &second);
  EXPECT_EQ(idle.pop(), nullptr);
  // Popped, a lock is linked nowhere and can be queued again.
  EXPECT_EQ(first.next(), &first);
}

TEST(ThreadSafeTest, SerialisesThreads)
{
  ThreadSafe lock;
  EXPECT_EQ(countUnder([&](auto&& work) {
              ThreadSafe::Guard hold(lock);
              work();
            }),
            kCountThreads * kCountEach);
}

TEST(ThreadSafeTest, UncheckedNestsOnOneThread)
{
  ThreadSafe lock(false);
  lock.enter();
  EXPECT_NO_THROW(lock.enter());
  EXPECT_EQ(lock.section().depth(), 2u);
  lock.leave();
  lock.leave();
  EXPECT_EQ(lock.section().owner(), 0u);
}

TEST(ThreadSafeTest, CheckedRefusesNestingAndStaysHeldOnce)
{
  ThreadSafe lock(true);
  lock.enter();
  ::testing::internal::CaptureStdout();
  try {
    lock.enter();
    ADD_FAILURE() << "a nested enter of a checked lock must throw";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "Recusive access to lock forbidden.");
  }
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "assertion failed false at misc/Decoupler line 189\n");
  // The refused enter gave its hold back: the first one is all that remains.
  EXPECT_EQ(lock.section().depth(), 1u);
  EXPECT_EQ(lock.section().owner(), currentThreadId());
  EXPECT_TRUE(lock.isInside());
  lock.leave();
  EXPECT_EQ(lock.section().owner(), 0u);
  EXPECT_FALSE(lock.isInside());
}

TEST(ThreadSafeTest, CheckedAllowsNestingOnceTheHolderStepsOutside)
{
  ThreadSafe lock(true);
  lock.enter();
  lock.setInside(false);
  EXPECT_NO_THROW(lock.enter());
  lock.leave();
  lock.leave();
  EXPECT_EQ(lock.section().owner(), 0u);
}

TEST(ThreadSafeTest, CheckedLockMakesAnotherThreadWaitRatherThanThrow)
{
  ThreadSafe lock(true);
  lock.enter();
  std::atomic<bool> otherIn{false};
  std::atomic<bool> otherThrew{false};
  Job other([&] {
    try {
      ThreadSafe::Guard hold(lock);
      otherIn.store(true);
    } catch (const std::runtime_error&) {
      otherThrew.store(true);
    }
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(otherIn.load());
  lock.leave();
  other.join();
  EXPECT_TRUE(otherIn.load());
  EXPECT_FALSE(otherThrew.load());
}

TEST(NoLockingTest, TakesNoSpaceAndNeverThrows)
{
  NoLocking lock(true);
  lock.enter();
  EXPECT_NO_THROW(lock.enter());
  lock.leave();
  lock.leave();
  static_assert(sizeof(NoLocking) == 1);
}

// Runs until told to stop, then records that its body finished.
class Worker : public BasicThread
{
public:
  std::atomic<unsigned int> bodyThreadId{0};
  std::atomic<bool> bodyFinished{false};
  std::atomic<bool> stopByItself{false};

protected:
  void threadFn() override
  {
    bodyThreadId.store(currentThreadId());
    while (isRunning() && !stopByItself.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    // Work after the loop that endThread must wait for.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    bodyFinished.store(true);
  }
};

TEST(BasicThreadTest, RunsTheBodyElsewhereAndEndThreadWaitsForIt)
{
  Worker worker;
  EXPECT_FALSE(worker.isRunning());
  const unsigned int tid = worker.beginThread("locks worker", 0);
  EXPECT_TRUE(worker.isRunning());
  ASSERT_TRUE(eventually([&] { return worker.bodyThreadId.load() != 0; }));
  EXPECT_EQ(tid, worker.bodyThreadId.load());
  EXPECT_NE(tid, currentThreadId());
  EXPECT_EQ(worker.threadId(), tid);

  worker.endThread();
  EXPECT_FALSE(worker.isRunning());
  EXPECT_TRUE(worker.bodyFinished.load());
  // A second call has nothing to wait for.
  worker.endThread();
}

TEST(BasicThreadTest, EndThreadAfterTheBodyReturnedByItself)
{
  Worker worker;
  worker.stopByItself.store(true);
  worker.beginThread("locks quick", 0);
  ASSERT_TRUE(eventually([&] { return worker.bodyFinished.load(); }));
  Job ender([&] { worker.endThread(); });
  EXPECT_TRUE(eventually([&] { return ender.done(); }));
}

TEST(BasicThreadTest, EndThreadWithoutBeginReturnsAtOnce)
{
  Worker worker;
  Job ender([&] { worker.endThread(); });
  EXPECT_TRUE(eventually([&] { return ender.done(); }));
  EXPECT_EQ(worker.threadId(), 0u);
}

} // namespace
