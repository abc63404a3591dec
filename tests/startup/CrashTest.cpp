#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <regex>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#include "core/Crash.h"
#include "libzr/Shutdown.h"
#include "logging/DebugConsole.h"
#include "settings/RegistryConfig.h"
#include "support/TestEnv.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string session(long seconds)
{
  char buffer[64];
  formatSessionLength(seconds, buffer, sizeof buffer);
  return buffer;
}

TEST(SessionLengthTest, WordsSecondsMinutesAndHours)
{
  const std::pair<long, const char*> cases[] = {{59, "59 seconds"},          {60, "1 minute"},
                                                {119, "1 minute"},           {120, "2 minutes"},
                                                {3599, "59 minutes"},        {3600, "1 hour, 0 minute"},
                                                {3660, "1 hour, 1 minute"},  {3720, "1 hour, 2 minutes"},
                                                {7260, "2 hours, 1 minute"}, {7320, "2 hours, 2 minutes"}};
  for (const auto& [seconds, expected] : cases) EXPECT_EQ(session(seconds), expected) << seconds;
}

TEST(SessionLengthTest, StaysInsideASmallBuffer)
{
  char buffer[6] = "#####";
  formatSessionLength(7260, buffer, 5);
  EXPECT_STREQ(buffer, "2 ho");
  EXPECT_EQ(buffer[5], 0);
}

TEST(ExitTimeTest, NamesTheLocalTimeAndTheSession)
{
  char buffer[128];
  getExitTimeStr(buffer);
  // asctime's own newline becomes a blank before the parenthesis.
  const std::regex form(
      R"(Time: \w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4}  \(Session : \d+ (seconds|minutes?)\)\n)");
  EXPECT_TRUE(std::regex_match(buffer, form)) << buffer;
}

// Burns processor time: the session is measured with clock().
void spendProcessorTime(double seconds)
{
  const clock_t start = clock();
  volatile unsigned long sink = 0;
  while (double(clock() - start) / CLOCKS_PER_SEC < seconds) sink = sink + 1;
}

TEST(ExitTimeTest, SecondExceptInitKeepsTheSessionStart)
{
  EXPECT_EQ(except_init(), 0);
  spendProcessorTime(1.05);
  EXPECT_EQ(except_init(), 0);
  char buffer[128];
  getExitTimeStr(buffer);
  EXPECT_THAT(buffer, Not(HasSubstr("(Session : 0 seconds)")));
}

// Death tests: each child writes what it prints to standard output into a
// file that the parent reads afterwards.
std::string capturePath(const char* name)
{
  return zrtest::tempRoot() + "/" + name + ".out";
}

void redirectStdout(const std::string& path)
{
  if (!std::freopen(path.c_str(), "w", stdout)) std::abort();
}

