// CriticalSection, uncontended, entered and left on one thread, beside the
// standard library's recursive mutex.
#include <benchmark/benchmark.h>

#include <mutex>

#include "libzr/CriticalSection.h"

namespace {

void enterLeaveOurs(benchmark::State& state)
{
  CriticalSection lock("bench");
  for (auto _ : state) {
    lock.enter();
    benchmark::ClobberMemory();
    lock.leave();
  }
}
BENCHMARK(enterLeaveOurs)->Name("CriticalSection enter-leave/ours");

void enterLeavePeer(benchmark::State& state)
{
  std::recursive_mutex lock;
  for (auto _ : state) {
    lock.lock();
    benchmark::ClobberMemory();
    lock.unlock();
  }
}
BENCHMARK(enterLeavePeer)->Name("CriticalSection enter-leave/peer:std::recursive_mutex");

} // namespace
