#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "libzr/Shutdown.h"
#include "support/TestEnv.h"

namespace {

using ::testing::ElementsAre;

// What ran, in order. Callbacks are plain functions, so they report here.
std::mutex logLock;
std::vector<std::string> ranLog;

void note(const std::string& what)
{
  std::lock_guard<std::mutex> guard(logLock);
  ranLog.push_back(what);
}

std::vector<std::string> takeLog()
{
  std::lock_guard<std::mutex> guard(logLock);
  std::vector<std::string> log;
  log.swap(ranLog);
  return log;
}

// Runs the callbacks and returns what they noted.
std::vector<std::string> runCallbacks(Shutdown::eExitType type = Shutdown::eNormal)
{
  Shutdown::executeCallbacks(type);
  return takeLog();
}

template <int N> void noteCallback(Shutdown::eExitType type)
{
  note(std::to_string(N) + ":" + std::to_string(type));
}

void throwingCallback(Shutdown::eExitType)
{
  throw std::runtime_error("callback failed");
}

// Each test leaves the list empty; this runs what a failed one left behind.
class ShutdownTest : public ::testing::Test
{
protected:
  void SetUp() override
  {
    while (Shutdown::pendingCallbacks() > 0) {
      try {
        Shutdown::executeCallbacks(Shutdown::eNormal);
      } catch (...) {
      }
    }
    takeLog();
  }
};

TEST_F(ShutdownTest, RunsCallbacksInAscendingOrderThenInRegistrationOrder)
{
  Shutdown::addCallback(noteCallback<700>, 700);
  Shutdown::addCallback(noteCallback<3>, 5);
  Shutdown::addCallback(noteCallback<99999>, 99999);
  Shutdown::addCallback(noteCallback<1>, 5);
  Shutdown::addCallback(noteCallback<100>, 100);
  Shutdown::addCallback(noteCallback<2>, 5);
  EXPECT_THAT(runCallbacks(Shutdown::eCrash), ElementsAre("3:1", "1:1", "2:1", "100:1", "700:1", "99999:1"));
  EXPECT_EQ(Shutdown::pendingCallbacks(), 0u);
}

TEST_F(ShutdownTest, RemovedCallbackDoesNotRunAndOneAddedAgainMovesAndRunsOnce)
{
  Shutdown::addCallback(noteCallback<1>, 1);
  Shutdown::addCallback(noteCallback<2>, 2);
  EXPECT_TRUE(Shutdown::removeCallback(noteCallback<1>));
  EXPECT_FALSE(Shutdown::removeCallback(noteCallback<1>));
  EXPECT_FALSE(Shutdown::removeCallback(noteCallback<3>));
  EXPECT_THAT(runCallbacks(), ElementsAre("2:0"));

  Shutdown::addCallback(noteCallback<1>, 10);
  Shutdown::addCallback(noteCallback<2>, 20);
  Shutdown::addCallback(noteCallback<1>, 30);
  EXPECT_THAT(runCallbacks(), ElementsAre("2:0", "1:0"));
  // Within one order, the one added again goes behind the others.
  Shutdown::addCallback(noteCallback<1>, 5);
  Shutdown::addCallback(noteCallback<2>, 5);
  Shutdown::addCallback(noteCallback<3>, 5);
  Shutdown::addCallback(noteCallback<1>, 5);
  EXPECT_THAT(runCallbacks(), ElementsAre("2:0", "3:0", "1:0"));
}

TEST_F(ShutdownTest, AfterAThrowTheNextCallGoesOnWithTheRest)
{
  Shutdown::addCallback(noteCallback<1>, 1);
  Shutdown::addCallback(throwingCallback, 2);
  Shutdown::addCallback(noteCallback<3>, 3);
  EXPECT_THROW(Shutdown::executeCallbacks(Shutdown::eCrash), std::runtime_error);
  EXPECT_THAT(takeLog(), ElementsAre("1:1"));
  // The thrower is gone too: a retry neither repeats it nor repeats 1.
  EXPECT_THAT(runCallbacks(Shutdown::eCrash), ElementsAre("3:1"));
}

void addsOthers(Shutdown::eExitType)
{
  note("adder");
  Shutdown::addCallback(noteCallback<1>, 1); // below the one running
  Shutdown::addCallback(noteCallback<900>, 900);
}

void removesLater(Shutdown::eExitType)
{
  note("remover");
  Shutdown::removeCallback(noteCallback<600>);
}

TEST_F(ShutdownTest, CallbacksMayAddAndRemoveCallbacksDuringTheRun)
{
  Shutdown::addCallback(addsOthers, 50);
  Shutdown::addCallback(removesLater, 500);
  Shutdown::addCallback(noteCallback<600>, 600);
  EXPECT_THAT(runCallbacks(), ElementsAre("adder", "1:0", "remover", "900:0"));
}

std::atomic<int> contextTotal{0};
void addContext(Shutdown::eExitType, void* context)
{
  contextTotal += *static_cast<int*>(context);
}

TEST_F(ShutdownTest, ContextCallbacksAreNamedByFunctionAndContext)
{
  int ten = 10, hundred = 100, thousand = 1000;
  contextTotal = 0;
  Shutdown::addCallback(addContext, &ten, 1);
  Shutdown::addCallback(addContext, &hundred, 1);
  Shutdown::addCallback(addContext, &thousand, 1);
  EXPECT_TRUE(Shutdown::removeCallback(addContext, &hundred));
  EXPECT_FALSE(Shutdown::removeCallback(addContext, &hundred));
  Shutdown::executeCallbacks(Shutdown::eNormal);
  EXPECT_EQ(contextTotal.load(), 1010);
}

std::atomic<int> concurrentRuns[8];
template <int N> void countRun(Shutdown::eExitType)
{
  ++concurrentRuns[N];
}
template <int... N> void addCountRuns(std::integer_sequence<int, N...>)
{
  (Shutdown::addCallback(countRun<N>, N + 1), ...);
}

TEST_F(ShutdownTest, ConcurrentRunsRunEachCallbackOnce)
{
  addCountRuns(std::make_integer_sequence<int, 8>());
  std::thread a([] { Shutdown::executeCallbacks(Shutdown::eNormal); });
  std::thread b([] { Shutdown::executeCallbacks(Shutdown::eNormal); });
  a.join();
  b.join();
  for (int i = 0; i < 8; ++i) EXPECT_EQ(concurrentRuns[i].load(), 1) << i;
}

ZR_CHILD_ROLE(exitingFlag)
{
  if (Shutdown::isExiting()) return 1;
  Shutdown::executeCallbacks(Shutdown::eNormal);
  return Shutdown::isExiting() ? 0 : 2;
}

TEST_F(ShutdownTest, IsExitingTurnsTrueWithTheFirstRun)
{
  // A fresh process, since this one may already have run its callbacks.
  EXPECT_EQ(zrtest::runChild("exitingFlag"), 0);
}

// Splat callbacks.

template <int N> void splatNote(const char* message)
{
  note(std::to_string(N) + ":" + message);
}
void splatThrows(const char*)
{
  throw 42;
}

class SplatTest : public ::testing::Test
{
protected:
  void TearDown() override
  {
    for (SplatCallback fn : added_) removeSplatCallback(fn);
    takeLog();
  }
  bool add(SplatCallback fn)
  {
    added_.push_back(fn);
    return addSplatCallback(fn);
  }

private:
  std::vector<SplatCallback> added_;
};

TEST_F(SplatTest, RunsInRegistrationOrderAndSurvivesAThrow)
{
  takeLog();
  ASSERT_TRUE(add(splatNote<2>));
  ASSERT_TRUE(add(splatThrows));
  ASSERT_TRUE(add(splatNote<1>));
  callSplatCallbacks("disk full");
  EXPECT_THAT(takeLog(), ElementsAre("2:disk full", "1:disk full"));
}

TEST_F(SplatTest, RemovedOrRepeatedCallbacksRunOnceOrNotAtAll)
{
  takeLog();
  ASSERT_TRUE(add(splatNote<1>));
  ASSERT_TRUE(add(splatNote<1>));
  ASSERT_TRUE(add(splatNote<2>));
  EXPECT_TRUE(removeSplatCallback(splatNote<2>));
  EXPECT_FALSE(removeSplatCallback(splatNote<2>));
  EXPECT_FALSE(addSplatCallback(nullptr));
  callSplatCallbacks("m");
  EXPECT_THAT(takeLog(), ElementsAre("1:m"));
}

template <int... N> std::vector<SplatCallback> splatFunctions(std::integer_sequence<int, N...>)
{
  return {splatNote<N + 100>...};
}

TEST_F(SplatTest, FixedTableRefusesTheSixtyFifthAndReusesFreedRoom)
{
  takeLog();
  const std::vector<SplatCallback> many = splatFunctions(std::make_integer_sequence<int, 65>());
  for (int i = 0; i < 64; ++i) ASSERT_TRUE(add(many[i])) << i;
  EXPECT_FALSE(add(many[64]));
  // Freeing one slot makes room; order is kept when the table closes its gaps.
  EXPECT_TRUE(removeSplatCallback(many[0]));
  EXPECT_TRUE(add(many[64]));
  callSplatCallbacks("x");
  const std::vector<std::string> log = takeLog();
  ASSERT_EQ(log.size(), 64u);
  EXPECT_EQ(log.front(), "101:x");
  EXPECT_EQ(log.back(), "164:x");
}

} // namespace
