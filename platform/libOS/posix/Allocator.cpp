// The allocator service over the C library's malloc, with live figures kept
// here and pool figures read from the C library.
#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "libOS/posix/Services.h"

namespace {

// Free memory kept at the top of the heap by one trim step.
constexpr size_t kTrimPad = 1u << 20;

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
    liveBytes_ += malloc_usable_size(grown);
    liveBytes_ -= before;
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

  size_t liveBytes() const override { return liveBytes_.load(); }
  size_t liveBlocks() const override { return liveBlocks_.load(); }

  void dumpAllocations(int level) override
  {
    std::fprintf(stderr, "allocator: %zu live blocks, %zu live bytes, %zu bytes pooled, pool limit %zu\n",
                 liveBlocks(), liveBytes(), pooledBytes(), poolLimit());
    if (level >= 1) malloc_stats();
    std::fflush(stderr);
  }

private:
  void count(void* block, int sign)
  {
    const size_t size = malloc_usable_size(block);
    if (sign > 0) {
      liveBlocks_ += 1;
      liveBytes_ += size;
    } else {
      liveBlocks_ -= 1;
      liveBytes_ -= size;
    }
  }

  std::atomic<size_t> liveBytes_{0};
  std::atomic<size_t> liveBlocks_{0};
  std::atomic<size_t> poolLimit_{size_t(256) << 20};
};

} // namespace

iAllocator* posix::allocator()
{
  static MallocAllocator* instance = new MallocAllocator;
  return instance;
}
