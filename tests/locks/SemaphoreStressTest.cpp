// The thread manager's semaphore under the load the locks put on it: taken
// and given by several threads at once, with waits that sleep, waits that time
// out and releases that race both.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "LocksTestSupport.h"
#include "libOS/OS.h"

namespace {

using lockstest::stressScale;

constexpr unsigned int kGenerousMs = 10000;

Zr::Ptr<iSemaphore> semaphore(unsigned int initial, unsigned int maximum)
{
  return OS()->threadMgr()->createSemaphore(initial, maximum);
}

// Runs body(i) on `count` threads at once and joins them.
template <class Body> void onThreads(int count, Body body)
{
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(body, i);
  for (auto& thread : threads) thread.join();
}

TEST(SemaphoreStress, UnitsAdmitNoMoreThreadsThanTheyCountAndNoWakeIsLost)
{
  // One unit is a lock; three admit three. A lost wake shows as a wait that
  // runs out its generous time.
  for (unsigned int units : {1u, 3u}) {
    Zr::Ptr<iSemaphore> gate = semaphore(units, units);
    std::atomic<int> inside{0};
    std::atomic<int> mostInside{0};
    std::atomic<int> timeouts{0};
    const int rounds = stressScale(20000);
    onThreads(6, [&](int) {
      for (int round = 0; round < rounds; ++round) {
        if (gate->wait(kGenerousMs) != iWaitable::eWaitSuccess) {
          ++timeouts;
          continue;
        }
        const int now = inside.fetch_add(1) + 1;
        int most = mostInside.load();
        while (now > most && !mostInside.compare_exchange_weak(most, now)) {
        }
        if (round % 64 == 0) std::this_thread::yield(); // let others pile up and sleep
        inside.fetch_sub(1);
        EXPECT_TRUE(gate->release(1));
      }
    });
    EXPECT_EQ(timeouts.load(), 0) << units << " units";
    EXPECT_LE(mostInside.load(), int(units));
    EXPECT_EQ(gate->available(), units);
    EXPECT_FALSE(gate->release(1)) << "the maximum still holds after the storm";
  }
}

TEST(SemaphoreStress, UnitsGivenWhileWaitersTimeOutAreTakenExactlyOnce)
{
  // Takers wait a millisecond at a time, so releases keep meeting waiters
  // that are just giving up; every unit given is either taken or still there.
  Zr::Ptr<iSemaphore> units = semaphore(0, 1000000);
  constexpr int kTakers = 4;
  const int toGive = stressScale(40000);
  std::atomic<bool> givingDone{false};
  std::atomic<long> takenCount{0};
  std::thread giver([&] {
    for (int i = 0; i < toGive; ++i) {
      EXPECT_TRUE(units->release(1));
      if (i % 16 == 0) std::this_thread::yield();
    }
    givingDone.store(true);
  });
  onThreads(kTakers, [&](int) {
    for (;;) {
      const bool last = givingDone.load();
      const iWaitable::eWaitResult result = units->wait(1);
      if (result == iWaitable::eWaitSuccess)
        ++takenCount;
      else if (result != iWaitable::eWaitTimeout)
        ADD_FAILURE() << "wait gave " << result;
      else if (last)
        return;
    }
  });
  giver.join();
  EXPECT_EQ(takenCount.load() + long(units->available()), long(toGive));
  EXPECT_EQ(units->available(), 0u) << "takers stop only after a wait finds nothing";
}

TEST(SemaphoreStress, ReleaseOfSeveralUnitsWakesThatManySleepers)
{
  constexpr int kSleepers = 5;
  Zr::Ptr<iSemaphore> units = semaphore(0, kSleepers);
  std::atomic<int> woken{0};
  std::vector<std::thread> sleepers;
  for (int i = 0; i < kSleepers; ++i)
    sleepers.emplace_back([&] {
      if (units->wait(kGenerousMs) == iWaitable::eWaitSuccess) ++woken;
    });
  // Give them time to go to sleep rather than find the units on arrival.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_TRUE(units->release(2));
  EXPECT_TRUE(lockstest::eventually([&] { return woken.load() == 2; }));
  EXPECT_TRUE(units->release(3));
  for (auto& sleeper : sleepers) sleeper.join();
  EXPECT_EQ(woken.load(), kSleepers);
  EXPECT_EQ(units->available(), 0u);
}

} // namespace
