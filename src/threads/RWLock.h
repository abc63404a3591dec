// RWLock: a reader-writer lock over the thread manager's semaphores, with a
// choice of whom to prefer when both sides want in.
#pragma once

#include "libOS/Ptr.h"
#include "libOS/iSync.h"

class RWLock
{
public:
  // Fixed underlying type: any value past 1 is legal and prefers neither.
  enum ePrioritisation : int
  {
    ePreferReaders = 0,
    ePreferWriters = 1,
    ePreferNeither = 2, // any other value behaves the same
  };

  // At most maxReaders readers and maxWriters writers are admitted at once.
  // Writers do not exclude one another beyond maxWriters: use 1 for an
  // exclusive writer.
  RWLock(ePrioritisation prioritisation, unsigned int maxReaders, unsigned int maxWriters);
  // Nobody may be in the lock or waiting for it; if someone is, an assertion
  // is printed and the lock is destroyed regardless.
  ~RWLock();

  RWLock(const RWLock&) = delete;
  RWLock& operator=(const RWLock&) = delete;

  // Enters as a reader. With tryOnly it gives up at once (false) when the
  // reader slots are used up or a writer blocks it; otherwise it waits and
  // returns true. Thread-safe.
  bool enterAsReader(bool tryOnly = false);
  // Leaves after a successful enterAsReader.
  void leaveAsReader();
  // Enters as a writer, as enterAsReader does for readers.
  bool enterAsWriter(bool tryOnly = false);
  // Leaves after a successful enterAsWriter.
  void leaveAsWriter();

  // The counters at this moment, for diagnostics; stale as soon as read.
  int readersIn() const noexcept;
  int readersWaiting() const noexcept;
  int writersIn() const noexcept;
  int writersWaiting() const noexcept;
  ePrioritisation prioritisation() const noexcept { return prioritisation_; }

private:
  // Guards the counters. A thread that wakes sleepers hands it on to them
  // still held, and the last one woken releases it.
  Zr::Ptr<iSemaphore> mutex_;
  // Waiting readers sleep here; closed while a writer is in or waits.
  Zr::Ptr<iSemaphore> readGate_;
  // Waiting writers sleep here; closed while a reader is in or waits.
  Zr::Ptr<iSemaphore> writeGate_;
  Zr::Ptr<iSemaphore> readerSlots_;
  Zr::Ptr<iSemaphore> writerSlots_;
  // Changed only through the atomics: woken waiters change them while the
  // baton, not their own wait, holds mutex_.
  int readersIn_;
  int readersWaiting_;
  int writersIn_;
  int writersWaiting_;
  ePrioritisation prioritisation_;
};
