#include "threads/RWLock.h"

#include <atomic>

#include "core/Assert.h"
#include "libOS/Atomics.h"
#include "libOS/OS.h"
#include "libOS/iThread.h"

namespace {

constexpr unsigned int kForever = iWaitable::kInfinite;

int load(const int& counter) noexcept
{
  return std::atomic_ref<int>(const_cast<int&>(counter)).load();
}

Zr::Ptr<iSemaphore> makeSemaphore(unsigned int count)
{
  return OS()->threadMgr()->createSemaphore(count, count);
}

bool taken(iWaitable::eWaitResult result) noexcept
{
  return result == iWaitable::eWaitSuccess;
}

// One side of the lock seen from its own point of view: readers and writers
// enter by the same steps with the gates and counters exchanged.
struct Side
{
  iSemaphore& slots;
  iSemaphore& ownGate;
  iSemaphore& otherGate;
  int& in;
  int& waiting;
};

bool enterSide(iSemaphore& mutex, Side side, const int& otherIn, const int& otherWaiting, bool waitingBlocks,
               bool tryOnly)
{
  if (tryOnly) {
    if (!taken(side.slots.wait(0))) return false;
  } else {
    side.slots.wait(kForever);
  }
  mutex.wait(kForever);

  int blockers = load(otherIn);
  if (waitingBlocks) blockers += load(otherWaiting);

  if (blockers < 1) {
    OSAtomics::increment(&side.in);
    // Closes the other side's gate if it is open; never blocks.
    side.otherGate.wait(0);
    mutex.release();
    return true;
  }
  if (tryOnly) {
    side.slots.release();
    mutex.release();
    return false;
  }

  OSAtomics::increment(&side.waiting);
  side.otherGate.wait(0);
  mutex.release();
  side.ownGate.wait(kForever);

  // Woken by the baton: mutex is held for us by whoever opened the gate.
  OSAtomics::increment(&side.in);
  if (OSAtomics::decrement(&side.waiting) > 0)
    side.ownGate.release();
  else
    mutex.release();
  return true;
}

// The common tail of a leave, with mutex held: the last one out opens the
// other side's gate, and if anyone sleeps there the baton goes with it.
void leaveSide(iSemaphore& mutex, Side side, const int& otherWaiting)
{
  side.slots.release();
  if (OSAtomics::decrement(&side.in) == 0) {
    const int sleepers = load(otherWaiting);
    side.otherGate.release();
    if (sleepers > 0) return;
  }
  mutex.release();
}

} // namespace

RWLock::RWLock(ePrioritisation prioritisation, unsigned int maxReaders, unsigned int maxWriters)
    : mutex_(makeSemaphore(1)), readGate_(makeSemaphore(1)), writeGate_(makeSemaphore(1)),
      readerSlots_(makeSemaphore(maxReaders)), writerSlots_(makeSemaphore(maxWriters)), readersIn_(0),
      readersWaiting_(0), writersIn_(0), writersWaiting_(0), prioritisation_(prioritisation)
{}

RWLock::~RWLock()
{
  const iWaitable::eWaitResult ret = mutex_->wait(250);
  ZR_ASSERT(ret == iThreadEvent::eWaitSuccess, "misc/rwlock line 315");
  ZR_ASSERT(readersIn_ == 0, "misc/rwlock line 317");
  ZR_ASSERT(readersWaiting_ == 0, "misc/rwlock line 318");
  ZR_ASSERT(writersIn_ == 0, "misc/rwlock line 319");
  ZR_ASSERT(writersWaiting_ == 0, "misc/rwlock line 320");
  writerSlots_ = nullptr;
  readerSlots_ = nullptr;
  writeGate_ = nullptr;
  readGate_ = nullptr;
  mutex_ = nullptr;
}

bool RWLock::enterAsReader(bool tryOnly)
{
  Side side{*readerSlots_, *readGate_, *writeGate_, readersIn_, readersWaiting_};
  return enterSide(*mutex_, side, writersIn_, writersWaiting_, prioritisation_ == ePreferWriters, tryOnly);
}

void RWLock::leaveAsReader()
{
  mutex_->wait(kForever);
  if (load(readersIn_) < 1) Zr::assertionFailed("readersIn_ > 0", "misc/rwlock line 139");
  Side side{*readerSlots_, *readGate_, *writeGate_, readersIn_, readersWaiting_};
  leaveSide(*mutex_, side, writersWaiting_);
}

bool RWLock::enterAsWriter(bool tryOnly)
{
  Side side{*writerSlots_, *writeGate_, *readGate_, writersIn_, writersWaiting_};
  return enterSide(*mutex_, side, readersIn_, readersWaiting_, prioritisation_ == ePreferReaders, tryOnly);
}

void RWLock::leaveAsWriter()
{
  if (load(readersIn_) != 0) Zr::assertionFailed("readersIn_ == 0", "misc/rwlock line 257");
  mutex_->wait(kForever);
  if (load(writersIn_) < 1) Zr::assertionFailed("writersIn_ > 0", "misc/rwlock line 265");
  Side side{*writerSlots_, *writeGate_, *readGate_, writersIn_, writersWaiting_};
  leaveSide(*mutex_, side, readersWaiting_);
}

int RWLock::readersIn() const noexcept
{
  return load(readersIn_);
}

int RWLock::readersWaiting() const noexcept
{
  return load(readersWaiting_);
}

int RWLock::writersIn() const noexcept
{
  return load(writersIn_);
}

int RWLock::writersWaiting() const noexcept
{
  return load(writersWaiting_);
}
