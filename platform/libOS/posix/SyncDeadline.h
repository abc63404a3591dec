// Time-outs of the waits: a deadline on the monotonic clock, and the condition
// variables that wait against it.
#pragma once

#include <pthread.h>
#include <time.h>

#include <cerrno>
#include <cstdint>

#include "libOS/iSync.h"

namespace posix {

// A point on CLOCK_MONOTONIC `milliseconds` from now; kInfinite never comes,
// 0 has already come.
class SyncDeadline
{
public:
  explicit SyncDeadline(unsigned int milliseconds) : infinite_(milliseconds == iWaitable::kInfinite)
  {
    clock_gettime(CLOCK_MONOTONIC, &at_);
    if (infinite_) return;
    at_.tv_sec += milliseconds / 1000;
    at_.tv_nsec += long(milliseconds % 1000) * 1000000L;
    if (at_.tv_nsec >= 1000000000L) {
      at_.tv_sec += 1;
      at_.tv_nsec -= 1000000000L;
    }
  }

  bool infinite() const { return infinite_; }
  const timespec& at() const { return at_; }

  // Milliseconds left, rounded up; kInfinite for a deadline that never comes.
  unsigned int remaining() const
  {
    if (infinite_) return iWaitable::kInfinite;
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    int64_t ns = (int64_t(at_.tv_sec) - now.tv_sec) * 1000000000LL + (at_.tv_nsec - now.tv_nsec);
    if (ns <= 0) return 0;
    return unsigned((ns + 999999) / 1000000);
  }

  // Blocks on `cond` (made with initMonotonicCond) until signalled or the
  // deadline passes. False on time-out; true may be a spurious wake-up, so
  // callers test their condition again either way.
  bool wait(pthread_cond_t* cond, pthread_mutex_t* mutex) const
  {
    if (infinite_) {
      pthread_cond_wait(cond, mutex);
      return true;
    }
    return pthread_cond_timedwait(cond, mutex, &at_) != ETIMEDOUT;
  }

private:
  bool infinite_;
  timespec at_;
};

// Initialises a condition variable whose timed waits use the monotonic clock,
// so that a change of the wall clock does not stretch or cut a time-out.
inline void initMonotonicCond(pthread_cond_t* cond, bool processShared = false)
{
  pthread_condattr_t attr;
  pthread_condattr_init(&attr);
  pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
  if (processShared) pthread_condattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
  pthread_cond_init(cond, &attr);
  pthread_condattr_destroy(&attr);
}

// A locked region of a pthread mutex.
class SyncLock
{
public:
  explicit SyncLock(pthread_mutex_t* mutex) : mutex_(mutex) { pthread_mutex_lock(mutex_); }
  ~SyncLock() { pthread_mutex_unlock(mutex_); }
  SyncLock(const SyncLock&) = delete;
  SyncLock& operator=(const SyncLock&) = delete;

private:
  pthread_mutex_t* mutex_;
};

} // namespace posix
