// Small helpers for the co-process tests: a co-process running a lambda,
// events, and waits with generous limits.
#pragma once

#include <functional>
#include <memory>

#include "libOS/OS.h"
#include "threads/Coprocess.h"

namespace cotest {

// Long enough for a loaded machine under a sanitizer; only a hang reaches it.
constexpr unsigned int kWillHappenMs = 10000;

inline Zr::Ptr<iThreadEvent> manualEvent()
{
  return OS()->threadMgr()->createEvent(true, false, nullptr);
}

// A co-process whose body is a lambda. The body lives as long as the handle,
// so a test keeps the handle until the thread has ended.
struct Job
{
  std::function<void()> body;
  unsigned short id = 0;
  Zr::Ptr<iThread> thread;
  // Set once start() holds the thread: a body that ends its own row at once
  // would otherwise empty the row before start() reads the thread from it.
  Zr::Ptr<iThreadEvent> handleTaken = manualEvent();

  bool ended(unsigned int ms = kWillHappenMs) { return thread->waitForEnd(ms) == iWaitable::eWaitSuccess; }
};

inline iThread::eExecRC runJob(void* arg)
{
  Job* job = static_cast<Job*>(arg);
  job->handleTaken->wait(kWillHappenMs);
  job->body();
  return iThread::eOK;
}

inline std::unique_ptr<Job> start(const char* name, std::function<void()> body, int priority = 0)
{
  auto job = std::make_unique<Job>();
  job->body = std::move(body);
  job->id = co_create(&runJob, name, priority, job.get(), 0, 0);
  job->thread = coThreadGet(job->id);
  job->handleTaken->set();
  return job;
}

// Loops until its row is killed; KillMyselfCheck ends it.
inline std::unique_ptr<Job> startKillable(const char* name, Zr::Ptr<iThreadEvent> running = manualEvent())
{
  return start(name, [running] {
    running->set();
    for (;;) {
      KillMyselfCheck();
      OS()->threadMgr()->sleep(1);
    }
  });
}

} // namespace cotest
