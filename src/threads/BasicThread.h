// BasicThread: the base of a class that runs its own body on a co-process
// and can be waited for.
#pragma once

#include <atomic>

#include "libOS/Ptr.h"
#include "libOS/iSync.h"
#include "libOS/iThread.h"

class BasicThread
{
public:
  BasicThread();
  // Only drops the finished event: call endThread first if the body must be
  // over before the object goes.
  virtual ~BasicThread();

  BasicThread(const BasicThread&) = delete;
  BasicThread& operator=(const BasicThread&) = delete;

  // Marks the thread running and starts threadFn on a new co-process.
  // Returns the thread's OS id. Fatal if the thread cannot be made.
  unsigned int beginThread(const char* name, int priority);
  // Clears running and waits for the body to return. Does nothing when the
  // thread is not running, so a second call, or one without beginThread,
  // returns at once.
  void endThread();

  // True from beginThread to endThread; a body loops while it holds.
  bool isRunning() const noexcept { return running_.load(); }
  // The OS id beginThread returned, 0 before.
  unsigned int threadId() const noexcept { return tid_; }

protected:
  // The thread's body.
  virtual void threadFn() = 0;

private:
  static iThread::eExecRC threadFnS(void* self);

  Zr::Ptr<iThreadEvent> finished_;
  std::atomic<bool> running_;
  unsigned int tid_;
};
