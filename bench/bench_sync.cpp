// Synchronisation of the thread manager beside the standard library's:
// an event ping-pong between two threads (one iteration is one round trip),
// and an uncontended enter and leave of a critical section.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "libOS/OS.h"

namespace {

// An auto-reset event made of the standard parts.
class StdEvent
{
public:
  void set()
  {
    {
      std::lock_guard<std::mutex> hold(mutex_);
      set_ = true;
    }
    cond_.notify_one();
  }
  void wait()
  {
    std::unique_lock<std::mutex> hold(mutex_);
    cond_.wait(hold, [this] { return set_; });
    set_ = false;
  }

private:
  std::mutex mutex_;
  std::condition_variable cond_;
  bool set_ = false;
};

void pingPongOurs(benchmark::State& state)
{
  iThreadManager* threads = OS()->threadMgr();
  Zr::Ptr<iThreadEvent> ping = threads->createEvent(false, false, nullptr);
  Zr::Ptr<iThreadEvent> pong = threads->createEvent(false, false, nullptr);
  bool stop = false; // written before the last ping, read after it
  std::thread partner([&] {
    for (;;) {
      ping->wait(iWaitable::kInfinite);
      if (stop) return;
      pong->set();
    }
  });
  for (auto _ : state) {
    ping->set();
    pong->wait(iWaitable::kInfinite);
  }
  stop = true;
  ping->set();
  partner.join();
}

void pingPongStd(benchmark::State& state)
{
  StdEvent ping, pong;
  bool stop = false;
  std::thread partner([&] {
    for (;;) {
      ping.wait();
      if (stop) return;
      pong.set();
    }
  });
  for (auto _ : state) {
    ping.set();
    pong.wait();
  }
  stop = true;
  ping.set();
  partner.join();
}

void criticalSectionOurs(benchmark::State& state)
{
  Zr::Ptr<iCriticalSection> section = OS()->threadMgr()->createCriticalSection("bench");
  for (auto _ : state) {
    section->enter();
    section->leave();
  }
}

void criticalSectionStd(benchmark::State& state)
{
  std::recursive_mutex mutex;
  for (auto _ : state) {
    mutex.lock();
    mutex.unlock();
  }
}

} // namespace

BENCHMARK(pingPongOurs)->Name("event ping-pong/ours")->UseRealTime();
BENCHMARK(pingPongStd)->Name("event ping-pong/peer:std::condition_variable")->UseRealTime();
BENCHMARK(criticalSectionOurs)->Name("iCriticalSection enter-leave (libOS)/ours");
BENCHMARK(criticalSectionStd)->Name("iCriticalSection enter-leave (libOS)/peer:std::recursive_mutex");
