// Many threads on one pool: phases of concurrent pops and of concurrent
// pushes, a single taker beside many givers, and threads that take and give
// at once, which is where a stack without a version in its head word hands
// one object to two threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "HeapCounter.h"
#include "Zr/ZrPooledObject.h"

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int kScale = 8;
#else
constexpr int kScale = 1;
#endif

// Knows who made it; a second owner of the same memory overwrites the stamp.
template <int N> struct Stamped : ZrDC::DefaultPoolBase<Stamped<N>>
{
  static inline std::atomic<long> live{0};
  explicit Stamped(long owner) : stamp(owner) { live.fetch_add(1, std::memory_order_relaxed); }
  virtual ~Stamped() { live.fetch_sub(1, std::memory_order_relaxed); }
  long stamp;
  char payload[40] = {};
};

template <class T> Zr::LockFree::Stack<T>& stackOf()
{
  return *Zr::Private::StackHolder<T>::getStack();
}

// True when taking `n` objects of T and then one more took the heap only for
// the last: the count and the list agree.
template <class T> bool countMatchesTheList(unsigned int n)
{
  std::vector<T*> taken;
  taken.reserve(n + 1);
  const long news = pooltest::heapNews();
  for (unsigned int i = 0; i < n; ++i) taken.push_back(new T(-1));
  const bool noneFromHeap = pooltest::heapNews() == news;
  taken.push_back(new T(-1));
  const bool lastFromHeap = pooltest::heapNews() == news + 1;
  for (T* object : taken) delete object;
  return noneFromHeap && lastFromHeap;
}

TEST(PoolStress, ConcurrentTakersNeverShareAnObjectAndConcurrentGiversLoseNone)
{
  using T = Stamped<1>;
  constexpr int kThreads = 6;
  constexpr int kPerThread = 200;
  const int rounds = 300 / kScale;
  std::vector<std::vector<T*>> held(kThreads);
  std::vector<T*> all;
  std::atomic<int> failures{0};
  std::barrier<> sync(kThreads);

  auto worker = [&](int self) {
    for (int round = 0; round < rounds; ++round) {
      const long stamp = long(round) * kThreads + self;
      for (int i = 0; i < kPerThread; ++i) held[self].push_back(new T(stamp));
      sync.arrive_and_wait();
      if (self == 0) {
        all.clear();
        for (auto& objects : held) all.insert(all.end(), objects.begin(), objects.end());
        std::sort(all.begin(), all.end());
        if (std::adjacent_find(all.begin(), all.end()) != all.end()) ++failures;
        if (stackOf<T>().count() != 0) ++failures;
      }
      sync.arrive_and_wait();
      // Give back another thread's objects, so memory crosses threads.
      auto& theirs = held[(self + 1) % kThreads];
      const long theirStamp = long(round) * kThreads + (self + 1) % kThreads;
      for (T* object : theirs) {
        if (object->stamp != theirStamp) ++failures;
        delete object;
      }
      sync.arrive_and_wait();
      theirs.clear();
      if (self == 0 && stackOf<T>().count() != unsigned(kThreads * kPerThread)) ++failures;
      sync.arrive_and_wait();
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(worker, i);
  for (auto& thread : threads) thread.join();

  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(T::live.load(), 0);
  EXPECT_EQ(stackOf<T>().count(), unsigned(kThreads * kPerThread));
  EXPECT_TRUE(countMatchesTheList<T>(kThreads * kPerThread));
}

TEST(PoolStress, OneTakerBesideManyGiversNeverHandsOutALiveObject)
{
  using T = Stamped<2>;
  constexpr int kGivers = 3;
  const long total = 300000 / kScale;

  struct Inbox
  {
    std::mutex lock;
    std::deque<T*> objects;
  };
  std::vector<Inbox> inboxes(kGivers);
  std::atomic<bool> done{false};
  std::atomic<long> wrongStamps{0};
  std::atomic<long> given{0};

  auto giver = [&](int self) {
    Inbox& inbox = inboxes[self];
    std::vector<T*> batch;
    for (;;) {
      const bool finished = done.load();
      {
        std::lock_guard<std::mutex> guard(inbox.lock);
        batch.assign(inbox.objects.begin(), inbox.objects.end());
        inbox.objects.clear();
      }
      // Pushes run outside the lock, beside the taker's pops.
      for (T* object : batch) {
        if (object->stamp < 0 || object->stamp % kGivers != self) ++wrongStamps;
        object->stamp = -2;
        delete object;
        ++given;
      }
      if (finished && batch.empty()) return;
      if (batch.empty()) std::this_thread::yield();
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < kGivers; ++i) threads.emplace_back(giver, i);

  // The taker keeps a few objects of its own alive, so that the stack is
  // empty at times and full at others.
  std::vector<T*> kept;
  for (long n = 0; n < total; ++n) {
    T* object = new T(n);
    if (n % 7 == 0) {
      kept.push_back(object);
      if (kept.size() > 32) {
        for (T* mine : kept) delete mine;
        kept.clear();
      }
      continue;
    }
    Inbox& inbox = inboxes[n % kGivers];
    std::lock_guard<std::mutex> guard(inbox.lock);
    inbox.objects.push_back(object);
  }
  for (T* mine : kept) EXPECT_GE(mine->stamp, 0);
  for (T* mine : kept) delete mine;
  done = true;
  for (auto& thread : threads) thread.join();

  EXPECT_EQ(wrongStamps.load(), 0);
  EXPECT_EQ(T::live.load(), 0);
  EXPECT_GT(given.load(), 0);
  EXPECT_TRUE(countMatchesTheList<T>(stackOf<T>().count()));
}

TEST(PoolStress, ThreadsThatTakeAndGiveAtOnceNeverShareAnObject)
{
  // The pattern of the editor's workers: every thread makes and drops
  // objects at once. A stack whose head word could return to an old value
  // with a new link would hand one object to two threads here.
  using T = Stamped<4>;
  constexpr int kThreads = 4;
  constexpr int kHeld = 3;
  const long rounds = 150000 / kScale;
  std::atomic<long> shared{0};
  std::barrier<> start(kThreads);
  std::vector<std::thread> threads;
  for (int self = 0; self < kThreads; ++self)
    threads.emplace_back([&, self] {
      start.arrive_and_wait();
      T* held[kHeld];
      for (long round = 0; round < rounds; ++round) {
        const long stamp = round * kThreads + self;
        for (T*& object : held) object = new T(stamp);
        if (round % 64 == 0) std::this_thread::yield();
        for (T* object : held)
          if (object->stamp != stamp) ++shared;
        for (T* object : held) delete object;
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(shared.load(), 0);
  EXPECT_EQ(T::live.load(), 0);
  EXPECT_TRUE(countMatchesTheList<T>(stackOf<T>().count()));
}

TEST(PoolStress, ThreadsRacingForTheFirstUseOfATypeMeetOneStack)
{
  using T = Stamped<3>;
  constexpr int kThreads = 8;
  std::vector<void*> seen(kThreads);
  std::barrier<> start(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      delete new T(i);
      seen[i] = &stackOf<T>();
    });
  for (auto& thread : threads) thread.join();
  for (void* stack : seen) EXPECT_EQ(stack, seen[0]);
  EXPECT_EQ(T::live.load(), 0);
  EXPECT_TRUE(countMatchesTheList<T>(stackOf<T>().count()));
}

} // namespace
