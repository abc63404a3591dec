// Zr::Lock: a named lock object that can wait in an idle pool between uses.
// It is itself a queue element, so an idle pool is a Fifo of locks with no
// node of its own.
#pragma once

#include "core/Fifo.h"
#include "libOS/Ptr.h"
#include "libOS/iSync.h"

namespace Zr {

class Lock : public FifoElement
{
public:
  // The name is kept by pointer and must outlive the lock.
  explicit Lock(const char* name = nullptr) noexcept;
  // Leaves the section if it is still held by this lock.
  ~Lock() override;

  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  // Makes the critical section; call once before the first lock().
  void init();

  // Waits until the caller holds the lock, which its holder may enter again.
  // Returns 1.
  virtual int enterCriticalSection();
  // Leaves once. Returns 1.
  virtual int leaveCriticalSection();

  int lock() { return enterCriticalSection(); }
  int unlock() { return leaveCriticalSection(); }

  const char* name() const noexcept { return name_; }
  // True between an enter and the next leave.
  bool isLocked() const noexcept { return locked_; }
  // With debug on, each operation writes a line to the debug console.
  void setDebug(bool debug) noexcept { debug_ = debug; }

private:
  const char* name_;
  bool locked_;
  bool debug_;
  Zr::Ptr<iCriticalSection> section_;
};

} // namespace Zr
