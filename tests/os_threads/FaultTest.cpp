// Fault routing: C++ exceptions and fatal signals on managed threads and in
// protected calls reach their handler with entry, argument and stack.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <string>

#include "ThreadTestSupport.h"

// Faulting functions with external names, so that stack traces can name them.
volatile int* volatile zrtestNowhere = nullptr;
volatile int zrtestZero = 0;
volatile bool zrtestKeepRecursing = true;

__attribute__((noinline)) int zrtestWriteThroughNull()
{
  *zrtestNowhere = 1;
  return 0;
}

__attribute__((noinline)) int zrtestDivideByZero()
{
  return 100 / zrtestZero;
}

__attribute__((noinline)) int zrtestRecurse(int depth)
{
  volatile char frame[512];
  frame[0] = char(depth);
  if (!zrtestKeepRecursing) return frame[0];
  return zrtestRecurse(depth + 1) + frame[0];
}

namespace {

using namespace zrtest;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZR_UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZR_UNDER_SANITIZER 1
#endif
#endif

#ifdef ZR_UNDER_SANITIZER
#define SKIP_UNDER_SANITIZER() GTEST_SKIP() << "the sanitizer owns the fatal signals"
#else
#define SKIP_UNDER_SANITIZER() (void)0
#endif

// What the handler calls saw: how many, the last report, and its thread.
struct Seen
{
  int calls = 0;
  iThread::Exception report;
  unsigned int tid = 0;
};
std::mutex seenLock;
Seen seenSoFar;

void record(const iThread::Exception& report)
{
  std::lock_guard<std::mutex> hold(seenLock);
  ++seenSoFar.calls;
  seenSoFar.report = report;
  seenSoFar.tid = threads()->currentThreadId();
}

Seen seen()
{
  std::lock_guard<std::mutex> hold(seenLock);
  return seenSoFar;
}

std::string stackText(const iThread::Exception& report)
{
  std::string text;
  for (const auto& line : report.stack) text += std::string(line.c_str()) + "\n";
  return text;
}

std::string heading(const Seen& s)
{
  return s.report.stack.empty() ? "(no stack)" : s.report.stack[0].c_str();
}

// Runs entry(arg) on a thread with the recording handler: the faulty thread
// must end with -1, its handler having run on it. Returns what the handler saw.
Seen faultOnThread(iThread::LaunchFn entry, void* arg, unsigned int stackSize = 0)
{
  iThread::Params params;
  params.launch = entry;
  params.arg = arg;
  params.name = "zr-faulty";
  params.handler = &record;
  params.stackSize = stackSize;
  Zr::Ptr<iThread> thread = threads()->createThread(params);
  EXPECT_EQ(exitCodeOf(thread), -1);
  const Seen s = seen();
  EXPECT_EQ(s.tid, thread ? thread->getId() : 0u) << "the handler runs on the faulty thread";
  return s;
}

int protectedRun(iThread::LaunchFn entry, void* arg = nullptr)
{
  return threads()->protectedExecute(entry, arg, &record);
}

class TracedError : public std::runtime_error, public iTracedException
{
public:
  TracedError() : std::runtime_error("traced") {}
  const char* kind() const noexcept override { return "RuntimeError"; }
  const char* message() const noexcept override { return "disk on fire"; }
  const std::vector<LightweightString<char>>& stack() const noexcept override { return stack_; }

private:
  std::vector<LightweightString<char>> stack_{"#0 raiseIt()", "#1 caller()"};
};

const iThread::LaunchFn throwRuntimeError = [](void*) -> iThread::eExecRC {
  throw std::runtime_error("boom");
};
const iThread::LaunchFn throwTraced = [](void*) -> iThread::eExecRC { throw TracedError(); };
const iThread::LaunchFn throwInt = [](void*) -> iThread::eExecRC { throw 42; };
const iThread::LaunchFn returnSeventeen = [](void*) { return iThread::eExecRC(17); };
const iThread::LaunchFn writeThroughNull = [](void*) { return iThread::eExecRC(zrtestWriteThroughNull()); };
const iThread::LaunchFn divideByZero = [](void*) { return iThread::eExecRC(zrtestDivideByZero()); };
const iThread::LaunchFn recurseForEver = [](void*) { return iThread::eExecRC(zrtestRecurse(0)); };

class Fault : public ::testing::Test
{
protected:
  void SetUp() override
  {
    std::lock_guard<std::mutex> hold(seenLock);
    seenSoFar = Seen();
  }
};

TEST_F(Fault, ExceptionOnAThreadReachesItsHandlerThere)
{
  int marker = 0;
  const Seen s = faultOnThread(throwRuntimeError, &marker);
  ASSERT_EQ(s.calls, 1);
  EXPECT_EQ(s.report.entry, throwRuntimeError);
  EXPECT_EQ(s.report.arg, &marker);
  EXPECT_EQ(s.report.signal, 0);
  EXPECT_GE(s.report.stack.size(), 2u) << "a heading and at least one frame";
  EXPECT_EQ(heading(s), "C++ exception std::runtime_error: boom");
}

TEST_F(Fault, TracedExceptionBringsTheStackOfItsThrowSite)
{
  const Seen s = faultOnThread(throwTraced, nullptr);
  ASSERT_EQ(s.calls, 1);
  EXPECT_EQ(stackText(s.report),
            "C++ exception (anonymous namespace)::TracedError: disk on fire\n#0 raiseIt()\n#1 caller()\n");
}

TEST_F(Fault, ProtectedExecuteGivesTheResultOrMinusOneAfterAnExceptionOfAnyType)
{
  EXPECT_EQ(protectedRun(returnSeventeen), 17);
  EXPECT_EQ(seen().calls, 0);
  int marker = 0;
  EXPECT_EQ(protectedRun(throwInt, &marker), -1);
  const Seen s = seen();
  ASSERT_EQ(s.calls, 1);
  EXPECT_EQ(s.report.entry, throwInt);
  EXPECT_EQ(s.report.arg, &marker);
  EXPECT_EQ(s.tid, threads()->currentThreadId());
  EXPECT_EQ(heading(s), "C++ exception int");
}

TEST_F(Fault, InnermostProtectedCallCatchesFirst)
{
  const iThread::LaunchFn protectInside = [](void*) {
    return iThread::eExecRC(100 + protectedRun(throwRuntimeError));
  };
  const iThread::ExceptionHandler outer = [](const iThread::Exception&) { ADD_FAILURE() << "outer handler"; };
  EXPECT_EQ(threads()->protectedExecute(protectInside, nullptr, outer), 99);
  EXPECT_EQ(seen().calls, 1);
}

TEST_F(Fault, SegmentationFaultOnAThreadReachesItsHandlerFromTheFaultingFrame)
{
  SKIP_UNDER_SANITIZER();
  int marker = 0;
  const Seen s = faultOnThread(writeThroughNull, &marker);
  ASSERT_EQ(s.calls, 1);
  EXPECT_EQ(s.report.entry, writeThroughNull);
  EXPECT_EQ(s.report.arg, &marker);
  EXPECT_EQ(s.report.signal, SIGSEGV);
  ASSERT_GE(s.report.stack.size(), 2u);
  EXPECT_EQ(heading(s), "signal 11 (SIGSEGV) at address 0x0");
  EXPECT_NE(std::string(s.report.stack[1].c_str()).find("zrtestWriteThroughNull"), std::string::npos)
      << stackText(s.report);
}

TEST_F(Fault, ProtectedExecuteSurvivesRepeatedSignalsAndNamesEach)
{
  SKIP_UNDER_SANITIZER();
  // A second fault must be caught too: the signal may not stay blocked
  // after the jump out of the first handler.
  EXPECT_EQ(protectedRun(writeThroughNull), -1);
  EXPECT_EQ(seen().report.signal, SIGSEGV);
  EXPECT_EQ(protectedRun(divideByZero), -1);
  EXPECT_EQ(seen().report.signal, SIGFPE);
  EXPECT_EQ(heading(seen()).rfind("signal 8 (SIGFPE) at address 0x", 0), 0u) << heading(seen());
  EXPECT_EQ(protectedRun(writeThroughNull), -1);
  EXPECT_EQ(seen().calls, 3);
  EXPECT_EQ(seen().report.signal, SIGSEGV);
  EXPECT_EQ(protectedRun(returnSeventeen), 17);
}

TEST_F(Fault, StackOverflowOnAThreadIsReported)
{
  SKIP_UNDER_SANITIZER();
  const Seen s = faultOnThread(recurseForEver, nullptr, 256 * 1024);
  ASSERT_EQ(s.calls, 1);
  EXPECT_EQ(s.report.signal, SIGSEGV);
}

void noCoreFile()
{
  rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

TEST(FaultDeathTest, UnguardedFaultStillEndsTheProcessBySignal)
{
  SKIP_UNDER_SANITIZER();
  EXPECT_EXIT(
      {
        noCoreFile();
        protectedRun(returnSeventeen); // handlers now installed
        zrtestWriteThroughNull();
      },
      ::testing::KilledBySignal(SIGSEGV), "");
}

TEST(FaultDeathTest, HandlerMayExitTheProcessFromASignal)
{
  SKIP_UNDER_SANITIZER();
  EXPECT_EXIT(
      {
        noCoreFile();
        iThread::Params params;
        params.launch = writeThroughNull;
        params.handler = [](const iThread::Exception&) { std::exit(3); };
        Zr::Ptr<iThread> thread = threads()->createThread(params);
        thread->waitForEnd(iWaitable::kInfinite);
      },
      ::testing::ExitedWithCode(3), "");
}

} // namespace
