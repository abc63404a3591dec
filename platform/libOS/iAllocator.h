// The allocator service of OS(): every block of the shared strings and of the
// write caches comes from here, so that its figures cover the whole library.
#pragma once

#include <cstddef>

class iAllocator
{
public:
  virtual ~iAllocator() = default;

  // A block of at least `bytes` bytes aligned for any type, or null when the
  // system has no memory. Thread-safe.
  virtual void* allocate(size_t bytes) = 0;

  // Grows or shrinks a block from allocate, keeping its head; null block means
  // allocate. On failure returns null and leaves the old block valid.
  virtual void* reallocate(void* block, size_t bytes) = 0;

  // Gives a block back; null does nothing.
  virtual void release(void* block) = 0;

  // One step of handing free memory back to the system. Returns true if
  // anything was handed back.
  virtual bool trim() = 0;

  // Hands back every free page the allocator holds.
  virtual void flush() = 0;

  // True while another trim could still hand memory back.
  virtual bool canDoMore() const = 0;

  // Bytes the allocator holds free for reuse.
  virtual size_t pooledBytes() const = 0;

  // The pooled figure above which a memory monitor should flush.
  virtual size_t poolLimit() const = 0;
  virtual void setPoolLimit(size_t bytes) = 0;

  // Bytes and blocks handed out through this service and not yet released.
  virtual size_t liveBytes() const = 0;
  virtual size_t liveBlocks() const = 0;

  // Writes a summary of the heap to standard error; level 1 and above add the
  // C library's per-arena report.
  virtual void dumpAllocations(int level) = 0;
};

// The allocator of OS(), reachable without the rest of the OS interface so
// that the string header does not pull every service in.
iAllocator* OSAllocator();
