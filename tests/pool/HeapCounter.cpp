#include "HeapCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> news{0};
std::atomic<long> deletes{0};

void* counted(std::size_t size)
{
  news.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}

void released(void* p) noexcept
{
  if (!p) return;
  deletes.fetch_add(1, std::memory_order_relaxed);
  std::free(p);
}

} // namespace

namespace pooltest {

long heapNews()
{
  return news.load();
}

long heapDeletes()
{
  return deletes.load();
}

} // namespace pooltest

// The executable's definitions replace the library's for every module of the
// process.
void* operator new(std::size_t size)
{
  return counted(size);
}
void* operator new[](std::size_t size)
{
  return counted(size);
}
void operator delete(void* p) noexcept
{
  released(p);
}
void operator delete[](void* p) noexcept
{
  released(p);
}
void operator delete(void* p, std::size_t) noexcept
{
  released(p);
}
void operator delete[](void* p, std::size_t) noexcept
{
  released(p);
}