void noCoreFile()
{
  rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

void printConsoleRowAbove(const char* label)
{
  Zr::Ptr<iStatusWindow> w = herc_window();
  LightweightString<wchar_t> line = w ? w->getLine(w->height() - 3) : LightweightString<wchar_t>();
  std::printf("%s%ls|\n", label, line.c_str());
  std::fflush(stdout);
}

void splatCallback(const char* message)
{
  std::printf("callback: %s\n", message);
  printConsoleRowAbove("console: ");
}

// Reports where the fault hit, then lets it end the process by the default
// action (also under a sanitizer, which would otherwise turn it into exit 1).
void reportFaultAddress(int, siginfo_t* info, void*)
{
  char line[64];
  const int n = std::snprintf(line, sizeof line, "fault at %p\n", info->si_addr);
  (void)!write(STDOUT_FILENO, line, n);
}

void watchFaultAddress()
{
  struct sigaction action = {};
  action.sa_sigaction = reportFaultAddress;
  action.sa_flags = SA_SIGINFO | SA_RESETHAND;
  sigaction(SIGSEGV, &action, nullptr);
}

TEST(QorSplatDeathTest, BannerConsoleAndCallbacksInOrderThenAFaultAtZero)
{
  const std::string out = capturePath("splat");
  EXPECT_EXIT(
      {
        noCoreFile();
        redirectStdout(out);
        herc_init();
        showDebugWindow(true);
        addSplatCallback(splatCallback);
        watchFaultAddress();
        qor_splat("disk on fire");
      },
      ::testing::KilledBySignal(SIGSEGV), "");
  const std::string printed = zrtest::readFile(out);
  const std::regex form("\n\\*{33}\nQOR_SPLAT: disk on fire\nTime: [^\n]+\\(Session : [^)]+\\)\n\n"
                        "callback: disk on fire\n"
                        "console: QOR: disk on fire +\\|\n"
                        "fault at \\(nil\\)\n");
  EXPECT_TRUE(std::regex_match(printed, form)) << printed;
}

TEST(QorSplatDeathTest, ReturnsWhileAnExceptionIsBeingHandled)
{
  EXPECT_EXIT(
      {
        ++exceptionInProgress();
        qor_splat("not now");
        --exceptionInProgress();
        std::exit(3);
      },
      ::testing::ExitedWithCode(3), "");
}

std::atomic<bool> firstSplatInCallbacks{false};

void holdTheSplat(const char*)
{
  firstSplatInCallbacks = true;
  for (;;) usleep(1000);
}

TEST(QorSplatDeathTest, ASecondThreadLeavesWithExitOneWithoutPrinting)
{
  const std::string out = capturePath("second_splat");
  EXPECT_EXIT(
      {
        noCoreFile();
        redirectStdout(out);
        addSplatCallback(holdTheSplat);
        std::thread([] { qor_splat("first"); }).detach();
        while (!firstSplatInCallbacks) usleep(1000);
        qor_splat("second");
      },
      ::testing::ExitedWithCode(1), "");
  const std::string printed = zrtest::readFile(out);
  EXPECT_THAT(printed, HasSubstr("QOR_SPLAT: first\n"));
  EXPECT_THAT(printed, Not(HasSubstr("QOR_SPLAT: second")));
}

TEST(QaSplatTest, WithTheSettingOffLogsTheStackAndGoesOn)
{
  testing::internal::CaptureStdout();
  qa_splat("odd state", 42);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_THAT(printed, HasSubstr(": ---- odd state -------\n"));
  EXPECT_THAT(printed, HasSubstr(": -----------------------\n"));
  // At least one frame between the rules, and it names this test.
  EXPECT_THAT(printed, HasSubstr("QaSplatTest"));
}

void forgetQaSplat(const char*)
{
  GlobalConfig().removeValue("QA Splat", "");
}

TEST(QaSplatDeathTest, WithTheSettingOnSplats)
{
  const std::string out = capturePath("qa_splat");
  EXPECT_EXIT(
      {
        noCoreFile();
        redirectStdout(out);
        GlobalConfig().setValue("QA Splat", true, "");
        addSplatCallback(forgetQaSplat);
        watchFaultAddress();
        qa_splat("stop here", 0);
      },
      ::testing::KilledBySignal(SIGSEGV), "");
  const std::string printed = zrtest::readFile(out);
  EXPECT_THAT(printed, HasSubstr("QOR_SPLAT: stop here\n"));
  EXPECT_THAT(printed, HasSubstr("fault at (nil)\n"));
}

// postExceptionShutdown: callbacks report on standard error, which the
// death test matches, or into the captured standard output.
void reportExit(Shutdown::eExitType type)
{
  std::fprintf(stderr, "shutdown type %d, crash flag %d\n", int(type), get_crash_flag());
  printConsoleRowAbove("console: ");
}

TEST(PostExceptionShutdownDeathTest, RunsTheCallbacksAsACrashAndExitsWithOne)
{
  const std::string out = capturePath("post_exception");
  EXPECT_EXIT(
      {
        redirectStdout(out);
        herc_init();
        showDebugWindow(true);
        Shutdown::addCallback(reportExit, 100);
        postExceptionShutdown();
      },
      ::testing::ExitedWithCode(1), "shutdown type 1, crash flag 1");
  EXPECT_THAT(zrtest::readFile(out), HasSubstr("console: about to set crash flag and exit"));
}

void throwingCallback(Shutdown::eExitType, void* context)
{
  std::printf("%d ", int(reinterpret_cast<intptr_t>(context)));
  std::fflush(stdout);
  throw 1;
}

TEST(PostExceptionShutdownDeathTest, GivesUpOnThrowingCallbacksAfterNineCalls)
{
  const std::string out = capturePath("throwing_callbacks");
  EXPECT_EXIT(
      {
        redirectStdout(out);
        for (intptr_t i = 1; i <= 12; ++i)
          Shutdown::addCallback(throwingCallback, reinterpret_cast<void*>(i), int(i));
        postExceptionShutdown();
      },
      ::testing::ExitedWithCode(1), "");
  EXPECT_EQ(zrtest::readFile(out), "1 2 3 4 5 6 7 8 9 ");
}

void reenterShutdown(Shutdown::eExitType)
{
  postExceptionShutdown();
  std::fprintf(stderr, "nested call returned\n");
}

TEST(PostExceptionShutdownDeathTest, ANestedCallReturnsAtOnce)
{
  EXPECT_EXIT(
      {
        Shutdown::addCallback(reenterShutdown, 100);
        postExceptionShutdown();
      },
      ::testing::ExitedWithCode(1), "nested call returned");
}

TEST(CrashDeathTest, WritesAtAddressZero)
{
  const std::string out = capturePath("crash");
  EXPECT_EXIT(
      {
        noCoreFile();
        redirectStdout(out);
        watchFaultAddress();
        crash();
      },
      ::testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EQ(zrtest::readFile(out), "fault at (nil)\n");
}

TEST(DumpAllocsTest, LogsBeforeAndAfter)
{
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  dbgDumpCurrentMemoryAllocs();
  testing::internal::GetCapturedStderr();
  const std::string printed = testing::internal::GetCapturedStdout();
  const std::regex form("[0-9. ]{9}: Dumping current memory allocs to debugger. This will take a while...\n"
                        "[0-9. ]{9}: \\(done\\)\n");
  EXPECT_TRUE(std::regex_match(printed, form)) << printed;
}

} // namespace
