// Counting semaphores with a maximum.
#include "libOS/posix/Sync.h"

namespace posix {
namespace {

class Semaphore final : public iSemaphore
{
public:
  Semaphore(unsigned int initial, unsigned int maximum) : count_(initial), maximum_(maximum)
  {
    pthread_mutex_init(&mutex_, nullptr);
    initMonotonicCond(&cond_);
  }

  ~Semaphore() override
  {
    pthread_cond_destroy(&cond_);
    pthread_mutex_destroy(&mutex_);
  }

  eWaitResult wait(unsigned int milliseconds) override
  {
    SyncLock lock(&mutex_);
    if (count_ == 0) {
      if (milliseconds == 0) return eWaitTimeout;
      SyncDeadline deadline(milliseconds);
      while (count_ == 0)
        if (!deadline.wait(&cond_, &mutex_) && count_ == 0) return eWaitTimeout;
    }
    --count_;
    return eWaitSuccess;
  }

  bool release(unsigned int count) override
  {
    SyncLock lock(&mutex_);
    if (count > maximum_ - count_) return false;
    count_ += count;
    if (count == 1)
      pthread_cond_signal(&cond_);
    else if (count > 1)
      pthread_cond_broadcast(&cond_);
    return true;
  }

  unsigned int available() const override
  {
    SyncLock lock(&mutex_);
    return count_;
  }

private:
  mutable pthread_mutex_t mutex_;
  pthread_cond_t cond_;
  unsigned int count_;
  const unsigned int maximum_;
};

} // namespace

Zr::Ptr<iSemaphore> makeSemaphore(unsigned int initial, unsigned int maximum)
{
  if (maximum == 0 || initial > maximum) return nullptr;
  return Zr::Ptr<iSemaphore>(new Semaphore(initial, maximum));
}

} // namespace posix
