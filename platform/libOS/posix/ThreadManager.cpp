// The thread manager of OS(): threads, waits, synchronisation objects and
// protected execution, over pthreads.
#include <pthread.h>
#include <time.h>

#include <cerrno>

#include "libOS/posix/FaultGuard.h"
#include "libOS/posix/Services.h"
#include "libOS/posix/Sync.h"
#include "libOS/posix/Thread.h"
#include "libOS/posix/ThreadId.h"

namespace posix {
namespace {

class PosixThreadManager final : public iThreadManager
{
public:
  Zr::Ptr<iThread> createThread(const iThread::Params& params) override { return PosixThread::start(params); }

  int protectedExecute(iThread::LaunchFn fn, void* arg, iThread::ExceptionHandler handler) override
  {
    if (!fn) return -1;
    return runGuarded(fn, arg, handler);
  }

  unsigned int currentThreadId() const override { return currentTid(); }

  Zr::Ptr<iThread> currentThread() override { return Zr::Ptr<iThread>(PosixThread::current()); }

  [[noreturn]] void endCurrentThread(int exitCode) override
  {
    if (PosixThread* thread = PosixThread::current()) thread->setExitCodeOnUnwind(exitCode);
    // Unwinds the stack (glibc's forced unwind), so destructors run and
    // the thread's guard and end bookkeeping see it go.
    pthread_exit(nullptr);
  }

  void sleep(unsigned int milliseconds) override
  {
    if (milliseconds == iWaitable::kInfinite) {
      for (;;) pause();
    }
    timespec left{time_t(milliseconds / 1000), long(milliseconds % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
  }

  Zr::Ptr<iCriticalSection> createCriticalSection(const char*) override { return makeCriticalSection(); }

  Zr::Ptr<iSemaphore> createSemaphore(unsigned int initial, unsigned int maximum) override
  {
    return makeSemaphore(initial, maximum);
  }

  Zr::Ptr<iThreadEvent> createEvent(bool manualReset, bool initialState, const char* name) override
  {
    if (name && *name) return makeNamedEvent(manualReset, initialState, name);
    return makeLocalEvent(manualReset, initialState);
  }

  Zr::Ptr<iMutex> createMutex(bool initiallyOwned) override { return makeMutex(initiallyOwned); }

  iWaitable::eWaitResult waitForAny(const std::vector<Zr::Ptr<iThreadEvent>>& events,
                                    unsigned int milliseconds, unsigned int* index) override
  {
    return waitForAnyEvent(events, milliseconds, index);
  }
};

} // namespace

iThreadManager* threadManager()
{
  // Never destroyed: threads may still call in while the process exits.
  static PosixThreadManager* manager = new PosixThreadManager;
  return manager;
}

} // namespace posix
