// Named events, shared with other processes that open the same name.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "ThreadTestSupport.h"
#include "support/TestEnv.h"

namespace {

using namespace zrtest;

constexpr auto kTimeout = iWaitable::eWaitTimeout;
constexpr auto kSuccess = iWaitable::eWaitSuccess;

// Names unique to this test process, in the form the watchdog uses.
std::string uniqueName(const char* what)
{
  return std::string("SpawnWatchdogHeartbeatEvent {") + what + "-" + std::to_string(getpid()) + "}";
}

ZR_CHILD_ROLE(setNamedEvent)
{
  Zr::Ptr<iThreadEvent> event = threads()->createEvent(false, false, args.at(0).c_str());
  if (!event || !event->isNamed()) return 2;
  return event->set() ? 0 : 3;
}

ZR_CHILD_ROLE(waitForNamedEvent)
{
  Zr::Ptr<iThreadEvent> event = threads()->createEvent(false, false, args.at(0).c_str());
  if (!event) return 2;
  return event->wait(kWillHappenMs) == iWaitable::eWaitSuccess ? 0 : 1;
}

TEST(NamedEvent, SecondOpenSharesTheStateAndTheFirstMakersKind)
{
  const std::string name = uniqueName("kind");
  Zr::Ptr<iThreadEvent> first = threads()->createEvent(true, false, name.c_str());
  ASSERT_TRUE(first);
  EXPECT_TRUE(first->isNamed());
  Zr::Ptr<iThreadEvent> second = threads()->createEvent(false, true, name.c_str());
  ASSERT_TRUE(second);

  EXPECT_EQ(second->wait(0), kTimeout); // the first maker's state
  first->set();
  EXPECT_EQ(second->wait(kWillHappenMs), kSuccess);
  EXPECT_EQ(second->wait(0), kSuccess); // and its manual kind
  second->reset();
  EXPECT_EQ(first->wait(0), kTimeout);
}

TEST(NamedEvent, AutoResetNamedEventIsTakenOnce)
{
  const std::string name = uniqueName("auto");
  Zr::Ptr<iThreadEvent> event = threads()->createEvent(false, true, name.c_str());
  Zr::Ptr<iThreadEvent> other = threads()->createEvent(false, false, name.c_str());
  EXPECT_EQ(other->wait(0), kSuccess);
  EXPECT_EQ(event->wait(kWontHappenMs), kTimeout);
}

TEST(NamedEvent, DifferentNamesAreDifferentEventsEvenWhenLong)
{
  const std::string base = uniqueName("long") + std::string(300, 'x');
  Zr::Ptr<iThreadEvent> a = threads()->createEvent(true, false, (base + "a").c_str());
  Zr::Ptr<iThreadEvent> b = threads()->createEvent(true, false, (base + "b").c_str());
  Zr::Ptr<iThreadEvent> longer = threads()->createEvent(true, false, (base + "ab").c_str());
  ASSERT_TRUE(a && b && longer);
  a->set();
  EXPECT_EQ(b->wait(0), kTimeout);
  EXPECT_EQ(longer->wait(0), kTimeout);
  EXPECT_EQ(a->wait(0), kSuccess);
}

TEST(NamedEvent, LastCloseForgetsTheEvent)
{
  const std::string name = uniqueName("forget");
  {
    Zr::Ptr<iThreadEvent> event = threads()->createEvent(true, false, name.c_str());
    event->set();
  }
  Zr::Ptr<iThreadEvent> fresh = threads()->createEvent(true, false, name.c_str());
  ASSERT_TRUE(fresh);
  EXPECT_EQ(fresh->wait(0), kTimeout);
}

TEST(NamedEvent, SetByAnotherProcessReleasesAWaiterHere)
{
  const std::string name = uniqueName("child-sets");
  Zr::Ptr<iThreadEvent> event = threads()->createEvent(false, false, name.c_str());
  ASSERT_TRUE(event);
  const int child = spawnChild("setNamedEvent", {name});
  ASSERT_GT(child, 0);
  EXPECT_EQ(event->wait(kWillHappenMs), kSuccess);
  EXPECT_EQ(waitChild(child), 0);
  EXPECT_EQ(event->wait(0), kTimeout);
}

TEST(NamedEvent, SetHereIsSeenByAnotherProcess)
{
  const std::string name = uniqueName("parent-sets");
  Zr::Ptr<iThreadEvent> event = threads()->createEvent(false, false, name.c_str());
  ASSERT_TRUE(event);
  const int child = spawnChild("waitForNamedEvent", {name});
  ASSERT_GT(child, 0);
  event->set();
  EXPECT_EQ(waitChild(child), 0);
}

} // namespace
