// Counting semaphores with a maximum.
//
// The count is an atomic word that wait and release change by compare-and-
// swap, so a unit that is free, or room below the maximum, costs one atomic
// instruction and no lock. Only a thread that finds the count at zero goes to
// the kernel: it announces itself in waiters_ and sleeps on the count's futex.
// A release that sees a waiter wakes as many sleepers as it gave units.
//
// No wake is lost: a waiter adds itself to waiters_ before it reads the count
// and sleeps only while the count still reads zero (the kernel tests that
// atomically), and a release changes the count before it reads waiters_. All
// four accesses are sequentially consistent, so either the release sees the
// waiter or the waiter sees the unit.
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>

#include "libOS/posix/Sync.h"

namespace posix {
namespace {

// Sleeps while *word is 0, until woken or the deadline passes. False on
// time-out; true may be a spurious return, so the caller tests again.
bool futexSleepWhileZero(std::atomic<unsigned int>* word, const SyncDeadline& deadline)
{
  // An absolute time-out on the monotonic clock, the clock of SyncDeadline.
  const timespec* at = deadline.infinite() ? nullptr : &deadline.at();
  const long rc = syscall(SYS_futex, reinterpret_cast<unsigned int*>(word), FUTEX_WAIT_BITSET_PRIVATE, 0U, at,
                          nullptr, FUTEX_BITSET_MATCH_ANY);
  return rc == 0 || errno != ETIMEDOUT;
}

void futexWake(std::atomic<unsigned int>* word, unsigned int sleepers)
{
  const int count = sleepers > unsigned(INT_MAX) ? INT_MAX : int(sleepers);
  syscall(SYS_futex, reinterpret_cast<unsigned int*>(word), FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
}

static_assert(sizeof(std::atomic<unsigned int>) == sizeof(unsigned int) &&
                  std::atomic<unsigned int>::is_always_lock_free,
              "the futex word is the count itself");

// The spin before a sleep, in pauses (tens of nanoseconds each), and
// the longest stretch between two looks at the count.
constexpr int kSpinPauses = 256;
constexpr int kLongestBackOff = 16;

class Semaphore final : public iSemaphore
{
public:
  Semaphore(unsigned int initial, unsigned int maximum) : count_(initial), maximum_(maximum) {}

  eWaitResult wait(unsigned int milliseconds) override
  {
    // A zero wait is mostly a look at a closed gate, which many threads may
    // share; a real wait means to take a unit.
    if (milliseconds != 0) prefetchForWrite();
    if (tryTake()) return eWaitSuccess;
    if (milliseconds == 0) return eWaitTimeout;
    // A semaphore used as a lock is mostly held for a few instructions:
    // watching the count for a moment, about as long as a sleep and a wake
    // would cost, is far cheaper. The watcher looks less often as it waits,
    // so that a holder that leaves and comes straight back keeps the cache
    // lines it works on instead of losing them to every look.
    for (int spent = 0, pauses = 1; spent < kSpinPauses; spent += pauses) {
      for (int p = 0; p < pauses; ++p) __builtin_ia32_pause();
      if (count_.load(std::memory_order_relaxed) != 0 && tryTake()) return eWaitSuccess;
      if (pauses < kLongestBackOff) pauses *= 2;
    }

    const SyncDeadline deadline(milliseconds);
    waiters_.fetch_add(1);
    eWaitResult result = eWaitTimeout;
    for (;;) {
      if (tryTake()) {
        result = eWaitSuccess;
        break;
      }
      if (!futexSleepWhileZero(&count_, deadline)) {
        // A unit that came with the time-out is still taken.
        if (tryTake()) result = eWaitSuccess;
        break;
      }
    }
    waiters_.fetch_sub(1);
    return result;
  }

  bool release(unsigned int count) override
  {
    prefetchForWrite();
    unsigned int current = count_.load(std::memory_order_relaxed);
    do {
      if (count > maximum_ - current) return false;
    } while (!count_.compare_exchange_weak(current, current + count));
    if (count != 0 && waiters_.load() != 0) futexWake(&count_, count);
    return true;
  }

  unsigned int available() const override { return count_.load(); }

private:
  // Asks for the count's line in the exclusive state at once: the load and
  // the compare-and-swap that follow would otherwise fetch it twice from the
  // core that used it last, once to read and once to own.
  void prefetchForWrite() noexcept { asm volatile("prefetchw %0" ::"m"(count_)); }

  bool tryTake() noexcept
  {
    unsigned int current = count_.load(std::memory_order_relaxed);
    while (current != 0)
      if (count_.compare_exchange_weak(current, current - 1)) return true;
    return false;
  }

  std::atomic<unsigned int> count_;
  // Threads inside the slow path of wait, asleep or about to be.
  std::atomic<unsigned int> waiters_{0};
  const unsigned int maximum_;
};

} // namespace

Zr::Ptr<iSemaphore> makeSemaphore(unsigned int initial, unsigned int maximum)
{
  if (maximum == 0 || initial > maximum) return nullptr;
  return Zr::Ptr<iSemaphore>(new Semaphore(initial, maximum));
}

} // namespace posix
