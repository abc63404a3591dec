// The object pool beside the global heap: a command-sized object made and
// dropped on one thread, and made on one thread and dropped on another, the
// way commands travel to the queues that run them.
#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>

#include "Zr/ZrPooledObject.h"
#include "libOS/Atomics.h"

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

// The least a pool of this design can cost: a pop and a push are each a
// compare-and-swap of head and an atomic change of the count, on one line.
void fourAtomicSteps(benchmark::State& state)
{
  struct alignas(64) Words
  {
    void* head = nullptr;
    unsigned int count = 0;
  } words;
  char object[64];
  for (auto _ : state) {
    void* top = OSAtomics::loadPointer(&words.head);
    OSAtomics::compareAndSwapPointer(&words.head, object, top);
    OSAtomics::decrement(&words.count);
    top = OSAtomics::loadPointer(&words.head);
    OSAtomics::compareAndSwapPointer(&words.head, nullptr, top);
    OSAtomics::increment(&words.count);
    benchmark::DoNotOptimize(words);
  }
}
BENCHMARK(fourAtomicSteps)->Name("new+delete 64 bytes/peer:its four atomic steps alone");

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

// Made here in batches, each batch dropped on another thread while the next
// is made: the way a queue thread runs and drops the commands others insert.
// Batches travel through a one-place mailbox, so the hand-over costs little
// beside the objects themselves and both threads make and drop at once.
template <class T> void acrossThreads(benchmark::State& state)
{
  constexpr int kBatch = 64;
  struct Batch
  {
    T* objects[kBatch];
  };
  Batch batches[2];
  alignas(64) std::atomic<Batch*> mailbox{nullptr};
  alignas(64) std::atomic<bool> stop{false};
  std::thread dropper([&] {
    for (;;) {
      if (Batch* batch = mailbox.load(std::memory_order_acquire)) {
        for (T* object : batch->objects) delete object;
        mailbox.store(nullptr, std::memory_order_release);
        continue;
      }
      if (stop.load(std::memory_order_acquire)) return;
      __builtin_ia32_pause();
    }
  });
  int filling = 0;
  int made = 0;
  for (auto _ : state) {
    batches[filling].objects[made] = new T;
    if (++made < kBatch) continue;
    while (mailbox.load(std::memory_order_acquire)) __builtin_ia32_pause();
    mailbox.store(&batches[filling], std::memory_order_release);
    filling ^= 1;
    made = 0;
  }
  while (mailbox.load(std::memory_order_acquire)) __builtin_ia32_pause();
  stop.store(true, std::memory_order_release);
  dropper.join();
  for (int i = 0; i < made; ++i) delete batches[filling].objects[i];
}
BENCHMARK(acrossThreads<PooledCmd>)->Name("new here, delete on another thread/ours")->UseRealTime();
BENCHMARK(acrossThreads<HeapCmd>)->Name("new here, delete on another thread/peer:global new")->UseRealTime();

} // namespace
