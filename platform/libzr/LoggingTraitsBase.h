// LoggingTraitsBase, the base of an object pool's logging traits: counts what
// goes in and out of one pool and, when logging is on, writes a line to
// standard error per object popped or pushed:
//   pool <type>: pop <address> (free <count>)
//   pool <type>: push <address> (free <count>)
// Logging is on when setEnabled(true) was called, or, until then, when the
// environment variable ZR_POOL_LOG is "1" at the first event.
#pragma once

#include <atomic>

class LoggingTraitsBase
{
public:
  // typeName is kept as a pointer: pass a text that lives as long as the pool.
  explicit LoggingTraitsBase(const char* typeName) noexcept;

  // Switches the lines of every pool on or off. Thread-safe.
  static void setEnabled(bool enabled) noexcept;
  static bool enabled() noexcept;

  // The pool's hooks; `count` is the pool's free count as the pool reads it.
  // All are thread-safe.
  // Before taking an object: an empty free list means a heap allocation.
  void ltb_beforePop(unsigned long count) noexcept;
  // After taking `object`: counts it as out and writes the pop line.
  void ltb_afterPop(void* object, unsigned long count) noexcept;
  // Before giving `object` back: prints an assertion line for a null object
  // or a push with no object out (a double release).
  void ltb_beforePush(void* object, unsigned long count) noexcept;
  // After giving `object` back: counts it as in and writes the push line.
  void ltb_afterPush(void* object, unsigned long count) noexcept;

  const char* typeName() const noexcept { return typeName_; }
  // Objects taken, objects given back, pops that found the free list empty.
  unsigned long pops() const noexcept { return pops_.load(); }
  unsigned long pushes() const noexcept { return pushes_.load(); }
  unsigned long heapPops() const noexcept { return heapPops_.load(); }
  // Objects out of the pool now, and the most that were ever out at once.
  long outstanding() const noexcept { return outstanding_.load(); }
  long highWater() const noexcept { return highWater_.load(); }

private:
  const char* typeName_;
  std::atomic<unsigned long> pops_{0};
  std::atomic<unsigned long> pushes_{0};
  std::atomic<unsigned long> heapPops_{0};
  std::atomic<long> outstanding_{0};
  std::atomic<long> highWater_{0};
};
