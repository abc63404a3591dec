// Events of one process: a flag under a mutex, a condition variable for the
// threads that wait on this event alone, and a list of wait-for-any waiters.
#include "libOS/posix/Sync.h"

namespace posix {
namespace {

class LocalEvent final : public SyncEvent
{
public:
  LocalEvent(bool manualReset, bool initialState) : manual_(manualReset), state_(initialState)
  {
    pthread_mutex_init(&mutex_, nullptr);
    initMonotonicCond(&cond_);
  }

  ~LocalEvent() override
  {
    pthread_cond_destroy(&cond_);
    pthread_mutex_destroy(&mutex_);
  }

  bool set() override
  {
    bool wakeSleepers;
    {
      SyncLock lock(&mutex_);
      state_ = true;
      wakeSleepers = sleepers_ > 0;
      // Under the lock: a waiter's link is gone once it has detached.
      for (SyncWaitLink* link = links_; link; link = link->next) link->waiter->wake();
    }
    // Signalled after the unlock, so that the woken thread does not run
    // straight into the held mutex. A manual event releases everyone; an
    // auto-reset one needs one taker, and a woken thread that loses the race
    // to another taker simply sleeps again. The caller's handle keeps this
    // object alive until we return.
    if (wakeSleepers) {
      if (manual_)
        pthread_cond_broadcast(&cond_);
      else
        pthread_cond_signal(&cond_);
    }
    return true;
  }

  bool reset() override
  {
    SyncLock lock(&mutex_);
    state_ = false;
    return true;
  }

  eWaitResult wait(unsigned int milliseconds) override
  {
    SyncLock lock(&mutex_);
    if (!state_) {
      if (milliseconds == 0) return eWaitTimeout;
      SyncDeadline deadline(milliseconds);
      ++sleepers_;
      while (!state_)
        if (!deadline.wait(&cond_, &mutex_) && !state_) {
          --sleepers_;
          return eWaitTimeout;
        }
      --sleepers_;
    }
    if (!manual_) state_ = false;
    return eWaitSuccess;
  }

  bool isNamed() const override { return false; }

  bool tryTake() override
  {
    SyncLock lock(&mutex_);
    if (!state_) return false;
    if (!manual_) state_ = false;
    return true;
  }

  bool attach(SyncWaitLink* link) override
  {
    SyncLock lock(&mutex_);
    link->prev = nullptr;
    link->next = links_;
    if (links_) links_->prev = link;
    links_ = link;
    return true;
  }

  void detach(SyncWaitLink* link) override
  {
    SyncLock lock(&mutex_);
    if (link->prev)
      link->prev->next = link->next;
    else
      links_ = link->next;
    if (link->next) link->next->prev = link->prev;
    link->prev = link->next = nullptr;
  }

private:
  pthread_mutex_t mutex_;
  pthread_cond_t cond_;
  const bool manual_;
  bool state_;
  unsigned int sleepers_ = 0; // threads blocked in wait()
  SyncWaitLink* links_ = nullptr;
};

} // namespace

Zr::Ptr<iThreadEvent> makeLocalEvent(bool manualReset, bool initialState)
{
  return Zr::Ptr<iThreadEvent>(new LocalEvent(manualReset, initialState));
}

} // namespace posix
