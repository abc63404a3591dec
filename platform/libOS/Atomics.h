// Atomic operations on plain machine words.
//
// Every reference count and lock-free link in the libraries changes through
// these calls. They are header-only so that a counted handle pays one atomic
// instruction and no function call. All operations are sequentially
// consistent: callers that publish memory through a link rely on that order.
#pragma once

#include <atomic>
#include <cstdint>

namespace OSAtomics {

// Adds one to *word and returns the new value.
inline unsigned int increment(unsigned int* word) noexcept
{
  return std::atomic_ref<unsigned int>(*word).fetch_add(1) + 1;
}

// Takes one from *word and returns the new value.
inline unsigned int decrement(unsigned int* word) noexcept
{
  return std::atomic_ref<unsigned int>(*word).fetch_sub(1) - 1;
}

// Signed forms for counters that may legitimately go below zero.
inline int increment(int* word) noexcept { return std::atomic_ref<int>(*word).fetch_add(1) + 1; }
inline int decrement(int* word) noexcept { return std::atomic_ref<int>(*word).fetch_sub(1) - 1; }

// Stores newValue in *word if it holds expected. Returns the value *word held
// before the call, so success is "result == expected".
inline unsigned int compareAndSwap(unsigned int* word, unsigned int newValue,
                                   unsigned int expected) noexcept
{
  std::atomic_ref<unsigned int>(*word).compare_exchange_strong(expected, newValue);
  return expected;
}

inline int compareAndSwap(int* word, int newValue, int expected) noexcept
{
  std::atomic_ref<int>(*word).compare_exchange_strong(expected, newValue);
  return expected;
}

// Pointer-wide compare-and-swap; returns the old value of *word.
inline void* compareAndSwapPointer(void** word, void* newValue, void* expected) noexcept
{
  std::atomic_ref<void*>(*word).compare_exchange_strong(expected, newValue);
  return expected;
}

// Reads a word with the same ordering as the writes above.
inline unsigned int load(const unsigned int* word) noexcept
{
  return std::atomic_ref<unsigned int>(*const_cast<unsigned int*>(word)).load();
}

// Reads a pointer-wide word with the same ordering as the writes above; the
// reader of a lock-free link sees what the writer stored before its swap.
inline void* loadPointer(void* const* word) noexcept
{
  return std::atomic_ref<void*>(*const_cast<void**>(word)).load();
}

// Reference-count names used by the counted handles.
inline unsigned int incRef(unsigned int* counter) noexcept { return increment(counter); }
inline unsigned int decRef(unsigned int* counter) noexcept { return decrement(counter); }

} // namespace OSAtomics
