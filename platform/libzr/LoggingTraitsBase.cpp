#include "libzr/LoggingTraitsBase.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// -1: not yet decided, read the environment at the first event.
std::atomic<int> loggingState{-1};

bool loggingOn()
{
  int state = loggingState.load(std::memory_order_relaxed);
  if (state < 0) {
    const char* env = std::getenv("ZR_POOL_LOG");
    const int fromEnv = env && std::strcmp(env, "1") == 0 ? 1 : 0;
    // A setEnabled that got in first wins.
    loggingState.compare_exchange_strong(state, fromEnv);
    state = loggingState.load(std::memory_order_relaxed);
  }
  return state == 1;
}

} // namespace

LoggingTraitsBase::LoggingTraitsBase(const char* typeName) noexcept : typeName_(typeName ? typeName : "?") {}

void LoggingTraitsBase::setEnabled(bool enabled) noexcept
{
  loggingState.store(enabled ? 1 : 0);
}

bool LoggingTraitsBase::enabled() noexcept
{
  return loggingOn();
}

void LoggingTraitsBase::ltb_beforePop(unsigned long count) noexcept
{
  if (count == 0) heapPops_.fetch_add(1, std::memory_order_relaxed);
}

void LoggingTraitsBase::ltb_afterPop(void* object, unsigned long count) noexcept
{
  pops_.fetch_add(1, std::memory_order_relaxed);
  const long out = outstanding_.fetch_add(1, std::memory_order_relaxed) + 1;
  long high = highWater_.load(std::memory_order_relaxed);
  while (out > high && !highWater_.compare_exchange_weak(high, out, std::memory_order_relaxed)) {
  }
  if (loggingOn()) std::fprintf(stderr, "pool %s: pop %p (free %lu)\n", typeName_, object, count);
}

void LoggingTraitsBase::ltb_beforePush(void* object, unsigned long) noexcept
{
  // Every object pushed was popped first; one that was not is a double
  // release or an object from elsewhere, which would corrupt the free list.
  if (!object || outstanding_.load(std::memory_order_relaxed) <= 0) {
    std::printf("assertion failed %s at %s\n", "object && outstanding > 0", "libzr/LoggingTraitsBase push");
    std::fflush(stdout);
  }
}

void LoggingTraitsBase::ltb_afterPush(void* object, unsigned long count) noexcept
{
  pushes_.fetch_add(1, std::memory_order_relaxed);
  outstanding_.fetch_sub(1, std::memory_order_relaxed);
  if (loggingOn()) std::fprintf(stderr, "pool %s: push %p (free %lu)\n", typeName_, object, count);
}
