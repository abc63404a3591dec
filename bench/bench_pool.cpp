// The object pool beside the global heap: a command-sized object made and
// dropped on one thread, and made on one thread and dropped on another, the
// way commands travel to the queues that run them.
#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>

#include "Zr/ZrPooledObject.h"

namespace {

// 64 bytes each: the vtable pointer, a link word and the payload.
struct PooledCmd : ZrDC::DefaultPoolBase<PooledCmd>
{
  virtual ~PooledCmd() = default;
  char payload[48];
};

struct HeapCmd
{
  virtual ~HeapCmd() = default;
  void* link;
  char payload[48];
};

static_assert(sizeof(PooledCmd) == 64 && sizeof(HeapCmd) == 64);

template <class T> void makeAndDrop(benchmark::State& state)
{
  delete new T;
  for (auto _ : state) {
    T* object = new T;
    benchmark::DoNotOptimize(object);
    delete object;
  }
}
BENCHMARK(makeAndDrop<PooledCmd>)->Name("new+delete 64 bytes/ours");
BENCHMARK(makeAndDrop<HeapCmd>)->Name("new+delete 64 bytes/peer:global new");

// A burst of commands made before any is dropped, as a queue fills.
template <class T> void burstOf32(benchmark::State& state)
{
  constexpr int kBurst = 32;
  T* objects[kBurst];
  for (auto _ : state) {
    for (T*& object : objects) object = new T;
    benchmark::DoNotOptimize(objects);
    for (T* object : objects) delete object;
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(burstOf32<PooledCmd>)->Name("new 32 then delete 32/ours");
BENCHMARK(burstOf32<HeapCmd>)->Name("new 32 then delete 32/peer:global new");

// A single-producer, single-consumer ring that carries the objects across.
template <class T> class Ring
{
public:
  bool push(T* object)
  {
    const unsigned tail = tail_.load(std::memory_order_relaxed);
    if (tail - head_.load(std::memory_order_acquire) == kSize) return false;
    slots_[tail % kSize] = object;
    tail_.store(tail + 1, std::memory_order_release);
    return true;
  }
  T* pop()
  {
    const unsigned head = head_.load(std::memory_order_relaxed);
    if (head == tail_.load(std::memory_order_acquire)) return nullptr;
    T* object = slots_[head % kSize];
    head_.store(head + 1, std::memory_order_release);
    return object;
  }

private:
  static constexpr unsigned kSize = 1024;
  T* slots_[kSize];
  alignas(64) std::atomic<unsigned> head_{0};
  alignas(64) std::atomic<unsigned> tail_{0};
};

// Made here, dropped on another thread.
template <class T> void acrossThreads(benchmark::State& state)
{
  Ring<T> ring;
  std::atomic<bool> stop{false};
  std::thread dropper([&] {
    for (;;) {
      if (T* object = ring.pop()) {
        delete object;
        continue;
      }
      if (stop.load(std::memory_order_acquire)) {
        while (T* object = ring.pop()) delete object;
        return;
      }
      std::this_thread::yield();
    }
  });
  for (auto _ : state) {
    T* object = new T;
    while (!ring.push(object)) std::this_thread::yield();
  }
  stop.store(true, std::memory_order_release);
  dropper.join();
}
BENCHMARK(acrossThreads<PooledCmd>)->Name("new here, delete on another thread/ours")->UseRealTime();
BENCHMARK(acrossThreads<HeapCmd>)->Name("new here, delete on another thread/peer:global new")->UseRealTime();

} // namespace
