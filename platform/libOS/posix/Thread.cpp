#include "libOS/posix/Thread.h"

#include <limits.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "libOS/posix/FaultGuard.h"
#include "libOS/posix/SyncDeadline.h"
#include "libOS/posix/ThreadId.h"

namespace posix {
namespace {

thread_local PosixThread* tlsCurrent = nullptr;

// Nice values of priorities 0 (lowest) to 5 (highest).
constexpr int kNiceOfPriority[] = {10, 5, 0, -5, -10, -15};

// The kernel keeps 15 characters of a thread's name.
constexpr unsigned int kKernelNameLength = 15;

} // namespace

PosixThread::PosixThread(const iThread::Params& params)
    : launch_(params.launch), arg_(params.arg), handler_(params.handler), name_(params.name)
{
  pthread_mutex_init(&mutex_, nullptr);
  initMonotonicCond(&changed_);
}

PosixThread::~PosixThread()
{
  pthread_cond_destroy(&changed_);
  pthread_mutex_destroy(&mutex_);
}

Zr::Ptr<iThread> PosixThread::start(const iThread::Params& params)
{
  if (!params.launch) return nullptr;
  Zr::Ptr<PosixThread> thread(new PosixThread(params));

  pthread_attr_t attr;
  if (pthread_attr_init(&attr) != 0) return nullptr;
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  if (params.stackSize != 0) {
    size_t size = params.stackSize < PTHREAD_STACK_MIN ? size_t(PTHREAD_STACK_MIN) : params.stackSize;
    pthread_attr_setstacksize(&attr, size);
  }
  // The running thread holds its own reference until its function returns.
  auto* selfReference = new Zr::Ptr<PosixThread>(thread);
  pthread_t handle;
  const int rc = pthread_create(&handle, &attr, &PosixThread::threadMain, selfReference);
  pthread_attr_destroy(&attr);
  if (rc != 0) {
    delete selfReference;
    return nullptr;
  }

  SyncLock lock(&thread->mutex_);
  while (!thread->started_) pthread_cond_wait(&thread->changed_, &thread->mutex_);
  return Zr::Ptr<iThread>(thread);
}

PosixThread* PosixThread::current() noexcept
{
  return tlsCurrent;
}

void* PosixThread::threadMain(void* self)
{
  std::unique_ptr<Zr::Ptr<PosixThread>> reference(static_cast<Zr::Ptr<PosixThread>*>(self));
  PosixThread* thread = reference->get();
  thread->begin();

  // Runs on return and on pthread_exit's unwinding alike.
  struct Ending
  {
    PosixThread* thread;
    bool returned = false;
    int code = 0;
    ~Ending() { thread->finish(returned, code); }
  } ending{thread};

  ending.code = runGuarded(thread->launch_, thread->arg_, thread->handler_);
  ending.returned = true;
  return nullptr;
}

void PosixThread::begin()
{
  tlsCurrent = this;
  if (!name_.empty()) {
    char shortName[kKernelNameLength + 1];
    std::snprintf(shortName, sizeof shortName, "%s", name_.c_str());
    pthread_setname_np(pthread_self(), shortName);
  }
  ensureAltSignalStack();
  const unsigned int tid = currentTid();
  {
    SyncLock lock(&mutex_);
    tid_ = tid;
    started_ = true;
  }
  // Outside the lock: the maker wakes to a free mutex instead of waiting
  // for it. It holds its own reference, so this object outlives the call.
  pthread_cond_broadcast(&changed_);
}

void PosixThread::finish(bool returned, int code)
{
  std::map<LightweightString<char>, Zr::Ptr<iObject>> locals;
  {
    SyncLock lock(&mutex_);
    locals.swap(locals_);
    acceptsLocals_ = false;
  }
  // The thread's objects go with it, released here on the thread itself and
  // outside the lock, so that their destructors may use this object.
  locals.clear();

  SyncLock lock(&mutex_);
  exitCode_ = returned ? code : unwindExitCode_;
  running_ = false;
  pthread_cond_broadcast(&changed_);
  tlsCurrent = nullptr;
}

void PosixThread::setExitCodeOnUnwind(int code)
{
  SyncLock lock(&mutex_);
  unwindExitCode_ = code;
}

unsigned int PosixThread::getId() const
{
  SyncLock lock(&mutex_);
  return tid_;
}

LightweightString<char> PosixThread::getName() const
{
  return name_;
}

bool PosixThread::setPriority(int priority)
{
  if (priority < 0 || priority > 5) return false;
  // Under the lock the thread cannot end, so its id still names it.
  SyncLock lock(&mutex_);
  // A thread that has already ended has nothing left to change; its maker
  // may set the priority just after a short function returned.
  if (running_ && setpriority(PRIO_PROCESS, tid_, kNiceOfPriority[priority]) != 0 && errno != EPERM &&
      errno != EACCES)
    return false;
  // A raise the system refuses for lack of privilege still counts as set.
  priority_ = priority;
  return true;
}

int PosixThread::getPriority() const
{
  SyncLock lock(&mutex_);
  return priority_;
}

bool PosixThread::setAffinity(unsigned int mask)
{
  const long configured = sysconf(_SC_NPROCESSORS_CONF);
  const long limit = configured < CPU_SETSIZE ? configured : CPU_SETSIZE;
  cpu_set_t set;
  CPU_ZERO(&set);
  for (long cpu = 0; cpu < limit; ++cpu)
    if (mask == ~0U || (cpu < 32 && (mask >> cpu) & 1U)) CPU_SET(cpu, &set);
  if (CPU_COUNT(&set) == 0) return false;
  // By kernel id rather than pthread handle: a detached thread's handle is
  // not usable once it has ended, and under the lock the id is still its.
  SyncLock lock(&mutex_);
  if (!running_) return true;
  return sched_setaffinity(pid_t(tid_), sizeof set, &set) == 0;
}

iWaitable::eWaitResult PosixThread::waitForEnd(unsigned int milliseconds)
{
  // The thread cannot wait for ever for its own end.
  if (tlsCurrent == this && milliseconds == iWaitable::kInfinite) return iWaitable::eWaitFailed;
  SyncLock lock(&mutex_);
  if (running_) {
    if (milliseconds == 0) return iWaitable::eWaitTimeout;
    const SyncDeadline deadline(milliseconds);
    while (running_)
      if (!deadline.wait(&changed_, &mutex_) && running_) return iWaitable::eWaitTimeout;
  }
  return iWaitable::eWaitSuccess;
}

bool PosixThread::isRunning() const
{
  SyncLock lock(&mutex_);
  return running_;
}

int PosixThread::exitCode() const
{
  SyncLock lock(&mutex_);
  return exitCode_;
}

Zr::Ptr<iObject> PosixThread::getThreadLocalObject(const LightweightString<char>& key)
{
  SyncLock lock(&mutex_);
  auto it = locals_.find(key);
  return it == locals_.end() ? Zr::Ptr<iObject>() : it->second;
}

void PosixThread::setThreadLocalObject(const LightweightString<char>& key, Zr::Ptr<iObject> object)
{
  Zr::Ptr<iObject> previous;
  {
    SyncLock lock(&mutex_);
    auto it = locals_.find(key);
    if (it != locals_.end()) {
      previous = std::move(it->second);
      if (object)
        it->second = std::move(object);
      else
        locals_.erase(it);
    } else if (object && acceptsLocals_) {
      locals_.emplace(key, std::move(object));
    }
  }
  // `previous` (and an object refused after the end) is released here,
  // outside the lock.
}

} // namespace posix
