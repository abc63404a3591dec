// Critical sections: recursion, owner, and exclusion between threads.
#include <gtest/gtest.h>

#include <vector>

#include "ThreadTestSupport.h"

namespace {

using namespace zrtest;

TEST(CriticalSection, OwnerAndDepthFollowEnterTryEnterAndLeave)
{
  Zr::Ptr<iCriticalSection> section = threads()->createCriticalSection("counts");
  const unsigned int self = threads()->currentThreadId();
  EXPECT_TRUE(section->tryEnter()); // free
  EXPECT_EQ(section->owner(), self);
  EXPECT_EQ(section->depth(), 1u);
  section->enter();
  EXPECT_TRUE(section->tryEnter()); // already the owner's
  EXPECT_EQ(section->depth(), 3u);

  EXPECT_TRUE(section->leave());
  EXPECT_TRUE(section->leave());
  EXPECT_EQ(section->owner(), self);
  EXPECT_TRUE(section->leave());
  EXPECT_EQ(section->owner(), 0u);
  EXPECT_EQ(section->depth(), 0u);
  EXPECT_FALSE(section->leave());
}

TEST(CriticalSection, AnotherThreadCanNeitherTryEnterNorLeaveAndEnterWaitsForEveryLevelToBeLeft)
{
  Zr::Ptr<iCriticalSection> section = threads()->createCriticalSection();
  Zr::Ptr<iThreadEvent> entered = autoEvent();
  const unsigned int self = threads()->currentThreadId();
  section->enter();
  section->enter();
  Zr::Ptr<iThread> waiter = spawn([section, entered, self] {
    if (section->tryEnter()) return 1;
    if (section->leave()) return 2;
    if (section->owner() != self || section->depth() != 2) return 3;
    section->enter();
    const bool ownsIt = section->owner() == threads()->currentThreadId();
    entered->set();
    section->leave();
    return ownsIt ? 0 : 4;
  });
  EXPECT_EQ(entered->wait(kWontHappenMs), kTimeout);
  section->leave();
  EXPECT_EQ(entered->wait(kWontHappenMs), kTimeout);
  section->leave();
  EXPECT_EQ(entered->wait(kWillHappenMs), kSuccess);
  EXPECT_EQ(exitCodeOf(waiter), 0);
}

TEST(CriticalSection, ExcludesOtherThreadsUnderContention)
{
  Zr::Ptr<iCriticalSection> section = threads()->createCriticalSection();
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  long counter = 0; // plain on purpose: only the section protects it
  std::vector<Zr::Ptr<iThread>> workers;
  for (int t = 0; t < kThreads; ++t)
    workers.push_back(spawn([section, &counter] {
      for (int i = 0; i < kRounds; ++i) {
        section->enter();
        if (i % 3 == 0) section->enter(); // recursion must not let anyone in
        ++counter;
        if (i % 3 == 0) section->leave();
        section->leave();
      }
      return 0;
    }));
  for (auto& worker : workers) ASSERT_TRUE(ended(worker));
  section->enter();
  EXPECT_EQ(counter, long(kThreads) * kRounds);
  section->leave();
}

} // namespace
