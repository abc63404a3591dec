// The allocator service over the C library's malloc, with live figures kept
// here and pool figures read from the C library.
//
// Every string and buffer of the libraries comes through here, on every
// thread, so the live figures must not cost a shared cache line per call:
// each thread counts into a tally of its own with plain stores, and the
// figures add up all tallies and what ended threads left behind.
#include <malloc.h>
#include <pthread.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "libOS/posix/Services.h"

namespace {

// Free memory kept at the top of the heap by one trim step.
constexpr size_t kTrimPad = 1u << 20;

// One thread's share of the live figures. Only its thread writes it; a
// thread may free more than it made, so the counts are signed.
struct Tally
{
  std::atomic<long long> bytes{0};
  std::atomic<long long> blocks{0};
  Tally* prev = nullptr;
  Tally* next = nullptr;

  void add(long long byteCount, long long blockCount) noexcept
  {
    bytes.store(bytes.load(std::memory_order_relaxed) + byteCount, std::memory_order_relaxed);
    blocks.store(blocks.load(std::memory_order_relaxed) + blockCount, std::memory_order_relaxed);
  }
};

class Tallies;
Tallies& tallies();

// All tallies of running threads, and the counts of ended ones. Never
// destroyed: threads count until the process is gone.
class Tallies
{
public:
  Tallies()
  {
    // A fork while another thread holds the lock would leave it held for
    // good in the child, whose first new thread would then wait for ever.
    pthread_atfork([] { tallies().lock_.lock(); }, [] { tallies().lock_.unlock(); },
                   [] { tallies().lock_.unlock(); });
  }

  void enrol(Tally* tally)
  {
    std::lock_guard<std::mutex> guard(lock_);
    tally->next = head_;
    if (head_) head_->prev = tally;
    head_ = tally;
  }

  // Keeps an ending thread's counts and forgets its tally.
  void retire(Tally* tally)
  {
    std::lock_guard<std::mutex> guard(lock_);
    endedBytes_.fetch_add(tally->bytes.load(std::memory_order_relaxed), std::memory_order_relaxed);
    endedBlocks_.fetch_add(tally->blocks.load(std::memory_order_relaxed), std::memory_order_relaxed);
    if (tally->prev) tally->prev->next = tally->next;
    if (tally->next) tally->next->prev = tally->prev;
    if (head_ == tally) head_ = tally->next;
  }

  // Counts made on a thread whose tally is already gone.
  void addEnded(long long byteCount, long long blockCount) noexcept
  {
    endedBytes_.fetch_add(byteCount, std::memory_order_relaxed);
    endedBlocks_.fetch_add(blockCount, std::memory_order_relaxed);
  }

  size_t bytes() const { return sum(&Tally::bytes, endedBytes_); }
  size_t blocks() const { return sum(&Tally::blocks, endedBlocks_); }

private:
  size_t sum(std::atomic<long long> Tally::*field, const std::atomic<long long>& ended) const
  {
    std::lock_guard<std::mutex> guard(lock_);
    long long total = ended.load(std::memory_order_relaxed);
    for (const Tally* t = head_; t; t = t->next) total += (t->*field).load(std::memory_order_relaxed);
    // Between a make on one thread and its release on another the sum may
    // dip below zero for a moment.
    return total > 0 ? size_t(total) : 0;
  }

  mutable std::mutex lock_;
  Tally* head_ = nullptr;
  std::atomic<long long> endedBytes_{0};
  std::atomic<long long> endedBlocks_{0};
};

Tallies& tallies()
{
  static Tallies* const all = new Tallies;
  return *all;
}

// The calling thread's tally: read on every call, so a plain pointer in the
// static TLS block; the owner below, made once per thread, retires it.
__thread Tally* tlsTally __attribute__((tls_model("initial-exec"))) = nullptr;
__thread bool tlsTallyRetired __attribute__((tls_model("initial-exec"))) = false;

struct TallyOwner
{
  Tally tally;
  TallyOwner()
  {
    tallies().enrol(&tally);
    tlsTally = &tally;
  }
  ~TallyOwner()
  {
    tlsTally = nullptr;
    tlsTallyRetired = true;
    tallies().retire(&tally);
  }
};

void countOnThisThread(long long byteCount, long long blockCount)
{
  if (Tally* tally = tlsTally) {
    tally->add(byteCount, blockCount);
    return;
  }
  // Once the thread's tally is gone, late releases (from other thread-local
  // destructors) go straight to the shared counts.
  if (tlsTallyRetired) {
    tallies().addEnded(byteCount, blockCount);
    return;
  }
  static thread_local TallyOwner owner;
  owner.tally.add(byteCount, blockCount);
}

class MallocAllocator final : public iAllocator
{
public:
  void* allocate(size_t bytes) override
  {
    void* block = std::malloc(bytes ? bytes : 1);
    if (block) count(block, +1);
    return block;
  }

  void* reallocate(void* block, size_t bytes) override
  {
    if (!block) return allocate(bytes);
    const size_t before = malloc_usable_size(block);
    void* grown = std::realloc(block, bytes ? bytes : 1);
    if (!grown) return nullptr;
    countOnThisThread((long long)malloc_usable_size(grown) - (long long)before, 0);
    return grown;
  }

  void release(void* block) override
  {
    if (!block) return;
    count(block, -1);
    std::free(block);
  }

  bool trim() override { return malloc_trim(kTrimPad) != 0; }
  void flush() override { malloc_trim(0); }
  // The top of the heap is what a trim can hand back whole; free chunks in
  // the middle are handed back page by page by the same call.
  bool canDoMore() const override { return mallinfo2().keepcost > 2 * kTrimPad; }

  size_t pooledBytes() const override
  {
    struct mallinfo2 info = mallinfo2();
    return info.fordblks;
  }

  size_t poolLimit() const override { return poolLimit_.load(); }
  void setPoolLimit(size_t bytes) override { poolLimit_ = bytes; }

  size_t liveBytes() const override { return tallies().bytes(); }
  size_t liveBlocks() const override { return tallies().blocks(); }

  void dumpAllocations(int level) override
  {
    std::fprintf(stderr, "allocator: %zu live blocks, %zu live bytes, %zu bytes pooled, pool limit %zu\n",
                 liveBlocks(), liveBytes(), pooledBytes(), poolLimit());
    if (level >= 1) malloc_stats();
    std::fflush(stderr);
  }

private:
  static void count(void* block, int sign)
  {
    const auto size = (long long)malloc_usable_size(block);
    countOnThisThread(sign * size, sign);
  }

  std::atomic<size_t> poolLimit_{size_t(256) << 20};
};

} // namespace

iAllocator* posix::allocator()
{
  static MallocAllocator* instance = new MallocAllocator;
  return instance;
}
