// Helpers of the thread-manager tests: managed threads running lambdas, and
// the time limits every wait in these tests uses.
#pragma once

#include <climits>
#include <functional>
#include <memory>

#include "libOS/OS.h"

namespace zrtest {

// A wait for something that must happen: long enough for a loaded machine.
constexpr unsigned int kWillHappenMs = 10000;
// A wait for something that must not happen: short, and only ever used to
// show the absence of an effect.
constexpr unsigned int kWontHappenMs = 50;

constexpr auto kTimeout = iWaitable::eWaitTimeout;
constexpr auto kSuccess = iWaitable::eWaitSuccess;

inline iThreadManager* threads()
{
  return OS()->threadMgr();
}

inline iThread::eExecRC runBody(void* arg)
{
  std::unique_ptr<std::function<int()>> body(static_cast<std::function<int()>*>(arg));
  return iThread::eExecRC((*body)());
}

// Runs body on a new managed thread; the thread's exit code is body's result.
inline Zr::Ptr<iThread> spawn(std::function<int()> body, const char* name = "zr-test",
                              unsigned int stackSize = 0)
{
  auto* heapBody = new std::function<int()>(std::move(body));
  iThread::Params params;
  params.launch = &runBody;
  params.arg = heapBody;
  params.name = name;
  params.stackSize = stackSize;
  Zr::Ptr<iThread> thread = threads()->createThread(params);
  if (!thread) delete heapBody;
  return thread;
}

inline Zr::Ptr<iThreadEvent> autoEvent(bool set = false)
{
  return threads()->createEvent(false, set, nullptr);
}
inline Zr::Ptr<iThreadEvent> manualEvent(bool set = false)
{
  return threads()->createEvent(true, set, nullptr);
}

// True once the thread has ended within the generous limit.
inline bool ended(const Zr::Ptr<iThread>& thread)
{
  return thread && thread->waitForEnd(kWillHappenMs) == iWaitable::eWaitSuccess;
}

// The exit code of a thread that ended within the generous limit; INT_MIN if it did not.
inline int exitCodeOf(const Zr::Ptr<iThread>& thread)
{
  return ended(thread) ? thread->exitCode() : INT_MIN;
}

} // namespace zrtest
