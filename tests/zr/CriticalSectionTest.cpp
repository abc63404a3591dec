#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "libOS/OS.h"
#include "libzr/CriticalSection.h"

namespace {

unsigned int myThreadId()
{
  return OS()->threadMgr()->currentThreadId();
}

// A lock defined below the code that uses it at load time: constinit proves
// at compile time that it is ready before any constructor runs.
extern CriticalSection lateLock;

struct LoadTimeUser
{
  LoadTimeUser()
  {
    lateLock.enter();
    ownerSeen = lateLock.owner();
    threadSeen = myThreadId();
    lateLock.leave();
  }
  unsigned int ownerSeen = 0;
  unsigned int threadSeen = 0;
};
LoadTimeUser loadTimeUser;

constinit CriticalSection lateLock("late lock");

// Runs fn on another thread and returns what it returned.
template <class Fn> auto onOtherThread(Fn fn)
{
  decltype(fn()) result{};
  std::thread([&] { result = fn(); }).join();
  return result;
}

TEST(CriticalSection, KeepsItsName)
{
  CriticalSection global("global int lock");
  EXPECT_STREQ(global.name(), "global int lock");
  const std::string longName(100, 'n');
  CriticalSection cut(longName.c_str());
  EXPECT_EQ(std::string(cut.name()), longName.substr(0, CriticalSection::kNameSize - 1));
  CriticalSection unnamed;
  EXPECT_STREQ(unnamed.name(), "");
}

TEST(CriticalSection, OwnerIsTheEnteringThreadAndReentryNeedsAsManyLeaves)
{
  CriticalSection lock("owner");
  EXPECT_EQ(lock.owner(), 0u);
  lock.enter();
  EXPECT_EQ(lock.owner(), myThreadId());
  lock.enter();
  EXPECT_TRUE(lock.tryEnter());
  EXPECT_EQ(lock.depth(), 3u);
  EXPECT_TRUE(lock.leave());
  EXPECT_TRUE(lock.leave());
  EXPECT_EQ(lock.owner(), myThreadId());
  EXPECT_TRUE(lock.leave());
  EXPECT_EQ(lock.owner(), 0u);
  EXPECT_FALSE(lock.leave());
}

TEST(CriticalSection, OtherThreadsCanNeitherEnterNorLeaveWhileItIsHeld)
{
  CriticalSection lock("held");
  lock.enter();
  EXPECT_FALSE(onOtherThread([&] { return lock.tryEnter(); }));
  EXPECT_FALSE(onOtherThread([&] { return lock.leave(); }));
  EXPECT_EQ(lock.owner(), myThreadId());
  lock.leave();
  EXPECT_TRUE(onOtherThread([&] {
    const bool entered = lock.tryEnter();
    if (entered) lock.leave();
    return entered;
  }));
}

TEST(CriticalSection, ReportsAnotherThreadAsOwner)
{
  CriticalSection lock("watched");
  std::atomic<unsigned int> holderId{0};
  std::atomic<bool> release{false};
  std::thread holder([&] {
    CriticalSection::Guard guard(lock);
    holderId = myThreadId();
    while (!release) std::this_thread::yield();
  });
  while (holderId == 0) std::this_thread::yield();
  EXPECT_EQ(lock.owner(), holderId.load());
  EXPECT_NE(lock.owner(), myThreadId());
  release = true;
  holder.join();
  EXPECT_EQ(lock.owner(), 0u);
}

TEST(CriticalSection, GuardExcludesOtherThreads)
{
  CriticalSection lock("counter");
  long counter = 0; // plain: only the lock keeps the increments apart
  constexpr int kThreads = 4, kEach = 20000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kEach; ++i) {
        CriticalSection::Guard guard(lock);
        const long seen = counter;
        counter = seen + 1;
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(counter, long(kThreads) * kEach);
}

TEST(CriticalSection, FirstUseRacesMakeOneSection)
{
  // Several threads make the platform object at once; all must share one,
  // or the increments below would race.
  for (int round = 0; round < 50; ++round) {
    CriticalSection lock("race");
    int counter = 0;
    std::atomic<int> waiting{0};
    std::atomic<int> strayOwners{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        // Start together, so that first uses overlap.
        ++waiting;
        while (waiting < 4) {
        }
        for (int i = 0; i < 1000; ++i) {
          CriticalSection::Guard guard(lock);
          if (lock.owner() != myThreadId()) ++strayOwners;
          ++counter;
        }
      });
    }
    for (std::thread& t : threads) t.join();
    ASSERT_EQ(counter, 4000);
    ASSERT_EQ(strayOwners.load(), 0);
  }
}

TEST(CriticalSection, WorksFromLoadTimeCodeBeforeItsOwnDefinition)
{
  EXPECT_NE(loadTimeUser.threadSeen, 0u);
  EXPECT_EQ(loadTimeUser.ownerSeen, loadTimeUser.threadSeen);
  EXPECT_STREQ(lateLock.name(), "late lock");
  EXPECT_EQ(lateLock.owner(), 0u);
}

} // namespace
