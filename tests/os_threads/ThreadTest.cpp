// Managed threads: names, ids, priorities, affinity, thread-local objects,
// waiting for the end, and ending early.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>

#include "ThreadTestSupport.h"
#include "support/TestEnv.h"

namespace {

using namespace zrtest;

std::string commOf(unsigned int tid)
{
  std::string comm = readFile("/proc/self/task/" + std::to_string(tid) + "/comm");
  if (!comm.empty() && comm.back() == '\n') comm.pop_back();
  return comm;
}

// A thread that runs until `release` is set; its exit code is 5.
Zr::Ptr<iThread> parked(const Zr::Ptr<iThreadEvent>& release, const char* name = "zr-parked")
{
  return spawn([release] { return release->wait(iWaitable::kInfinite) == kSuccess ? 5 : 1; }, name);
}

struct Tracked : iObject
{
  explicit Tracked(Zr::Ptr<iThreadEvent> onDeath) : onDeath_(std::move(onDeath)) {}
  ~Tracked() override { onDeath_->set(); }
  Zr::Ptr<iThreadEvent> onDeath_;
};

TEST(Thread, KnowsItselfAndTheThreadsItDidNotMake)
{
  EXPECT_FALSE(threads()->currentThread());
  EXPECT_EQ(threads()->currentThreadId(), unsigned(gettid()));

  Zr::Ptr<iThreadEvent> release = manualEvent();
  Zr::Ptr<iThread> thread = spawn([release] {
    Zr::Ptr<iThread> self = threads()->currentThread();
    if (!self || self->getId() != threads()->currentThreadId()) return 1;
    if (threads()->currentThreadId() != unsigned(gettid())) return 2;
    release->wait(iWaitable::kInfinite);
    return self->isRunning() ? 0 : 3;
  });
  ASSERT_TRUE(thread);
  EXPECT_NE(thread->getId(), 0u);
  EXPECT_NE(thread->getId(), threads()->currentThreadId());
  release->set();
  EXPECT_EQ(exitCodeOf(thread), 0);
}

TEST(Thread, NameIsCutForTheKernelAndWaitForEndTimesOutUntilTheExitCodeIsThere)
{
  Zr::Ptr<iThreadEvent> release = manualEvent();
  const char* longName = "$ Watchdog Life Support";
  Zr::Ptr<iThread> thread = parked(release, longName);
  ASSERT_TRUE(thread);
  EXPECT_EQ(commOf(thread->getId()), std::string(longName).substr(0, 15));
  EXPECT_STREQ(thread->getName().c_str(), longName); // kept whole here
  EXPECT_EQ(thread->waitForEnd(0), kTimeout);
  EXPECT_EQ(thread->waitForEnd(kWontHappenMs), kTimeout);
  EXPECT_TRUE(thread->isRunning());
  release->set();
  EXPECT_EQ(thread->waitForEnd(kWillHappenMs), kSuccess);
  EXPECT_FALSE(thread->isRunning());
  EXPECT_EQ(thread->exitCode(), 5);
  EXPECT_EQ(thread->waitForEnd(0), kSuccess);
}

TEST(Thread, RunsOnWhenEveryHandleIsDropped)
{
  Zr::Ptr<iThreadEvent> go = autoEvent(), done = autoEvent();
  spawn([go, done] {
    go->wait(iWaitable::kInfinite);
    // Its own object is still there to ask.
    done->set();
    return threads()->currentThread() ? 0 : 1;
  });
  go->set();
  EXPECT_EQ(done->wait(kWillHappenMs), kSuccess);
}

TEST(Thread, StackSizeBelowTheSystemMinimumIsRaised)
{
  EXPECT_EQ(exitCodeOf(spawn([] { return 9; }, "zr-tiny", 1)), 9);
}

TEST(Thread, PriorityMapsToNiceValuesAndRejectsValuesOutsideTheRange)
{
  // New threads start at this thread's nice value; 5 and 10 must be lowerings.
  if (getpriority(PRIO_PROCESS, 0) > 5) GTEST_SKIP() << "the tests already run below nice 5";
  Zr::Ptr<iThreadEvent> release = manualEvent();
  Zr::Ptr<iThread> thread = parked(release);
  const unsigned int tid = thread->getId();
  EXPECT_EQ(thread->getPriority(), 2);

  EXPECT_TRUE(thread->setPriority(1));
  EXPECT_EQ(getpriority(PRIO_PROCESS, tid), 5);
  EXPECT_TRUE(thread->setPriority(0));
  EXPECT_EQ(getpriority(PRIO_PROCESS, tid), 10);
  EXPECT_EQ(thread->getPriority(), 0);

  EXPECT_FALSE(thread->setPriority(6));
  EXPECT_FALSE(thread->setPriority(-1));
  EXPECT_EQ(thread->getPriority(), 0);
  EXPECT_EQ(getpriority(PRIO_PROCESS, tid), 10);

  // Raising may be refused for lack of privilege; that is not a failure.
  EXPECT_TRUE(thread->setPriority(5));
  EXPECT_EQ(thread->getPriority(), 5);

  release->set();
  ASSERT_TRUE(ended(thread));
  // An ended thread is no failure: a maker may set it after a short function returned.
  EXPECT_TRUE(thread->setPriority(2));
  EXPECT_TRUE(thread->setAffinity(1));
  EXPECT_FALSE(thread->setPriority(7));
}

TEST(Thread, AffinityPinsToTheNamedProcessorAndRejectsMasksWithNone)
{
  cpu_set_t allowed;
  ASSERT_EQ(sched_getaffinity(0, sizeof allowed, &allowed), 0);
  int cpu = 0;
  while (cpu < 32 && !CPU_ISSET(cpu, &allowed)) ++cpu;
  if (cpu == 32) GTEST_SKIP() << "no processor below 32 is allowed to this process";

  Zr::Ptr<iThreadEvent> release = manualEvent();
  Zr::Ptr<iThread> thread = parked(release);
  const pid_t tid = pid_t(thread->getId());

  ASSERT_TRUE(thread->setAffinity(1U << cpu));
  cpu_set_t now;
  ASSERT_EQ(sched_getaffinity(tid, sizeof now, &now), 0);
  EXPECT_EQ(CPU_COUNT(&now), 1);
  EXPECT_TRUE(CPU_ISSET(cpu, &now));

  EXPECT_FALSE(thread->setAffinity(0));
  EXPECT_FALSE(sysconf(_SC_NPROCESSORS_CONF) < 32 && thread->setAffinity(1U << 31)); // no such processor
  ASSERT_EQ(sched_getaffinity(tid, sizeof now, &now), 0);
  EXPECT_EQ(CPU_COUNT(&now), 1); // the failures changed nothing

  EXPECT_TRUE(thread->setAffinity(~0U));
  ASSERT_EQ(sched_getaffinity(tid, sizeof now, &now), 0);
  cpu_set_t common;
  CPU_AND(&common, &now, &allowed);
  EXPECT_TRUE(CPU_EQUAL(&common, &allowed)); // every processor this process may use

  release->set();
  EXPECT_TRUE(ended(thread));
}

TEST(Thread, ThreadLocalObjectsBelongToEachThreadAndGoWithIt)
{
  Zr::Ptr<iThreadEvent> firstGone = manualEvent(), secondGone = manualEvent();
  Zr::Ptr<iThreadEvent> bothStored = manualEvent();
  Zr::Ptr<iSemaphore> stored = threads()->createSemaphore(0, 2);

  auto body = [stored, bothStored](Zr::Ptr<iThreadEvent> onDeath) {
    Zr::Ptr<iThread> self = threads()->currentThread();
    Zr::Ptr<iObject> mine(new Tracked(onDeath));
    self->setThreadLocalObject("timer", mine);
    self->setThreadLocalObject("scratch", Zr::Ptr<iObject>(new Tracked(autoEvent())));
    self->setThreadLocalObject("scratch", nullptr);
    stored->release(1);
    bothStored->wait(iWaitable::kInfinite);
    if (self->getThreadLocalObject("timer") != mine) return 1;
    if (self->getThreadLocalObject("scratch") || self->getThreadLocalObject("unknown")) return 2;
    return 0;
  };
  Zr::Ptr<iThread> first = spawn([body, firstGone] { return body(firstGone); });
  Zr::Ptr<iThread> second = spawn([body, secondGone] { return body(secondGone); });
  ASSERT_EQ(stored->wait(kWillHappenMs), kSuccess);
  ASSERT_EQ(stored->wait(kWillHappenMs), kSuccess);
  bothStored->set();

  EXPECT_EQ(exitCodeOf(first), 0);
  EXPECT_EQ(exitCodeOf(second), 0);
  // Released by the time the end is seen, though the thread objects live on.
  EXPECT_EQ(firstGone->wait(0), kSuccess);
  EXPECT_EQ(secondGone->wait(0), kSuccess);
  EXPECT_FALSE(first->getThreadLocalObject("timer"));
}

struct SetOnUnwind
{
  Zr::Ptr<iThreadEvent> event;
  ~SetOnUnwind() { event->set(); }
};

iThread::eExecRC endFromDeepInside(void*)
{
  threads()->endCurrentThread(7);
  return iThread::eOK; // not reached
}

TEST(Thread, EndCurrentThreadUnwindsThroughCatchesAndProtectedCallsUnreported)
{
  Zr::Ptr<iThreadEvent> unwound = manualEvent(), pastTheEnd = manualEvent();
  Zr::Ptr<iThread> thread = spawn([unwound, pastTheEnd] {
    SetOnUnwind guard{unwound};
    try {
      threads()->protectedExecute(&endFromDeepInside, nullptr,
                                  [](const iThread::Exception&) { ADD_FAILURE() << "reported"; });
    } catch (...) {
      throw; // glibc's forced unwind must go on through user catch-alls that rethrow
    }
    pastTheEnd->set();
    return 0;
  });
  EXPECT_EQ(exitCodeOf(thread), 7);
  EXPECT_FALSE(thread->isRunning());
  EXPECT_EQ(unwound->wait(0), kSuccess);
  EXPECT_EQ(pastTheEnd->wait(0), kTimeout);
}

} // namespace
