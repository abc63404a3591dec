// Recursive critical sections that know their owner.
//
// They are entered and left at a high rate, so an uncontended enter is one
// pthread mutex lock and one store of the owner, with no system call: the
// caller's thread id comes from a per-thread cache. Only the owner ever
// writes its own id into owner_, so a thread that reads its own id there
// really holds the section; relaxed loads are enough for that test.
#include <atomic>

#include "libOS/posix/Sync.h"
#include "libOS/posix/ThreadId.h"

namespace posix {
namespace {

class CriticalSection final : public iCriticalSection
{
public:
  CriticalSection() { pthread_mutex_init(&mutex_, nullptr); }
  ~CriticalSection() override { pthread_mutex_destroy(&mutex_); }

  void enter() override
  {
    const unsigned int self = currentTid();
    if (owner_.load(std::memory_order_relaxed) == self) {
      depth_.store(depth_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
      return;
    }
    pthread_mutex_lock(&mutex_);
    take(self);
  }

  bool tryEnter() override
  {
    const unsigned int self = currentTid();
    if (owner_.load(std::memory_order_relaxed) == self) {
      depth_.store(depth_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
      return true;
    }
    if (pthread_mutex_trylock(&mutex_) != 0) return false;
    take(self);
    return true;
  }

  bool leave() override
  {
    if (owner_.load(std::memory_order_relaxed) != currentTid()) return false;
    const unsigned int depth = depth_.load(std::memory_order_relaxed) - 1;
    depth_.store(depth, std::memory_order_relaxed);
    if (depth == 0) {
      owner_.store(0, std::memory_order_relaxed);
      pthread_mutex_unlock(&mutex_);
    }
    return true;
  }

  unsigned int owner() const override { return owner_.load(std::memory_order_relaxed); }
  unsigned int depth() const override { return depth_.load(std::memory_order_relaxed); }

private:
  void take(unsigned int self)
  {
    depth_.store(1, std::memory_order_relaxed);
    owner_.store(self, std::memory_order_relaxed);
  }

  pthread_mutex_t mutex_;
  std::atomic<unsigned int> owner_{0};
  std::atomic<unsigned int> depth_{0};
};

} // namespace

Zr::Ptr<iCriticalSection> makeCriticalSection()
{
  return Zr::Ptr<iCriticalSection>(new CriticalSection);
}

} // namespace posix
