// Recursive mutexes with a time-out on locking. The owner is tracked by
// hand, under a plain mutex, so that a time-out can use the monotonic clock
// and an unlock by another thread can be refused.
#include "libOS/posix/Sync.h"
#include "libOS/posix/ThreadId.h"

namespace posix {
namespace {

class Mutex final : public iMutex
{
public:
  explicit Mutex(bool initiallyOwned)
  {
    pthread_mutex_init(&mutex_, nullptr);
    initMonotonicCond(&cond_);
    if (initiallyOwned) {
      owner_ = currentTid();
      depth_ = 1;
    }
  }

  ~Mutex() override
  {
    pthread_cond_destroy(&cond_);
    pthread_mutex_destroy(&mutex_);
  }

  eWaitResult lock(unsigned int milliseconds) override
  {
    const unsigned int self = currentTid();
    SyncLock lock(&mutex_);
    if (owner_ == self) {
      ++depth_;
      return eWaitSuccess;
    }
    if (owner_ != 0) {
      if (milliseconds == 0) return eWaitTimeout;
      SyncDeadline deadline(milliseconds);
      while (owner_ != 0)
        if (!deadline.wait(&cond_, &mutex_) && owner_ != 0) return eWaitTimeout;
    }
    owner_ = self;
    depth_ = 1;
    return eWaitSuccess;
  }

  bool unlock() override
  {
    SyncLock lock(&mutex_);
    if (owner_ != currentTid()) return false;
    if (--depth_ == 0) {
      owner_ = 0;
      pthread_cond_signal(&cond_);
    }
    return true;
  }

private:
  pthread_mutex_t mutex_;
  pthread_cond_t cond_;
  unsigned int owner_ = 0;
  unsigned int depth_ = 0;
};

} // namespace

Zr::Ptr<iMutex> makeMutex(bool initiallyOwned)
{
  return Zr::Ptr<iMutex>(new Mutex(initiallyOwned));
}

} // namespace posix
