// Waiting for the first of several events.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "ThreadTestSupport.h"

namespace {

using namespace zrtest;
using Events = std::vector<Zr::Ptr<iThreadEvent>>;

TEST(WaitForAny, FailsOnAnEmptyListOrANullEvent)
{
  unsigned int index = 77;
  EXPECT_EQ(threads()->waitForAny({}, 0, &index), iWaitable::eWaitFailed);
  EXPECT_EQ(threads()->waitForAny({autoEvent(true), nullptr}, 0, &index), iWaitable::eWaitFailed);
  EXPECT_EQ(index, 77u);
}

TEST(WaitForAny, GivesTheFirstSetEventInListOrderAndConsumesOnlyThat)
{
  Zr::Ptr<iThreadEvent> a = autoEvent(), b = autoEvent(), c = autoEvent();
  Events events{a, b, c};
  unsigned int index = 77;
  EXPECT_EQ(threads()->waitForAny(events, 0, &index), kTimeout);
  EXPECT_EQ(threads()->waitForAny(events, kWontHappenMs, &index), kTimeout);
  EXPECT_EQ(index, 77u);
  c->set();
  b->set();
  ASSERT_EQ(threads()->waitForAny(events, kWillHappenMs, &index), kSuccess);
  EXPECT_EQ(index, 1u);
  ASSERT_EQ(threads()->waitForAny(events, kWillHappenMs, &index), kSuccess);
  EXPECT_EQ(index, 2u);
  EXPECT_EQ(threads()->waitForAny(events, 0, &index), kTimeout);
}

TEST(WaitForAny, LeavesAManualResetEventSet)
{
  Zr::Ptr<iThreadEvent> manual = manualEvent(true);
  EXPECT_EQ(threads()->waitForAny({manual}, 0, nullptr), kSuccess);
  EXPECT_EQ(manual->wait(0), kSuccess);
}

TEST(WaitForAny, OneSetOfAnAutoResetEventReleasesOneOfItsWaiters)
{
  Zr::Ptr<iThreadEvent> shared = autoEvent();
  Zr::Ptr<iSemaphore> released = threads()->createSemaphore(0, 2);
  std::vector<Zr::Ptr<iThread>> waiters;
  for (int i = 0; i < 2; ++i)
    waiters.push_back(spawn([shared, released] {
      Zr::Ptr<iThreadEvent> own = autoEvent(); // never set: the wait is on a real list
      if (threads()->waitForAny({own, shared}, iWaitable::kInfinite, nullptr) != iWaitable::eWaitSuccess)
        return 1;
      released->release(1);
      return 0;
    }));
  shared->set();
  EXPECT_EQ(released->wait(kWillHappenMs), kSuccess);
  EXPECT_EQ(released->wait(kWontHappenMs), kTimeout);
  shared->set();
  EXPECT_EQ(released->wait(kWillHappenMs), kSuccess);
  for (auto& waiter : waiters) EXPECT_EQ(exitCodeOf(waiter), 0);
}

TEST(WaitForAny, WakesWhenAnotherThreadSetsALocalOrANamedEvent)
{
  const std::string name = "zr test wait-for-any {" + std::to_string(getpid()) + "}";
  Zr::Ptr<iThreadEvent> local = autoEvent();
  Zr::Ptr<iThreadEvent> named = threads()->createEvent(false, false, name.c_str());
  ASSERT_TRUE(named);
  Events events{local, named};

  unsigned int index = 77;
  EXPECT_EQ(threads()->waitForAny(events, kWontHappenMs, &index), kTimeout);

  Zr::Ptr<iThread> setter = spawn([named] { return named->set() ? 0 : 1; });
  ASSERT_EQ(threads()->waitForAny(events, kWillHappenMs, &index), kSuccess);
  EXPECT_EQ(index, 1u);
  EXPECT_EQ(named->wait(0), kTimeout); // consumed

  Zr::Ptr<iThread> localSetter = spawn([local] { return local->set() ? 0 : 1; });
  ASSERT_EQ(threads()->waitForAny(events, kWillHappenMs, &index), kSuccess);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(local->wait(0), kTimeout); // consumed
  EXPECT_EQ(exitCodeOf(setter), 0);
  EXPECT_EQ(exitCodeOf(localSetter), 0);
}

} // namespace
