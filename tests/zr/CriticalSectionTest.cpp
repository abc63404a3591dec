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

TEST(CriticalSection, CutsALongNameAndTakesNoNameAsEmpty)
{
  const std::string longName(100, 'n');
  CriticalSection cut(longName.c_str());
  EXPECT_EQ(std::string(cut.name()), longName.substr(0, CriticalSection::kNameSize - 1));
  CriticalSection unnamed;
  EXPECT_STREQ(unnamed.name(), "");
}

TEST(CriticalSection, PassesRecursionAndOwnershipToThePlatformSection)
{
  CriticalSection lock("owner");
  EXPECT_FALSE(lock.leave()); // before the platform object is made
  EXPECT_EQ(lock.owner(), 0u);
  lock.enter();
  EXPECT_EQ(lock.owner(), myThreadId());
  EXPECT_TRUE(lock.tryEnter());
  EXPECT_EQ(lock.depth(), 2u);
  EXPECT_FALSE(onOtherThread([&] { return lock.tryEnter(); }));
  EXPECT_EQ(onOtherThread([&] { return lock.owner(); }), myThreadId());
  EXPECT_TRUE(lock.leave());
  EXPECT_TRUE(lock.leave());
  EXPECT_EQ(lock.owner(), 0u);
  EXPECT_FALSE(lock.leave());
}

TEST(CriticalSection, FirstUseRacesMakeOneSectionThatGuardsExclude)
{
  // Several threads make the platform object at once; all must share one,
  // or the increments below would race.
  for (int round = 0; round < 50; ++round) {
    CriticalSection lock("race");
    int counter = 0; // plain: only the lock keeps the increments apart
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
          const int seen = counter;
          counter = seen + 1;
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
