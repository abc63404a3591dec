// Starting a co-process beside starting a std::thread: the time from the
// create call to the first instruction of the new thread's function.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "libOS/OS.h"
#include "threads/Coprocess.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Launch
{
  Clock::time_point started;
  std::atomic<long long> latencyNs{-1};
};

void recordFirstInstruction(Launch& launch)
{
  launch.latencyNs.store(
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - launch.started).count(),
      std::memory_order_release);
}

iThread::eExecRC coBody(void* arg)
{
  recordFirstInstruction(*static_cast<Launch*>(arg));
  return iThread::eOK;
}

long long awaitLatency(Launch& launch)
{
  long long ns;
  while ((ns = launch.latencyNs.load(std::memory_order_acquire)) < 0) std::this_thread::yield();
  return ns;
}

// Manual timing: only the create-to-first-instruction span counts, not the
// join that keeps threads from piling up.
void launchOurs(benchmark::State& state)
{
  co_init();
  for (auto _ : state) {
    Launch launch;
    launch.started = Clock::now();
    const unsigned short id = co_create(&coBody, "bench launch", 0, &launch, 0, 0);
    state.SetIterationTime(double(awaitLatency(launch)) * 1e-9);
    coThreadGet(id)->waitForEnd(iWaitable::kInfinite);
    co_kill(id);
  }
}
// The table keeps every row ever made: stay inside its reserve.
BENCHMARK(launchOurs)->Name("co_create to first instruction/ours")->UseManualTime()->Iterations(200);

void launchStd(benchmark::State& state)
{
  for (auto _ : state) {
    Launch launch;
    launch.started = Clock::now();
    std::thread thread([&launch] { recordFirstInstruction(launch); });
    state.SetIterationTime(double(awaitLatency(launch)) * 1e-9);
    thread.join();
  }
}
BENCHMARK(launchStd)
    ->Name("co_create to first instruction/peer:std::thread")
    ->UseManualTime()
    ->Iterations(200);

} // namespace
