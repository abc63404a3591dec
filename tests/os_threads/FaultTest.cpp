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

// What the last handler call saw, and on which thread.
struct Seen
{
  std::mutex lock;
  int calls = 0;
  iThread::Exception report;
  unsigned int tid = 0;
};
Seen& seen()
{
  static Seen instance;
  return instance;
}

void record(const iThread::Exception& report)
{
  std::lock_guard<std::mutex> hold(seen().lock);
  ++seen().calls;
  seen().report = report;
  seen().tid = threads()->currentThreadId();
}

void forgetSeen()
{
  std::lock_guard<std::mutex> hold(seen().lock);
  seen().calls = 0;
  seen().report = iThread::Exception();
  seen().tid = 0;
}

std::string stackText(const iThread::Exception& report)
{
  std::string text;
  for (const auto& line : report.stack) text += std::string(line.c_str()) + "\n";
  return text;
}

Zr::Ptr<iThread> startGuarded(iThread::LaunchFn entry, void* arg, unsigned int stackSize = 0)
{
  iThread::Params params;
  params.launch = entry;
  params.arg = arg;
  params.name = "zr-faulty";
  params.handler = &record;
  params.stackSize = stackSize;
  return threads()->createThread(params);
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

iThread::eExecRC throwRuntimeError(void*)
{
  throw std::runtime_error("boom");
}
iThread::eExecRC throwTraced(void*)
{
  throw TracedError();
}
iThread::eExecRC throwInt(void*)
{
  throw 42;
}
iThread::eExecRC returnSeventeen(void*)
{
  return iThread::eExecRC(17);
}
iThread::eExecRC writeThroughNull(void*)
{
  return iThread::eExecRC(zrtestWriteThroughNull());
}
iThread::eExecRC divideByZero(void*)
{
  return iThread::eExecRC(zrtestDivideByZero());
}
iThread::eExecRC recurseForEver(void*)
{
  return iThread::eExecRC(zrtestRecurse(0));
}

class Fault : public ::testing::Test
{
protected:
  void SetUp() override { forgetSeen(); }
};

TEST_F(Fault, ExceptionOnAThreadReachesItsHandlerThere)
{
  int marker = 0;
  Zr::Ptr<iThread> thread = startGuarded(&throwRuntimeError, &marker);
  ASSERT_TRUE(ended(thread));
  EXPECT_EQ(thread->exitCode(), -1);

  std::lock_guard<std::mutex> hold(seen().lock);
  ASSERT_EQ(seen().calls, 1);
  const iThread::Exception& report = seen().report;
  EXPECT_EQ(report.entry, &throwRuntimeError);
  EXPECT_EQ(report.arg, &marker);
  EXPECT_EQ(report.signal, 0);
  EXPECT_EQ(seen().tid, thread->getId());
  ASSERT_GE(report.stack.size(), 2u) << "a heading and at least one frame";
  EXPECT_STREQ(report.stack[0].c_str(), "C++ exception std::runtime_error: boom");
}

TEST_F(Fault, TracedExceptionBringsTheStackOfItsThrowSite)
{
  Zr::Ptr<iThread> thread = startGuarded(&throwTraced, nullptr);
  ASSERT_TRUE(ended(thread));
  EXPECT_EQ(thread->exitCode(), -1);
  std::lock_guard<std::mutex> hold(seen().lock);
  ASSERT_EQ(seen().calls, 1);
  EXPECT_EQ(stackText(seen().report),
            "C++ exception (anonymous namespace)::TracedError: disk on fire\n#0 raiseIt()\n#1 caller()\n");
}

TEST_F(Fault, ExceptionOfAnyTypeIsNamedByItsType)
{
  EXPECT_EQ(threads()->protectedExecute(&throwInt, nullptr, &record), -1);
  std::lock_guard<std::mutex> hold(seen().lock);
  ASSERT_EQ(seen().calls, 1);
  ASSERT_FALSE(seen().report.stack.empty());
  EXPECT_STREQ(seen().report.stack[0].c_str(), "C++ exception int");
}

TEST_F(Fault, ProtectedExecuteGivesTheResultOrMinusOneAfterAnException)
{
  EXPECT_EQ(threads()->protectedExecute(&returnSeventeen, nullptr, &record), 17);
  int marker = 0;
  EXPECT_EQ(threads()->protectedExecute(&throwRuntimeError, &marker, &record), -1);
  std::lock_guard<std::mutex> hold(seen().lock);
  ASSERT_EQ(seen().calls, 1);
  EXPECT_EQ(seen().report.entry, &throwRuntimeError);
  EXPECT_EQ(seen().report.arg, &marker);
  EXPECT_EQ(seen().tid, threads()->currentThreadId());
}

int outerCalls = 0;
void countOuter(const iThread::Exception&)
{
  ++outerCalls;
}
iThread::eExecRC protectInside(void*)
{
  return iThread::eExecRC(100 + threads()->protectedExecute(&throwRuntimeError, nullptr, &record));
}

TEST_F(Fault, InnermostProtectedCallCatchesFirst)
{
  outerCalls = 0;
  EXPECT_EQ(threads()->protectedExecute(&protectInside, nullptr, &countOuter), 99);
  EXPECT_EQ(outerCalls, 0);
  std::lock_guard<std::mutex> hold(seen().lock);
  EXPECT_EQ(seen().calls, 1);
}

TEST_F(Fault, SegmentationFaultOnAThreadReachesItsHandlerFromTheFaultingFrame)
{
  SKIP_UNDER_SANITIZER();
  int marker = 0;
  Zr::Ptr<iThread> thread = startGuarded(&writeThroughNull, &marker);
  ASSERT_TRUE(ended(thread));
  EXPECT_EQ(thread->exitCode(), -1);

  std::lock_guard<std::mutex> hold(seen().lock);
  ASSERT_EQ(seen().calls, 1);
  const iThread::Exception& report = seen().report;
  EXPECT_EQ(report.entry, &writeThroughNull);
  EXPECT_EQ(report.arg, &marker);
  EXPECT_EQ(report.signal, SIGSEGV);
  EXPECT_EQ(seen().tid, thread->getId());
  ASSERT_GE(report.stack.size(), 2u);
  EXPECT_STREQ(report.stack[0].c_str(), "signal 11 (SIGSEGV) at address 0x0");
  EXPECT_NE(std::string(report.stack[1].c_str()).find("zrtestWriteThroughNull"), std::string::npos)
      << stackText(report);
}

TEST_F(Fault, ProtectedExecuteSurvivesRepeatedSignals)
{
  SKIP_UNDER_SANITIZER();
  // A second fault must be caught too: the signal may not stay blocked
  // after the jump out of the first handler.
  EXPECT_EQ(threads()->protectedExecute(&writeThroughNull, nullptr, &record), -1);
  EXPECT_EQ(threads()->protectedExecute(&divideByZero, nullptr, &record), -1);
  EXPECT_EQ(threads()->protectedExecute(&writeThroughNull, nullptr, &record), -1);
  std::lock_guard<std::mutex> hold(seen().lock);
  EXPECT_EQ(seen().calls, 3);
  EXPECT_EQ(seen().report.signal, SIGSEGV);
  EXPECT_EQ(threads()->protectedExecute(&returnSeventeen, nullptr, &record), 17);
}

TEST_F(Fault, IntegerDivisionByZeroIsReportedAsSigfpe)
{
  SKIP_UNDER_SANITIZER();
  EXPECT_EQ(threads()->protectedExecute(&divideByZero, nullptr, &record), -1);
  std::lock_guard<std::mutex> hold(seen().lock);
  ASSERT_EQ(seen().calls, 1);
  ASSERT_FALSE(seen().report.stack.empty());
  EXPECT_EQ(std::string(seen().report.stack[0].c_str()).rfind("signal 8 (SIGFPE) at address 0x", 0), 0u);
  EXPECT_EQ(seen().report.signal, SIGFPE);
}

TEST_F(Fault, StackOverflowOnAThreadIsReported)
{
  SKIP_UNDER_SANITIZER();
  Zr::Ptr<iThread> thread = startGuarded(&recurseForEver, nullptr, 256 * 1024);
  ASSERT_TRUE(ended(thread));
  EXPECT_EQ(thread->exitCode(), -1);
  std::lock_guard<std::mutex> hold(seen().lock);
  ASSERT_EQ(seen().calls, 1);
  EXPECT_EQ(seen().report.signal, SIGSEGV);
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
        threads()->protectedExecute(&returnSeventeen, nullptr, &record); // handlers now installed
        zrtestWriteThroughNull();
      },
      ::testing::KilledBySignal(SIGSEGV), "");
}

void exitThree(const iThread::Exception&)
{
  std::exit(3);
}

TEST(FaultDeathTest, HandlerMayExitTheProcessFromASignal)
{
  SKIP_UNDER_SANITIZER();
  EXPECT_EXIT(
      {
        noCoreFile();
        iThread::Params params;
        params.launch = &writeThroughNull;
        params.handler = &exitThree;
        Zr::Ptr<iThread> thread = threads()->createThread(params);
        thread->waitForEnd(iWaitable::kInfinite);
      },
      ::testing::ExitedWithCode(3), "");
}

} // namespace
