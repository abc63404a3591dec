// Paths that end the process, and those that need a table of their own: each
// runs in a fresh child, which writes what it prints to a file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <stdexcept>
#include <string>
#include <sys/resource.h>

#include "libzr/Shutdown.h"
#include "support/TestEnv.h"
#include "threads/CoprocessTestSupport.h"

namespace {

using cotest::kWillHappenMs;
using cotest::manualEvent;
using cotest::start;
using cotest::startKillable;
using ::testing::HasSubstr;
using ::testing::Not;

std::string capturePath(const char* name)
{
  return zrtest::tempRoot() + "/" + name + ".out";
}

// Returning re-runs the faulting store under the default action, so the
// fault ends the process by its signal also under a sanitizer.
void restoreDefaultFault(int, siginfo_t*, void*) {}

void captureStdoutIn(const std::string& path)
{
  struct sigaction action = {};
  action.sa_sigaction = restoreDefaultFault;
  action.sa_flags = SA_SIGINFO | SA_RESETHAND;
  sigaction(SIGSEGV, &action, nullptr);
  rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  if (!std::freopen(path.c_str(), "w", stdout)) std::abort();
  setvbuf(stdout, nullptr, _IONBF, 0);
}

int countOf(const std::string& text, const std::string& needle)
{
  int n = 0;
  for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
  return n;
}

void throwDeepInside()
{
  throw std::runtime_error("bad frame");
}

TEST(CoprocessDeathTest, AFaultOnACoProcessNamesItPrintsTheStackAndExitsOne)
{
  const std::string out = capturePath("fault");
  EXPECT_EXIT(
      {
        captureStdoutIn(out);
        co_init();
        static std::unique_ptr<cotest::Job> job = start("frame reader", [] { throwDeepInside(); });
        OS()->threadMgr()->sleep(kWillHappenMs);
        std::exit(7);
      },
      ::testing::ExitedWithCode(1), "");
  const std::string printed = zrtest::readFile(out);
  const std::string banner = "\n\n***************** EXCEPTION (frame reader) *****************\n\n";
  ASSERT_THAT(printed, HasSubstr(banner));
  // The stack follows the banner, a line per frame, and names the fault.
  const std::string stack = printed.substr(printed.find(banner) + banner.size());
  EXPECT_GE(countOf(stack, "\n"), 2) << printed;
  EXPECT_THAT(stack, HasSubstr("bad frame")) << printed;
}

TEST(CoprocessDeathTest, OfTwoFaultsAtOnceOnlyTheFirstIsReported)
{
  const std::string out = capturePath("two_faults");
  EXPECT_EXIT(
      {
        captureStdoutIn(out);
        co_init();
        // The shutdown that the first report starts waits a while, so that
        // a second report, if one were made, would be printed before exit.
        Shutdown::addCallback([](Shutdown::eExitType) { OS()->threadMgr()->sleep(300); }, 1);
        // Never destroyed: the exit runs on a faulting thread while the
        // other threads still hold them.
        static Zr::Ptr<iThreadEvent>& go = *new Zr::Ptr<iThreadEvent>(manualEvent());
        static cotest::Job* first = start("first faulter", [] {
          go->wait(kWillHappenMs);
          throwDeepInside();
        }).release();
        static cotest::Job* second = start("second faulter", [] {
          go->wait(kWillHappenMs);
          throwDeepInside();
        }).release();
        (void)first;
        (void)second;
        go->set();
        OS()->threadMgr()->sleep(kWillHappenMs);
        std::exit(7);
      },
      ::testing::ExitedWithCode(1), "");
  const std::string printed = zrtest::readFile(out);
  EXPECT_EQ(countOf(printed, "***************** EXCEPTION ("), 1) << printed;
}

TEST(CoprocessDeathTest, AFaultInAProtectedCallWithoutARowGetsTheAnonymousBanner)
{
  const std::string out = capturePath("protected_fault");
  EXPECT_EXIT(
      {
        captureStdoutIn(out);
        co_init();
        protectedExecute(
            [](void*) -> iThread::eExecRC {
              throwDeepInside();
              return iThread::eOK;
            },
            nullptr);
        std::exit(7);
      },
      ::testing::ExitedWithCode(1), "");
  const std::string printed = zrtest::readFile(out);
  EXPECT_THAT(printed, HasSubstr("\n\n***************** EXCEPTION *****************\n\n"));
  EXPECT_THAT(printed, HasSubstr("bad frame"));
}

TEST(CoprocessDeathTest, KillBeforeInitIsFatal)
{
  const std::string out = capturePath("kill_before_init");
  EXPECT_EXIT(
      {
        captureStdoutIn(out);
        co_kill(1);
        std::exit(7);
      },
      ::testing::KilledBySignal(SIGSEGV), "");
  EXPECT_THAT(zrtest::readFile(out),
              HasSubstr("QOR_SPLAT: co_kill: Attempt to kill process before co-process initialisation\n"));
}

TEST(CoprocessDeathTest, ShutdownSparesSystemProcessesAndFreezesTheTable)
{
  const std::string out = capturePath("shutdown");
  EXPECT_EXIT(
      {
        captureStdoutIn(out);
        co_init();
        Zr::Ptr<iThreadEvent> a = manualEvent();
        Zr::Ptr<iThreadEvent> b = manualEvent();
        static auto system = startKillable("$ keeper", a);
        static auto user = startKillable("worker", b);
        a->wait(kWillHappenMs);
        b->wait(kWillHappenMs);
        co_shutdown(Shutdown::eNormal);
        std::printf("worker ended: %d\n", user->ended());
        std::printf("worker row: %u\n", coThreadId(user->id));
        std::printf("keeper running: %d\n", system->thread->isRunning());
        std::printf("keeper row live: %d\n", coThreadId(system->id) != 0);
        std::printf("root row: %u\n", coThreadId(0));
        // After shutdown: kill is silent, init changes nothing, create is fatal.
        co_kill(system->id);
        std::printf("keeper spared by late kill: %d\n", coThreadId(system->id) != 0);
        co_init();
        co_create(&cotest::runJob, "too late", 0, nullptr, 0, 0);
        std::exit(7);
      },
      ::testing::KilledBySignal(SIGSEGV), "");
  const std::string printed = zrtest::readFile(out);
  EXPECT_THAT(printed, HasSubstr("worker ended: 1\n"));
  EXPECT_THAT(printed, HasSubstr("worker row: 0\n"));
  EXPECT_THAT(printed, HasSubstr("keeper running: 1\n"));
  EXPECT_THAT(printed, HasSubstr("keeper row live: 1\n"));
  EXPECT_THAT(printed, HasSubstr("root row: 0\n"));
  EXPECT_THAT(printed, HasSubstr("keeper spared by late kill: 1\n"));
  EXPECT_THAT(printed, Not(HasSubstr("reinitialise")));
  EXPECT_THAT(
      printed,
      HasSubstr("QOR_SPLAT: co_create: Attempt to create process after co-process deinitialisation\n"));
}

std::unique_ptr<cotest::Job> watchedWorker;

void reportWorkerAt699(Shutdown::eExitType)
{
  std::printf("699 sees worker: %d\n", coThreadId(watchedWorker->id) != 0);
}

void reportWorkerAt701(Shutdown::eExitType)
{
  std::printf("701 sees worker: %d\n", coThreadId(watchedWorker->id) != 0);
}

TEST(CoprocessDeathTest, ShutdownRunsAsTheCallbackAtSevenHundred)
{
  const std::string out = capturePath("shutdown_callback");
  EXPECT_EXIT(
      {
        captureStdoutIn(out);
        Zr::Ptr<iThreadEvent> running = manualEvent();
        watchedWorker = startKillable("worker", running); // co_create runs co_init itself
        running->wait(kWillHappenMs);
        Shutdown::addCallback(&reportWorkerAt699, 699);
        Shutdown::addCallback(&reportWorkerAt701, 701);
        Shutdown::executeCallbacks(Shutdown::eNormal);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
  const std::string printed = zrtest::readFile(out);
  EXPECT_THAT(printed, HasSubstr("699 sees worker: 1\n"));
  EXPECT_THAT(printed, HasSubstr("701 sees worker: 0\n"));
}

TEST(CoprocessDeathTest, PastTheReserveTheAssertionPrintsAndRowsKeepWorking)
{
  const std::string out = capturePath("many");
  EXPECT_EXIT(
      {
        captureStdoutIn(out);
        co_init();
        // Row 0 is the root; 257 more make 258 rows, three past the reserve's last.
        static std::vector<std::unique_ptr<cotest::Job>> jobs;
        static std::atomic<int> wrongPid{0};
        for (int i = 0; i < 257; ++i) {
          jobs.push_back(start("many", [] {
            if (co_pid() == 0) ++wrongPid;
          }));
          if (!jobs.back()->ended()) std::exit(3);
          if (jobs.back()->id != i + 1) std::exit(4);
        }
        std::printf("wrong pids: %d\n", wrongPid.load());
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
  const std::string printed = zrtest::readFile(out);
  EXPECT_EQ(countOf(printed, "assertion failed processes_.size() < kMaxProcesses at misc/switch line 161\n"),
            3)
      << printed;
  EXPECT_THAT(printed, HasSubstr("wrong pids: 0\n"));
}

} // namespace
