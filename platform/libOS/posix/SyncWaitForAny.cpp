// Waiting for the first of several events.
//
// The waiter registers itself with every local event of the list, then tries
// the events in list order and sleeps until one of them is set. Registering
// before the first try means that a set between a try and the sleep is never
// lost. Named events cannot wake a waiter of this process, so a list that
// holds one is polled every few milliseconds; local events still wake the
// waiter at once.
#include "libOS/posix/Sync.h"

namespace posix {

namespace {

constexpr unsigned int kPollMilliseconds = 2;

} // namespace

SyncWaiter::SyncWaiter()
{
  pthread_mutex_init(&mutex_, nullptr);
  initMonotonicCond(&cond_);
}

SyncWaiter::~SyncWaiter()
{
  pthread_cond_destroy(&cond_);
  pthread_mutex_destroy(&mutex_);
}

void SyncWaiter::wake()
{
  SyncLock lock(&mutex_);
  woken_ = true;
  pthread_cond_signal(&cond_);
}

void SyncWaiter::sleep(const SyncDeadline& deadline)
{
  SyncLock lock(&mutex_);
  while (!woken_)
    if (!deadline.wait(&cond_, &mutex_)) break;
  woken_ = false;
}

iWaitable::eWaitResult waitForAnyEvent(const std::vector<Zr::Ptr<iThreadEvent>>& events,
                                       unsigned int milliseconds, unsigned int* index)
{
  if (events.empty()) return iWaitable::eWaitFailed;
  for (const auto& event : events)
    if (!event) return iWaitable::eWaitFailed;

  const size_t count = events.size();
  SyncWaiter waiter;
  std::vector<SyncEvent*> ours(count, nullptr);
  std::vector<SyncWaitLink> links(count);
  std::vector<bool> attached(count, false);
  bool poll = false;
  for (size_t i = 0; i < count; ++i) {
    ours[i] = dynamic_cast<SyncEvent*>(events[i].get());
    links[i].waiter = &waiter;
    attached[i] = ours[i] && ours[i]->attach(&links[i]);
    if (!attached[i]) poll = true;
  }

  const SyncDeadline deadline(milliseconds);
  iWaitable::eWaitResult result = iWaitable::eWaitTimeout;
  for (;;) {
    size_t found = count;
    for (size_t i = 0; i < count && found == count; ++i) {
      // An event of another implementation is tested through its own zero wait.
      const bool taken = ours[i] ? ours[i]->tryTake() : events[i]->wait(0) == iWaitable::eWaitSuccess;
      if (taken) found = i;
    }
    if (found < count) {
      if (index) *index = unsigned(found);
      result = iWaitable::eWaitSuccess;
      break;
    }
    const unsigned int left = deadline.remaining();
    if (left == 0) break;
    if (poll)
      waiter.sleep(SyncDeadline(left < kPollMilliseconds ? left : kPollMilliseconds));
    else
      waiter.sleep(deadline);
  }

  for (size_t i = 0; i < count; ++i)
    if (attached[i]) ours[i]->detach(&links[i]);
  return result;
}

} // namespace posix
