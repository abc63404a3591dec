// CriticalSection, the named recursive lock that the libraries enter and
// leave around shared state, over the thread manager's critical sections.
#pragma once

#include <atomic>

class iCriticalSection;

class CriticalSection
{
public:
  // Longest name kept, terminator included; longer names are cut.
  static constexpr unsigned int kNameSize = 64;

  // Constant-initialised for a literal name, so a global one may be used by
  // load-time code of any module before its own constructor has run. The
  // platform object is made on first use.
  constexpr explicit CriticalSection(const char* name = nullptr) noexcept : name_{}, section_(nullptr)
  {
    for (unsigned int i = 0; name && name[i] && i + 1 < kNameSize; ++i) name_[i] = name[i];
  }
  // Frees the platform object, unless a thread still holds it at exit.
  ~CriticalSection();

  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  // Waits until the calling thread owns the section. The owner may enter
  // again; each enter needs its leave. Thread-safe.
  void enter();
  // Enters if that needs no wait (free, or already owned by the caller).
  bool tryEnter();
  // Leaves once. False, changing nothing, if the caller is not the owner.
  bool leave();

  // The owning thread's id as the thread manager reports ids, 0 when free.
  unsigned int owner() const;
  // How many enters the owner has not yet left; 0 when free.
  unsigned int depth() const;
  // The name given at construction, for diagnostics.
  const char* name() const noexcept { return name_; }

  // Holds the section for the life of the guard.
  class Guard
  {
  public:
    explicit Guard(CriticalSection& section) : section_(section) { section_.enter(); }
    ~Guard() { section_.leave(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

  private:
    CriticalSection& section_;
  };

private:
  // The platform object, made on first call; null only if it cannot be made.
  iCriticalSection* section() const;

  char name_[kNameSize];
  mutable std::atomic<iCriticalSection*> section_;
};
