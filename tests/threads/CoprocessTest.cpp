#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstdio>
#include <regex>
#include <set>
#include <string>
#include <thread>

#include "core/Service.h"
#include "threads/CoprocessTestSupport.h"

namespace {

using cotest::kWillHappenMs;
using cotest::manualEvent;
using cotest::start;
using cotest::startKillable;
using ::testing::HasSubstr;
using ::testing::Not;

iThreadManager* threads()
{
  return OS()->threadMgr();
}

TEST(CoInitTest, TheCallerBecomesProcessZeroOnce)
{
  co_init();
  EXPECT_EQ(co_pid(), 0u);
  EXPECT_TRUE(isMainThread());
  EXPECT_EQ(coThreadId(0), threads()->currentThreadId());
  // Row 0 has no iThread: the thread-local pair falls back to the main map.
  EXPECT_FALSE(coThreadGet(0));

  // A second co_init adds no second root: the next row follows directly.
  auto before = start("probe", [] {});
  ASSERT_TRUE(before->ended());
  co_init();
  auto after = start("probe", [] {});
  EXPECT_EQ(after->id, before->id + 1);
  EXPECT_TRUE(after->ended());
}

TEST(CoCreateTest, EachThreadReadsItsOwnIdAndForeignThreadsReadZero)
{
  std::atomic<unsigned int> seenPid{~0u};
  std::atomic<bool> seenMain{true};
  std::atomic<unsigned int> seenTid{0};
  auto job = start("pid probe", [&] {
    seenPid = co_pid();
    seenMain = isMainThread();
    seenTid = threads()->currentThreadId();
  });
  ASSERT_TRUE(job->ended());
  EXPECT_NE(job->id, 0);
  EXPECT_EQ(seenPid.load(), job->id);
  EXPECT_FALSE(seenMain.load());
  // A function that returns leaves its row running, with the thread's id.
  EXPECT_EQ(coThreadId(job->id), seenTid.load());
  EXPECT_EQ(coThreadGet(job->id)->getName(), LightweightString<char>("pid probe"));

  unsigned int foreignPid = ~0u;
  bool foreignMain = false;
  std::thread([&] {
    foreignPid = co_pid();
    foreignMain = isMainThread();
  }).join();
  EXPECT_EQ(foreignPid, 0u);
  EXPECT_TRUE(foreignMain);
}

TEST(CoCreateTest, IdsAreNeverReused)
{
  auto first = startKillable("short lived");
  co_kill(first->id);
  ASSERT_TRUE(first->ended());
  auto second = start("next", [] {});
  EXPECT_GT(second->id, first->id);
  EXPECT_EQ(coThreadId(first->id), 0u);
  EXPECT_TRUE(second->ended());
}

TEST(CoCreateTest, ManyThreadsCreatingAtOnceGetDistinctRows)
{
  constexpr int kCreators = 4, kEach = 8;
  std::vector<std::unique_ptr<cotest::Job>> jobs[kCreators];
  std::vector<std::thread> creators;
  for (int c = 0; c < kCreators; ++c)
    creators.emplace_back([&jobs, c] {
      for (int i = 0; i < kEach; ++i) {
        std::atomic<unsigned int>* pid = new std::atomic<unsigned int>(0);
        jobs[c].push_back(start("crowd", [pid] { *pid = co_pid(); }));
        ASSERT_TRUE(jobs[c].back()->ended());
        EXPECT_EQ(pid->load(), jobs[c].back()->id);
        delete pid;
      }
    });
  for (std::thread& t : creators) t.join();
  std::set<unsigned short> ids;
  for (auto& list : jobs)
    for (auto& job : list) ids.insert(job->id);
  EXPECT_EQ(ids.size(), size_t(kCreators * kEach));
}

TEST(AffinityKeyTest, BlanksBecomeUnderscoresThroughoutTheKey)
{
  EXPECT_EQ(coAffinityKey("$ Watchdog Life Support"),
            LightweightString<char>("affinity.$_Watchdog_Life_Support"));
  EXPECT_EQ(coAffinityKey(" two  gaps "), LightweightString<char>("affinity._two__gaps_"));
  EXPECT_EQ(coAffinityKey("plain"), LightweightString<char>("affinity.plain"));
}

TEST(PriorityTest, MapsTheEditorsRangeAndTreatsTheRestAsNormal)
{
  const std::pair<int, int> cases[] = {{-2, 0}, {-1, 1}, {0, 2},  {1, 3},       {2, 4},      {3, 5},
                                       {4, 5},  {5, 2},  {-3, 2}, {INT_MAX, 2}, {INT_MIN, 2}};
  for (const auto& [editor, manager] : cases) EXPECT_EQ(mapThreadPriority(editor), manager) << editor;
}

TEST(PriorityTest, TheThreadRunsAtTheMappedPriority)
{
  // Lowering is always allowed, so the thread's own priority shows the mapping.
  Zr::Ptr<iThreadEvent> go = manualEvent();
  auto job = start(
      "low", [go] { go->wait(kWillHappenMs); }, -2);
  EXPECT_EQ(job->thread->getPriority(), 0);
  go->set();
  EXPECT_TRUE(job->ended());
}

TEST(CoKillTest, EndsACooperatingThreadAndEmptiesItsRow)
{
  Zr::Ptr<iThreadEvent> running = manualEvent();
  auto job = startKillable("victim", running);
  ASSERT_EQ(running->wait(kWillHappenMs), iWaitable::eWaitSuccess);
  EXPECT_NE(coThreadId(job->id), 0u);
  co_kill(job->id);
  EXPECT_TRUE(job->ended());
  EXPECT_EQ(coThreadId(job->id), 0u);
  EXPECT_FALSE(coThreadGet(job->id));
  // A second kill of a dead row does nothing.
  co_kill(job->id);
  EXPECT_EQ(coThreadId(job->id), 0u);
}

TEST(CoKillTest, IdsPastTheTableAreIgnored)
{
  auto job = start("last", [] {});
  ASSERT_TRUE(job->ended());
  co_kill(job->id + 1);
  co_kill(0xffff);
  EXPECT_FALSE(coThreadGet(job->id + 1));
  EXPECT_EQ(coThreadId(job->id + 1), 0u);
  EXPECT_EQ(coThreadId(0xffff), 0u);
  // Nothing was added or disturbed.
  auto after = start("after", [] {});
  EXPECT_EQ(after->id, job->id + 1);
  EXPECT_TRUE(after->ended());
}

TEST(CoKillTest, KillingOneselfMarksTheRowAndTheThreadRunsOnUntilItChecks)
{
  std::atomic<unsigned int> ownTidAfterKill{1};
  std::atomic<bool> ranAfterKill{false}, ranAfterCheck{false};
  auto job = start("suicidal", [&] {
    co_kill(static_cast<unsigned short>(co_pid()));
    ownTidAfterKill = coThreadId(static_cast<unsigned short>(co_pid()));
    ranAfterKill = true;
    KillMyselfCheck();
    ranAfterCheck = true;
  });
  ASSERT_TRUE(job->ended());
  EXPECT_TRUE(ranAfterKill.load());
  EXPECT_EQ(ownTidAfterKill.load(), 0u);
  EXPECT_FALSE(ranAfterCheck.load());
}

TEST(CoKillTest, AThreadHoldingTheServiceLockIsSparedUntilItLetsGo)
{
  Zr::Ptr<iThreadEvent> holding = manualEvent(), killed = manualEvent();
  std::atomic<bool> survivedWhileHolding{false}, ranAfterRelease{false};
  auto job = start("lock holder", [&] {
    service_disable();
    holding->set();
    killed->wait(kWillHappenMs);
    KillMyselfCheck();
    survivedWhileHolding = true;
    service_enable();
    KillMyselfCheck();
    ranAfterRelease = true;
  });
  ASSERT_EQ(holding->wait(kWillHappenMs), iWaitable::eWaitSuccess);
  Zr::Ptr<iThread> thread = job->thread;
  co_kill(job->id); // gives up waiting: the thread is blocked on `killed`
  killed->set();
  ASSERT_EQ(thread->waitForEnd(kWillHappenMs), iWaitable::eWaitSuccess);
  EXPECT_TRUE(survivedWhileHolding.load());
  EXPECT_FALSE(ranAfterRelease.load());
}

TEST(CoKillTest, RacingKillsOfOneProcessAreSafe)
{
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
  constexpr int kRounds = 15;
#else
  constexpr int kRounds = 60;
#endif
  for (int round = 0; round < kRounds; ++round) {
    Zr::Ptr<iThreadEvent> running = manualEvent();
    auto job = startKillable("raced", running);
    ASSERT_EQ(running->wait(kWillHappenMs), iWaitable::eWaitSuccess);
    std::atomic<int> ready{0};
    auto kill = [&] {
      ++ready;
      while (ready.load() < 2) {
      }
      co_kill(job->id);
    };
    std::thread a(kill), b(kill);
    a.join();
    b.join();
    ASSERT_TRUE(job->ended()) << round;
    EXPECT_EQ(coThreadId(job->id), 0u);
    EXPECT_FALSE(coThreadGet(job->id));
  }
}

struct Marker : iObject
{
  explicit Marker(int v) : value(v) {}
  int value;
};

int markerValue(const Zr::Ptr<iObject>& object)
{
  auto* marker = dynamic_cast<Marker*>(object.get());
  return marker ? marker->value : -1;
}

TEST(ThreadLocalObjectTest, MainThreadKeepsItsOwnMap)
{
  setThreadLocalObject("tl main", Zr::Ptr<iObject>(new Marker(1)));
  EXPECT_EQ(markerValue(getThreadLocalObject("tl main")), 1);
  setThreadLocalObject("tl main", Zr::Ptr<iObject>(new Marker(2)));
  EXPECT_EQ(markerValue(getThreadLocalObject("tl main")), 2);
  EXPECT_FALSE(getThreadLocalObject("tl never stored"));
}

TEST(ThreadLocalObjectTest, CoProcessesDoNotSeeTheMainThreadsObjects)
{
  setThreadLocalObject("tl shared key", Zr::Ptr<iObject>(new Marker(10)));
  std::atomic<int> before{0}, after{0};
  auto job = start("tl worker", [&] {
    before = markerValue(getThreadLocalObject("tl shared key"));
    setThreadLocalObject("tl shared key", Zr::Ptr<iObject>(new Marker(20)));
    after = markerValue(getThreadLocalObject("tl shared key"));
  });
  ASSERT_TRUE(job->ended());
  EXPECT_EQ(before.load(), -1);
  EXPECT_EQ(after.load(), 20);
  EXPECT_EQ(markerValue(getThreadLocalObject("tl shared key")), 10);
}

TEST(ThreadLocalObjectTest, ThreadsWithoutARowShareTheMainMap)
{
  setThreadLocalObject("tl foreign", Zr::Ptr<iObject>(new Marker(5)));
  int seen = 0;
  std::thread([&] { seen = markerValue(getThreadLocalObject("tl foreign")); }).join();
  EXPECT_EQ(seen, 5);
}

std::string printTable()
{
  testing::internal::CaptureStdout();
  co_print();
  return testing::internal::GetCapturedStdout();
}

TEST(CoPrintTest, ListsLiveRowsWithPriorityStateAndTid)
{
  co_init();
  Zr::Ptr<iThreadEvent> running = manualEvent();
  auto job = startKillable("printed job", running);
  ASSERT_EQ(running->wait(kWillHappenMs), iWaitable::eWaitSuccess);
  const unsigned int tid = coThreadId(job->id);

  const std::string table = printTable();
  EXPECT_THAT(table, HasSubstr(": proc(id) : priority state tid(dec/hex) name\n"));
  EXPECT_THAT(table, HasSubstr(": -------------------------------------------\n"));
  char row[128];
  std::snprintf(row, sizeof row, ": proc(%02d) : 02 R %03d/%02x printed job\n", job->id, int(tid), tid);
  EXPECT_THAT(table, HasSubstr(row));
  EXPECT_TRUE(std::regex_search(table, std::regex(R"(: proc\(00\) : 00 R \d{3,}/[0-9a-f]{2,} \$ root\n)")))
      << table;

  co_kill(job->id);
  ASSERT_TRUE(job->ended());
  EXPECT_THAT(printTable(), Not(HasSubstr("printed job")));
}

TEST(CoDebugPrintTest, LogsNameAndTidAndNothingOutOfRange)
{
  auto job = start("debugged", [] {});
  ASSERT_TRUE(job->ended());
  testing::internal::CaptureStdout();
  coDebugPrint(job->id);
  coDebugPrint(0xffff);
  const std::string printed = testing::internal::GetCapturedStdout();
  const std::string expected = "debugged (" + std::to_string(coThreadId(job->id)) + ")\n";
  EXPECT_THAT(printed, HasSubstr(expected));
  EXPECT_EQ(printed.find('\n'), printed.size() - 1) << printed;
}

TEST(ProtectedExecuteTest, RunsOnTheCallingThreadAndReturnsZero)
{
  static unsigned int ranOn = 0;
  ranOn = 0;
  const int rc = protectedExecute(
      [](void*) {
        ranOn = OS()->threadMgr()->currentThreadId();
        return iThread::eInitFailed;
      },
      nullptr);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(ranOn, threads()->currentThreadId());
}

} // namespace
