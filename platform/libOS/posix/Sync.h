// The synchronisation objects of the POSIX thread manager, and what they share
// with its wait-for-any.
#pragma once

#include <pthread.h>

#include <vector>

#include "libOS/iSync.h"
#include "libOS/posix/SyncDeadline.h"

namespace posix {

// A thread blocked in waitForAny. Every local event of its list wakes it on
// each set; it then tries the events again in list order.
class SyncWaiter
{
public:
  SyncWaiter();
  ~SyncWaiter();
  SyncWaiter(const SyncWaiter&) = delete;
  SyncWaiter& operator=(const SyncWaiter&) = delete;

  // Wakes the waiter; a wake that comes before it sleeps is kept.
  void wake();
  // Sleeps until woken or the deadline passes; consumes the wake.
  void sleep(const SyncDeadline& deadline);

private:
  pthread_mutex_t mutex_;
  pthread_cond_t cond_;
  bool woken_ = false;
};

// The place of one waiter in one event's list of waiters.
struct SyncWaitLink
{
  SyncWaiter* waiter = nullptr;
  SyncWaitLink* prev = nullptr;
  SyncWaitLink* next = nullptr;
};

// What waitForAny needs of an event beyond iThreadEvent.
class SyncEvent : public iThreadEvent
{
public:
  // Takes the event if it is set (resetting an auto-reset one); never blocks.
  // False also for a broken event.
  virtual bool tryTake() = 0;
  // Registers the link's waiter to be woken by every set. False if this kind
  // of event cannot wake waiters, so that the caller has to poll it.
  virtual bool attach(SyncWaitLink* link) = 0;
  // Removes a link that attach accepted.
  virtual void detach(SyncWaitLink* link) = 0;
};

// An event of this process only.
Zr::Ptr<iThreadEvent> makeLocalEvent(bool manualReset, bool initialState);

// An event shared with every process that opens the same name; null if the
// shared memory behind it cannot be made or opened.
Zr::Ptr<iThreadEvent> makeNamedEvent(bool manualReset, bool initialState, const char* name);

// Null if initial > maximum or maximum is 0.
Zr::Ptr<iSemaphore> makeSemaphore(unsigned int initial, unsigned int maximum);

Zr::Ptr<iMutex> makeMutex(bool initiallyOwned);

Zr::Ptr<iCriticalSection> makeCriticalSection();

// iThreadManager::waitForAny.
iWaitable::eWaitResult waitForAnyEvent(const std::vector<Zr::Ptr<iThreadEvent>>& events,
                                       unsigned int milliseconds, unsigned int* index);

} // namespace posix
