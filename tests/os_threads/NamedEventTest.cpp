// Named events, shared with other processes that open the same name.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "ThreadTestSupport.h"
#include "support/TestEnv.h"

namespace {

using namespace zrtest;

// Names unique to this test process, in the form the watchdog uses.
std::string uniqueName(const char* what)
{
  return std::string("SpawnWatchdogHeartbeatEvent {") + what + "-" + std::to_string(getpid()) + "}";
}

// args: ping, pong. Waits for ping, then sets pong.
ZR_CHILD_ROLE(answerNamedEvent)
{
  Zr::Ptr<iThreadEvent> ping = threads()->createEvent(false, false, args.at(0).c_str());
  Zr::Ptr<iThreadEvent> pong = threads()->createEvent(false, false, args.at(1).c_str());
  if (!ping || !pong || !pong->isNamed()) return 2;
  if (ping->wait(kWillHappenMs) != iWaitable::eWaitSuccess) return 1;
  return pong->set() ? 0 : 3;
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

  const std::string autoName = uniqueName("auto");
  Zr::Ptr<iThreadEvent> setAtFirst = threads()->createEvent(false, true, autoName.c_str());
  Zr::Ptr<iThreadEvent> other = threads()->createEvent(true, false, autoName.c_str());
  EXPECT_EQ(other->wait(0), kSuccess);
  EXPECT_EQ(setAtFirst->wait(kWontHappenMs), kTimeout); // taken once
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

TEST(NamedEvent, SetInOneProcessReleasesAWaiterInAnother)
{
  const std::string ping = uniqueName("ping"), pong = uniqueName("pong");
  Zr::Ptr<iThreadEvent> toChild = threads()->createEvent(false, false, ping.c_str());
  Zr::Ptr<iThreadEvent> fromChild = threads()->createEvent(false, false, pong.c_str());
  ASSERT_TRUE(toChild && fromChild);
  const int child = spawnChild("answerNamedEvent", {ping, pong});
  ASSERT_GT(child, 0);
  EXPECT_EQ(fromChild->wait(kWontHappenMs), kTimeout);
  toChild->set();
  EXPECT_EQ(fromChild->wait(kWillHappenMs), kSuccess);
  EXPECT_EQ(waitChild(child), 0);
  EXPECT_EQ(fromChild->wait(0), kTimeout);
}

} // namespace
