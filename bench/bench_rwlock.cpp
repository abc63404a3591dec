// RWLock entered and left as reader and as writer, alone and with a second
// thread doing the same, beside the standard library's shared_mutex.
#include <benchmark/benchmark.h>

#include <shared_mutex>

#include "threads/RWLock.h"

namespace {

// One lock per benchmark run, shared by its threads.
RWLock* ours = nullptr;
std::shared_mutex* peer = nullptr;

void setUpOurs(const benchmark::State&)
{
  ours = new RWLock(RWLock::ePreferWriters, 100, 1);
}
void tearDownOurs(const benchmark::State&)
{
  delete ours;
  ours = nullptr;
}
void setUpPeer(const benchmark::State&)
{
  peer = new std::shared_mutex;
}
void tearDownPeer(const benchmark::State&)
{
  delete peer;
  peer = nullptr;
}

void readerOurs(benchmark::State& state)
{
  for (auto _ : state) {
    ours->enterAsReader(false);
    benchmark::ClobberMemory();
    ours->leaveAsReader();
  }
}

void readerPeer(benchmark::State& state)
{
  for (auto _ : state) {
    peer->lock_shared();
    benchmark::ClobberMemory();
    peer->unlock_shared();
  }
}

void writerOurs(benchmark::State& state)
{
  for (auto _ : state) {
    ours->enterAsWriter(false);
    benchmark::ClobberMemory();
    ours->leaveAsWriter();
  }
}

void writerPeer(benchmark::State& state)
{
  for (auto _ : state) {
    peer->lock();
    benchmark::ClobberMemory();
    peer->unlock();
  }
}

BENCHMARK(readerOurs)->Name("RWLock reader enter-leave/ours")->Setup(setUpOurs)->Teardown(tearDownOurs);
BENCHMARK(readerPeer)
    ->Name("RWLock reader enter-leave/peer:std::shared_mutex")
    ->Setup(setUpPeer)
    ->Teardown(tearDownPeer);
BENCHMARK(writerOurs)->Name("RWLock writer enter-leave/ours")->Setup(setUpOurs)->Teardown(tearDownOurs);
BENCHMARK(writerPeer)
    ->Name("RWLock writer enter-leave/peer:std::shared_mutex")
    ->Setup(setUpPeer)
    ->Teardown(tearDownPeer);

BENCHMARK(readerOurs)
    ->Name("RWLock reader enter-leave 2 threads/ours")
    ->Setup(setUpOurs)
    ->Teardown(tearDownOurs)
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(readerPeer)
    ->Name("RWLock reader enter-leave 2 threads/peer:std::shared_mutex")
    ->Setup(setUpPeer)
    ->Teardown(tearDownPeer)
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(writerOurs)
    ->Name("RWLock writer enter-leave 2 threads/ours")
    ->Setup(setUpOurs)
    ->Teardown(tearDownOurs)
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(writerPeer)
    ->Name("RWLock writer enter-leave 2 threads/peer:std::shared_mutex")
    ->Setup(setUpPeer)
    ->Teardown(tearDownPeer)
    ->Threads(2)
    ->UseRealTime();

} // namespace
