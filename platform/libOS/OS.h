// OS(), the one object through which the libraries reach the platform.
//
// Every service is safe to use from any thread unless its comment says
// otherwise. Failures come back as false, null handles or error codes, never
// as exceptions. The object is made on first use and lives until exit.
#pragma once

#include "libOS/Atomics.h"
#include "libOS/iAllocator.h"
#include "libOS/iFile.h"
#include "libOS/iFileManager.h"
#include "libOS/iIOCompletionPort.h"
#include "libOS/iServices.h"
#include "libOS/iSettings.h"
#include "libOS/iStatusWindow.h"
#include "libOS/iSync.h"
#include "libOS/iThread.h"

class iOS
{
public:
  virtual ~iOS() = default;

  virtual iAllocator* allocator() = 0;
  virtual iThreadManager* threadMgr() = 0;
  virtual iFileManager* fileManager() = 0;
  virtual iRegistry* registry() = 0;
  virtual iTimer* timer() = 0;
  virtual iKeyboard* keyboard() = 0;
  virtual iDebug* debug() = 0;
  virtual iMessageBox* messageBox() = 0;
  virtual iLocations* locations() = 0;
  virtual iSystemInfo* systemInfo() = 0;

  // The atomic operations; header-only, see Atomics.h.
  struct AtomicsService
  {
    static unsigned int incRef(unsigned int* c) noexcept { return OSAtomics::incRef(c); }
    static unsigned int decRef(unsigned int* c) noexcept { return OSAtomics::decRef(c); }
    static unsigned int increment(unsigned int* w) noexcept { return OSAtomics::increment(w); }
    static unsigned int decrement(unsigned int* w) noexcept { return OSAtomics::decrement(w); }
    static int increment(int* w) noexcept { return OSAtomics::increment(w); }
    static int decrement(int* w) noexcept { return OSAtomics::decrement(w); }
    static unsigned int compareAndSwap(unsigned int* w, unsigned int n, unsigned int e) noexcept
    {
      return OSAtomics::compareAndSwap(w, n, e);
    }
    static int compareAndSwap(int* w, int n, int e) noexcept { return OSAtomics::compareAndSwap(w, n, e); }
    static void* compareAndSwapPointer(void** w, void* n, void* e) noexcept
    {
      return OSAtomics::compareAndSwapPointer(w, n, e);
    }
  };
  AtomicsService* atomics() noexcept
  {
    static AtomicsService service;
    return &service;
  }

  // A new status window, from the host's factory if one is set, else an
  // in-memory grid.
  virtual Zr::Ptr<iStatusWindow> createStatusWindow(const iStatusWindow::Params& params) = 0;
  // Installs the host's factory; an empty function restores the default.
  virtual void setStatusWindowFactory(StatusWindowFactory factory) = 0;

  // A new completion port with its worker threads.
  virtual Zr::Ptr<iIOCompletionPort> createCompletionPort() = 0;

  // Tells a supervising service manager that the process is alive: systemd's
  // watchdog when NOTIFY_SOCKET is set; nothing otherwise. Returns true if a
  // supervisor was told.
  virtual bool keepAlive() = 0;
};

// The platform object.
iOS* OS();
