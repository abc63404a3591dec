// The two locking policies that the command and queue templates take as a
// parameter: ThreadSafe serialises through a CriticalSection, NoLocking
// compiles to nothing.
#pragma once

#include "libzr/CriticalSection.h"

namespace ZrDC::ThreadSafetyTraits {

class ThreadSafe
{
public:
  // With `checked`, entering again on the thread that is inside throws
  // instead of nesting.
  explicit ThreadSafe(bool checked = false) noexcept : checked_(checked), inside_(false) {}

  ThreadSafe(const ThreadSafe&) = delete;
  ThreadSafe& operator=(const ThreadSafe&) = delete;

  // Enters the section and marks the caller inside. When checked and the
  // caller is inside already, prints an assertion, leaves and throws
  // std::runtime_error. Thread-safe.
  void enter();
  // Clears the inside mark and leaves the section.
  void leave();

  // Lets a holder step outside while keeping the section, so that work it
  // runs may enter again through a checked guard.
  void setInside(bool inside) noexcept { inside_ = inside; }
  bool isInside() const noexcept { return inside_; }
  bool isChecked() const noexcept { return checked_; }
  void setChecked(bool checked) noexcept { checked_ = checked; }

  // The section itself, for callers that lock without the inside mark.
  CriticalSection& section() noexcept { return section_; }

  // Holds the lock for the life of the guard.
  class Guard
  {
  public:
    explicit Guard(ThreadSafe& lock) : lock_(lock) { lock_.enter(); }
    ~Guard() { lock_.leave(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

  private:
    ThreadSafe& lock_;
  };

private:
  bool checked_;
  bool inside_;
  CriticalSection section_;
};

// The same operations as ThreadSafe, doing nothing: for objects that stay on
// one thread.
class NoLocking
{
public:
  explicit NoLocking(bool = false) noexcept {}
  void enter() noexcept {}
  void leave() noexcept {}
  void setInside(bool) noexcept {}
  bool isInside() const noexcept { return false; }
  bool isChecked() const noexcept { return false; }
  void setChecked(bool) noexcept {}

  class Guard
  {
  public:
    explicit Guard(NoLocking&) noexcept {}
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
  };
};

} // namespace ZrDC::ThreadSafetyTraits
