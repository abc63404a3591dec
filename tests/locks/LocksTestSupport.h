// Small helpers for the lock tests: a thread that runs one job, and a
// bounded wait for a state another thread reaches.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace lockstest {

// Polls `condition` until it holds or ten seconds pass. The bound only
// turns a hang into a failure; nothing here measures speed.
inline bool eventually(const std::function<bool()>& condition)
{
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Runs a job on its own thread; done() tells whether it has returned.
class Job
{
public:
  explicit Job(std::function<void()> body)
      : thread_([this, body = std::move(body)] {
          body();
          done_.store(true);
        })
  {}
  ~Job() { join(); }
  void join()
  {
    if (thread_.joinable()) thread_.join();
  }
  bool done() const { return done_.load(); }

private:
  std::atomic<bool> done_{false};
  std::thread thread_;
};

// How many iterations stress loops run: fewer under the sanitizers, which
// slow every lock operation by an order of magnitude.
inline int stressScale(int normal)
{
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
  return normal / 8;
#else
  return normal;
#endif
}

} // namespace lockstest
