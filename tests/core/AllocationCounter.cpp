#include "AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<size_t> calls{0};
std::atomic<size_t> lastSize{0};
std::atomic<const void*> watched{nullptr};
std::atomic<bool> watchedGone{false};

} // namespace

namespace coretest {

size_t newCalls()
{
  return calls.load();
}
size_t lastNewSize()
{
  return lastSize.load();
}
void watchDelete(const void* block)
{
  watchedGone.store(false);
  watched.store(block);
}
bool deletedWatched()
{
  return watchedGone.load();
}

} // namespace coretest

// The array forms forward to these; the sized delete is replaced too because a
// sanitizer's own one would not see the block as its own.
void* operator new(size_t bytes)
{
  void* block = std::malloc(bytes ? bytes : 1);
  if (!block) throw std::bad_alloc();
  calls.fetch_add(1);
  lastSize.store(bytes);
  return block;
}
void operator delete(void* block) noexcept
{
  if (block && block == watched.load()) watchedGone.store(true);
  std::free(block);
}
void operator delete(void* block, size_t) noexcept
{
  ::operator delete(block);
}
