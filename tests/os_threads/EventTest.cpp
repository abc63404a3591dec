// Events of one process, semaphores and mutexes.
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "ThreadTestSupport.h"

namespace {

using namespace zrtest;

// Starts `count` threads that each take `event` once, waiting up to `ms`,
// then give one unit to `released`, so that the test can count the releases.
std::vector<Zr::Ptr<iThread>> startTakers(const Zr::Ptr<iThreadEvent>& event, int count, unsigned int ms,
                                          const Zr::Ptr<iSemaphore>& released)
{
  std::vector<Zr::Ptr<iThread>> takers;
  for (int i = 0; i < count; ++i)
    takers.push_back(spawn([event, ms, released] {
      if (event->wait(ms) != iWaitable::eWaitSuccess) return 1;
      released->release(1);
      return 0;
    }));
  return takers;
}

TEST(Event, ManualResetStaysSetUntilResetAndTimedOutWaitsLastTheirTime)
{
  Zr::Ptr<iThreadEvent> manual = manualEvent();
  ASSERT_TRUE(manual);
  EXPECT_FALSE(manual->isNamed());
  EXPECT_EQ(manual->wait(0), kTimeout);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(manual->wait(kWontHappenMs), kTimeout);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(kWontHappenMs));
  EXPECT_TRUE(manual->set());
  EXPECT_EQ(manual->wait(0), kSuccess);
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

TEST(Event, AutoResetReleasesExactlyOneTimedWaiterPerSet)
{
  Zr::Ptr<iThreadEvent> event = autoEvent();
  Zr::Ptr<iSemaphore> released = threads()->createSemaphore(0, 3);
  std::vector<Zr::Ptr<iThread>> takers = startTakers(event, 3, kWillHappenMs, released);
  for (int round = 0; round < 3; ++round) {
    event->set();
    EXPECT_EQ(released->wait(kWillHappenMs), kSuccess) << "round " << round;
    EXPECT_EQ(released->wait(kWontHappenMs), kTimeout) << "round " << round;
  }
  for (auto& taker : takers) EXPECT_EQ(exitCodeOf(taker), 0);
  EXPECT_EQ(event->wait(0), kTimeout);
}

TEST(Event, ManualResetReleasesEveryWaiterAndStaysSet)
{
  Zr::Ptr<iThreadEvent> event = manualEvent();
  Zr::Ptr<iSemaphore> released = threads()->createSemaphore(0, 4);
  std::vector<Zr::Ptr<iThread>> takers = startTakers(event, 4, iWaitable::kInfinite, released);
  event->set();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(released->wait(kWillHappenMs), kSuccess);
  for (auto& taker : takers) EXPECT_EQ(exitCodeOf(taker), 0);
  EXPECT_EQ(event->wait(0), kSuccess);
}

TEST(Semaphore, CountStaysBetweenZeroAndAMaximumOfAtLeastOne)
{
  EXPECT_FALSE(threads()->createSemaphore(0, 0));
  EXPECT_FALSE(threads()->createSemaphore(3, 2));
  EXPECT_EQ(threads()->createSemaphore(2, 2)->available(), 2u);

  Zr::Ptr<iSemaphore> semaphore = threads()->createSemaphore(1, 3);
  EXPECT_FALSE(semaphore->release(3));
  EXPECT_FALSE(semaphore->release(~0U)); // no wrap-around past the maximum
  EXPECT_EQ(semaphore->available(), 1u);
  EXPECT_TRUE(semaphore->release(2));
  EXPECT_FALSE(semaphore->release(1));
  EXPECT_EQ(semaphore->available(), 3u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(semaphore->wait(0), kSuccess);
  EXPECT_EQ(semaphore->wait(kWontHappenMs), kTimeout);
  EXPECT_EQ(semaphore->available(), 0u);
}

TEST(Mutex, IsRecursiveAndOnlyTheOwnerMayUnlockIt)
{
  Zr::Ptr<iMutex> mutex = threads()->createMutex(true); // owned by this thread at once
  ASSERT_EQ(mutex->lock(0), kSuccess);
  auto fromAnotherThread = [mutex](unsigned int ms) {
    return exitCodeOf(spawn([mutex, ms] {
      if (mutex->unlock()) return 99;
      const int result = mutex->lock(ms);
      if (result == iWaitable::eWaitSuccess) mutex->unlock();
      return result;
    }));
  };
  EXPECT_EQ(fromAnotherThread(kWontHappenMs), kTimeout);
  EXPECT_TRUE(mutex->unlock());
  EXPECT_EQ(fromAnotherThread(0), kTimeout); // still held once
  EXPECT_TRUE(mutex->unlock());
  EXPECT_FALSE(mutex->unlock());
  EXPECT_EQ(fromAnotherThread(kWillHappenMs), kSuccess);
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
  EXPECT_EQ(exitCodeOf(other), 0);
}

} // namespace
