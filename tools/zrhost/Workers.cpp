// Co-processes sharing work: workers add pooled items to one total under an
// RWLock while a checker, as a reader, checks that the total always matches
// what the workers say they added. A reader let in during a write, or two
// writers at once, shows up as a mismatch.
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

#include "Report.h"
#include "Steps.h"
#include "zrbase.h"

namespace zrhost {

namespace {

constexpr int kMostWorkers = 16;
// Items a worker takes from the pool at a time.
constexpr int kBatch = 8;
// How long the workers get to stop once asked.
constexpr double kStopTimeoutMs = 10000;

// A work item, pooled: after warm-up, making and dropping one takes no heap call.
struct WorkItem : ZrDC::DefaultPoolBase<WorkItem>
{
  std::uint64_t value = 0;
};

struct SharedWork
{
  RWLock lock{RWLock::ePreferWriters, 100, 1};
  int workers = 0;
  // Guarded by lock: the sum of every item added, and each worker's count.
  std::uint64_t total = 0;
  std::uint64_t counts[kMostWorkers] = {};

  std::atomic<bool> stop{false};
  std::atomic<int> finished{0};
  std::atomic<std::uint64_t> items{0}; // for the progress line only
  std::atomic<std::uint64_t> checks{0};
  std::atomic<std::uint64_t> mismatches{0};
};

struct WorkerArg
{
  SharedWork* work;
  int index;
};

// Item `round` of worker w; distinct per worker, so that one worker's item
// counted for another breaks the sum.
std::uint64_t itemValue(int w, std::uint64_t round)
{
  return std::uint64_t(w + 1) * 1000003u + round;
}

// What the total must be after each worker added counts[w] items.
std::uint64_t expectedTotal(const SharedWork& work)
{
  std::uint64_t sum = 0;
  for (int w = 0; w < work.workers; ++w) {
    const std::uint64_t n = work.counts[w];
    sum += std::uint64_t(w + 1) * 1000003u * n + n * (n + 1) / 2;
  }
  return sum;
}

// Reads the total and the counts as a reader; true when they agree.
bool consistent(SharedWork& work)
{
  work.lock.enterAsReader();
  const bool ok = work.total == expectedTotal(work);
  work.lock.leaveAsReader();
  return ok;
}

iThread::eExecRC worker(void* arg)
{
  const WorkerArg& me = *static_cast<WorkerArg*>(arg);
  SharedWork& work = *me.work;
  // At least one batch each, however short the run.
  for (std::uint64_t done = 0;; done += kBatch) {
    // Items are made and dropped outside the lock, so every worker takes
    // from and gives to the one pool at once; an item handed to two workers
    // would break the sum.
    WorkItem* items[kBatch];
    for (int k = 0; k < kBatch; ++k) {
      items[k] = new WorkItem;
      items[k]->value = itemValue(me.index, done + k + 1);
    }
    work.lock.enterAsWriter();
    for (WorkItem* item : items) work.total += item->value;
    work.counts[me.index] = done + kBatch;
    work.lock.leaveAsWriter();
    for (WorkItem* item : items) delete item;
    work.items.fetch_add(kBatch, std::memory_order_relaxed);
    // Writers that never pause would keep a reader out of a lock that
    // prefers them.
    if (done % 512 == 0) OS()->threadMgr()->sleep(0);
    if (work.stop.load(std::memory_order_relaxed)) break;
  }
  work.finished.fetch_add(1);
  return iThread::eOK;
}

// Runs until co_shutdown ends it.
iThread::eExecRC checker(void* arg)
{
  SharedWork& work = *static_cast<SharedWork*>(arg);
  for (;;) {
    if (!consistent(work)) work.mismatches.fetch_add(1);
    work.checks.fetch_add(1);
    KillMyselfCheck();
    OS()->threadMgr()->sleep(1);
  }
}

double now()
{
  return OS()->timer()->getMilliseconds();
}

// On a terminal one line, rewritten; elsewhere a line at each quarter.
class Progress
{
public:
  Progress(double seconds, const SharedWork& work) : seconds_(seconds), work_(work), tty_(::isatty(1) == 1) {}

  void update(double elapsedMs, bool last)
  {
    const unsigned long long items = work_.items.load();
    if (tty_) {
      std::printf("\rprogress: %5.1f s of %g s, %llu items", elapsedMs / 1000, seconds_, items);
      if (last) std::printf("\n");
      std::fflush(stdout);
      return;
    }
    // The end has a line of its own, whichever quarters a slow clock skipped.
    const int quarter = last ? 4 : seconds_ > 0 ? int(elapsedMs / (seconds_ * 250)) : 0;
    if (last) shown_ = 3;
    for (; shown_ < quarter && shown_ < 4; ++shown_)
      std::printf("progress: %d%% (%.2f s), %llu items\n", (shown_ + 1) * 25, elapsedMs / 1000, items);
  }

private:
  double seconds_;
  const SharedWork& work_;
  bool tty_;
  int shown_ = 0;
};

} // namespace

unsigned short runWorkers(int workers, double seconds)
{
  section("co-processes");
  static SharedWork work;
  static WorkerArg args[kMostWorkers];
  work.workers = workers < kMostWorkers ? workers : kMostWorkers;
  for (int w = 0; w < work.workers; ++w) {
    args[w] = {&work, w};
    const std::string name = "zrhost worker " + std::to_string(w + 1);
    co_create(worker, name.c_str(), 0, &args[w], -1, 0);
  }
  const unsigned short checkerId = co_create(checker, "zrhost checker", 0, &work, -1, 0);
  std::printf("started %d workers and a checker for %g s\n", work.workers, seconds);
  co_print();

  Progress progress(seconds, work);
  const double start = now();
  for (double elapsed = 0; elapsed < seconds * 1000; elapsed = now() - start) {
    progress.update(elapsed, false);
    OS()->threadMgr()->sleep(100);
  }
  work.stop.store(true);
  progress.update(now() - start, true);

  const double stopAsked = now();
  while (work.finished.load() < work.workers && now() - stopAsked < kStopTimeoutMs)
    OS()->threadMgr()->sleep(5);
  if (work.finished.load() < work.workers)
    fail("stopping the workers", std::to_string(work.workers - work.finished.load()) + " of " +
                                     std::to_string(work.workers) + " still run after 10 s");
  std::printf("asked the workers to stop: %d of %d stopped\n", work.finished.load(), work.workers);

  std::uint64_t added = 0;
  for (int w = 0; w < work.workers; ++w) added += work.counts[w];
  if (!consistent(work))
    fail("the shared total", "it is " + std::to_string(work.total) + ", the counts make it " +
                                 std::to_string(expectedTotal(work)));
  if (work.mismatches.load() != 0)
    fail("the checker",
         "it saw the total and the counts disagree " + std::to_string(work.mismatches.load()) + " times");
  std::printf("%llu pooled items added under the RWLock; the total %llu matches every worker's count\n",
              (unsigned long long)added, (unsigned long long)work.total);
  std::printf("the checker read %llu times as a reader and saw no mismatch; it runs on until co_shutdown\n",
              (unsigned long long)work.checks.load());
  std::printf("pooled work items now idle: %u\n", Zr::Private::StackHolder<WorkItem>::getStack()->count());
  return checkerId;
}

} // namespace zrhost
