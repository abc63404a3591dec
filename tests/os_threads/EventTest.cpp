// Events of one process, semaphores and mutexes.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <vector>

#include "ThreadTestSupport.h"

namespace {

using namespace zrtest;

constexpr auto kTimeout = iWaitable::eWaitTimeout;
constexpr auto kSuccess = iWaitable::eWaitSuccess;

// Starts `count` threads that each take `event` once, then give one unit to
// the returned semaphore, so that the test can count the releases.
std::vector<Zr::Ptr<iThread>> startTakers(const Zr::Ptr<iThreadEvent>& event, int count,
                                          const Zr::Ptr<iSemaphore>& released)
{
  std::vector<Zr::Ptr<iThread>> takers;
  for (int i = 0; i < count; ++i)
    takers.push_back(spawn([event, released] {
      if (event->wait(iWaitable::kInfinite) != iWaitable::eWaitSuccess) return 1;
      released->release(1);
      return 0;
    }));
  return takers;
}

TEST(Event, WaitTimesOutWithOneUntilSetThenSucceedsWithThree)
{
  Zr::Ptr<iThreadEvent> manual = manualEvent();
  ASSERT_TRUE(manual);
  EXPECT_FALSE(manual->isNamed());
  EXPECT_EQ(manual->wait(0), kTimeout);
  EXPECT_EQ(manual->wait(kWontHappenMs), kTimeout);
  EXPECT_TRUE(manual->set());
  EXPECT_EQ(manual->wait(0), kSuccess);
  EXPECT_EQ(manual->wait(kWillHappenMs), kSuccess); // a manual event stays set
  EXPECT_TRUE(manual->reset());
  EXPECT_EQ(manual->wait(0), kTimeout);
}

TEST(Event, AutoResetIsTakenByOneWaitAndKeepsASetMadeWithNobodyWaiting)
{
  Zr::Ptr<iThreadEvent> initiallySet = autoEvent(true);
  EXPECT_EQ(initiallySet->wait(0), kSuccess);
  EXPECT_EQ(initiallySet->wait(0), kTimeout);

  Zr::Ptr<iThreadEvent> event = autoEvent();
  event->set();
  event->set(); // an event is not a counter
  EXPECT_EQ(event->wait(kWillHappenMs), kSuccess);
  EXPECT_EQ(event->wait(0), kTimeout);
  event->set();
  event->reset();
  EXPECT_EQ(event->wait(0), kTimeout);
}

TEST(Event, TimedOutWaitLastsAtLeastItsTime)
{
  Zr::Ptr<iThreadEvent> event = autoEvent();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(event->wait(30), kTimeout);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST(Event, AutoResetReleasesExactlyOneWaiterPerSet)
{
  Zr::Ptr<iThreadEvent> event = autoEvent();
  Zr::Ptr<iSemaphore> released = threads()->createSemaphore(0, 3);
  std::vector<Zr::Ptr<iThread>> takers = startTakers(event, 3, released);

  for (int round = 0; round < 3; ++round) {
    event->set();
    EXPECT_EQ(released->wait(kWillHappenMs), kSuccess) << "round " << round;
    EXPECT_EQ(released->wait(kWontHappenMs), kTimeout) << "round " << round;
  }
  for (auto& taker : takers) {
    EXPECT_TRUE(ended(taker));
    EXPECT_EQ(taker->exitCode(), 0);
  }
  EXPECT_EQ(event->wait(0), kTimeout);
}

TEST(Event, ManualResetReleasesEveryWaiterAndStaysSet)
{
  Zr::Ptr<iThreadEvent> event = manualEvent();
  Zr::Ptr<iSemaphore> released = threads()->createSemaphore(0, 4);
  std::vector<Zr::Ptr<iThread>> takers = startTakers(event, 4, released);

  event->set();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(released->wait(kWillHappenMs), kSuccess);
  for (auto& taker : takers) EXPECT_TRUE(ended(taker));
  EXPECT_EQ(event->wait(0), kSuccess);
}

TEST(Event, TimedWaitEndsWithSuccessWhenSetFromAnotherThread)
{
  Zr::Ptr<iThreadEvent> event = autoEvent();
  Zr::Ptr<iThread> waiter = spawn([event] { return event->wait(kWillHappenMs); });
  event->set();
  ASSERT_TRUE(ended(waiter));
  EXPECT_EQ(waiter->exitCode(), kSuccess);
}

TEST(Semaphore, CreationNeedsAMaximumAtLeastTheInitialCount)
{
  EXPECT_FALSE(threads()->createSemaphore(0, 0));
  EXPECT_FALSE(threads()->createSemaphore(3, 2));
  Zr::Ptr<iSemaphore> full = threads()->createSemaphore(2, 2);
  ASSERT_TRUE(full);
  EXPECT_EQ(full->available(), 2u);
}

TEST(Semaphore, ReleasePastTheMaximumFailsAndChangesNothing)
{
  Zr::Ptr<iSemaphore> semaphore = threads()->createSemaphore(1, 3);
  EXPECT_FALSE(semaphore->release(3));
  EXPECT_EQ(semaphore->available(), 1u);
  EXPECT_FALSE(semaphore->release(~0U)); // no wrap-around past the maximum
  EXPECT_EQ(semaphore->available(), 1u);
  EXPECT_TRUE(semaphore->release(2));
  EXPECT_FALSE(semaphore->release(1));
  EXPECT_EQ(semaphore->available(), 3u);

  for (int i = 0; i < 3; ++i) EXPECT_EQ(semaphore->wait(0), kSuccess);
  EXPECT_EQ(semaphore->wait(kWontHappenMs), kTimeout);
  EXPECT_EQ(semaphore->available(), 0u);
}

TEST(Semaphore, ReleaseOfSeveralUnitsWakesAsManyWaiters)
{
  Zr::Ptr<iSemaphore> semaphore = threads()->createSemaphore(0, 3);
  std::vector<Zr::Ptr<iThread>> waiters;
  for (int i = 0; i < 3; ++i)
    waiters.push_back(spawn([semaphore] { return semaphore->wait(kWillHappenMs); }));
  EXPECT_TRUE(semaphore->release(3));
  for (auto& waiter : waiters) {
    ASSERT_TRUE(ended(waiter));
    EXPECT_EQ(waiter->exitCode(), kSuccess);
  }
  EXPECT_EQ(semaphore->available(), 0u);
}

TEST(Mutex, IsRecursiveAndRefusesOtherThreadsUntilFullyUnlocked)
{
  Zr::Ptr<iMutex> mutex = threads()->createMutex(false);
  ASSERT_EQ(mutex->lock(0), kSuccess);
  ASSERT_EQ(mutex->lock(0), kSuccess);

  auto tryFromAnotherThread = [mutex](unsigned int ms) {
    Zr::Ptr<iThread> other = spawn([mutex, ms] {
      const int result = mutex->lock(ms);
      if (result == iWaitable::eWaitSuccess) mutex->unlock();
      return result;
    });
    return ended(other) ? other->exitCode() : -1;
  };

  EXPECT_EQ(tryFromAnotherThread(kWontHappenMs), kTimeout);
  EXPECT_TRUE(mutex->unlock());
  EXPECT_EQ(tryFromAnotherThread(0), kTimeout); // still held once
  EXPECT_TRUE(mutex->unlock());
  EXPECT_FALSE(mutex->unlock());
  EXPECT_EQ(tryFromAnotherThread(kWillHappenMs), kSuccess);
}

TEST(Mutex, UnlockByANonOwnerFailsAndLeavesTheOwnerInPlace)
{
  Zr::Ptr<iMutex> mutex = threads()->createMutex(true); // owned by this thread at once
  Zr::Ptr<iThread> other = spawn([mutex] { return mutex->unlock() ? 1 : 0; });
  ASSERT_TRUE(ended(other));
  EXPECT_EQ(other->exitCode(), 0);
  EXPECT_TRUE(mutex->unlock());
  EXPECT_FALSE(mutex->unlock());
}

TEST(Mutex, BlockedLockSucceedsWhenTheOwnerUnlocks)
{
  Zr::Ptr<iMutex> mutex = threads()->createMutex(true);
  Zr::Ptr<iThreadEvent> locked = autoEvent();
  Zr::Ptr<iThread> other = spawn([mutex, locked] {
    if (mutex->lock(iWaitable::kInfinite) != iWaitable::eWaitSuccess) return 1;
    locked->set();
    mutex->unlock();
    return 0;
  });
  EXPECT_EQ(locked->wait(kWontHappenMs), kTimeout);
  EXPECT_TRUE(mutex->unlock());
  EXPECT_EQ(locked->wait(kWillHappenMs), kSuccess);
  ASSERT_TRUE(ended(other));
  EXPECT_EQ(other->exitCode(), 0);
}

} // namespace
