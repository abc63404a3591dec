// Synchronisation objects of the thread manager: events, semaphores, mutexes
// and critical sections. Each is an iObject held by Zr::Ptr, and each is safe
// to use from any thread.
#pragma once

#include "libOS/iObject.h"

// The results every wait gives.
class iWaitable : public iObject
{
public:
  enum eWaitResult
  {
    eWaitFailed = 0,   // the object is unusable (for example a broken named event)
    eWaitTimeout = 1,  // the time ran out; the object was not signalled
    eWaitAbandoned = 2,
    eWaitSuccess = 3,  // the object was signalled (and taken, for auto-reset kinds)
  };

  // Milliseconds value meaning "wait for ever".
  static constexpr unsigned int kInfinite = ~0U;
};

// A manual- or auto-reset event. An auto-reset event releases one waiter per
// set and resets itself; a manual-reset event stays set until reset.
class iThreadEvent : public iWaitable
{
public:
  // Signals the event. Returns false only for a broken named event.
  virtual bool set() = 0;
  // Clears the event.
  virtual bool reset() = 0;
  // Waits until the event is set or `milliseconds` pass (kInfinite: for ever;
  // 0: just test). An auto-reset event is consumed by a successful wait.
  virtual eWaitResult wait(unsigned int milliseconds) = 0;
  // True if the event was made with a name and is shared with other processes.
  virtual bool isNamed() const = 0;
};

// A counting semaphore with a maximum.
class iSemaphore : public iWaitable
{
public:
  // Takes one unit, waiting up to `milliseconds` for one to be free.
  virtual eWaitResult wait(unsigned int milliseconds) = 0;
  // Gives `count` units back. Returns false, changing nothing, if that would
  // pass the maximum.
  virtual bool release(unsigned int count = 1) = 0;
  // Units free at this moment; for diagnostics.
  virtual unsigned int available() const = 0;
};

// A mutex that may be locked again by its owner, with a time-out on locking.
class iMutex : public iWaitable
{
public:
  virtual eWaitResult lock(unsigned int milliseconds) = 0;
  // Returns false if the caller does not own the mutex.
  virtual bool unlock() = 0;
};

// A recursive critical section that knows which thread owns it.
class iCriticalSection : public iObject
{
public:
  virtual void enter() = 0;
  // Enters without waiting; false if another thread owns the section.
  virtual bool tryEnter() = 0;
  // Leaves once; the section is free when every enter has been left. A leave
  // by a thread that does not own it does nothing and returns false.
  virtual bool leave() = 0;
  // The owning thread's id (as the thread manager reports ids), 0 when free.
  virtual unsigned int owner() const = 0;
  // How many times the owner has entered; 0 when free.
  virtual unsigned int depth() const = 0;
};
