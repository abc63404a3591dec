// A thread of the POSIX thread manager: a detached pthread with a name, a
// guard around its function, and the state that others wait on.
#pragma once

#include <pthread.h>

#include <map>

#include "libOS/iThread.h"

namespace posix {

class PosixThread final : public iThread
{
public:
  // Starts a thread; null if the system cannot make one. Returns once the
  // thread runs with its name set, so that its id is known.
  static Zr::Ptr<iThread> start(const iThread::Params& params);

  // The managed thread calling, or null.
  static PosixThread* current() noexcept;

  // Records the code that the calling thread ends with when it unwinds
  // through pthread_exit rather than returning.
  void setExitCodeOnUnwind(int code);

  ~PosixThread() override;

  unsigned int getId() const override;
  LightweightString<char> getName() const override;
  bool setPriority(int priority) override;
  int getPriority() const override;
  bool setAffinity(unsigned int mask) override;
  iWaitable::eWaitResult waitForEnd(unsigned int milliseconds) override;
  bool isRunning() const override;
  int exitCode() const override;
  Zr::Ptr<iObject> getThreadLocalObject(const LightweightString<char>& key) override;
  void setThreadLocalObject(const LightweightString<char>& key, Zr::Ptr<iObject> object) override;

private:
  explicit PosixThread(const iThread::Params& params);

  static void* threadMain(void* self);
  void begin();
  void finish(bool returned, int code);

  const iThread::LaunchFn launch_;
  void* const arg_;
  const iThread::ExceptionHandler handler_;
  const LightweightString<char> name_;

  mutable pthread_mutex_t mutex_;
  pthread_cond_t changed_; // started, or ended
  unsigned int tid_ = 0;
  bool started_ = false;
  bool running_ = true;
  bool acceptsLocals_ = true;
  int exitCode_ = 0;
  int unwindExitCode_ = -1;
  int priority_ = 2;
  std::map<LightweightString<char>, Zr::Ptr<iObject>> locals_;
};

} // namespace posix
