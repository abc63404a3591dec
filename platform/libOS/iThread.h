// Threads of the thread manager, and the thread manager itself.
#pragma once

#include <vector>

#include "libOS/LightweightString.h"
#include "libOS/iSync.h"

class iThread : public iObject
{
public:
  // What a thread function returns: 0 is normal, 999 an init failure. Other
  // values are the function's own.
  enum eExecRC
  {
    eOK = 0,
    eInitFailed = 999,
  };

  using LaunchFn = eExecRC (*)(void*);

  // What an exception handler receives: the entry and argument of the thread
  // (or of the protected call) that faulted, and the call stack, one line per
  // frame, headed by a line that names the fault.
  struct Exception
  {
    LaunchFn entry = nullptr;
    void* arg = nullptr;
    std::vector<LightweightString<char>> stack;
    int signal = 0;  // the fatal signal, or 0 for a C++ exception
  };

  using ExceptionHandler = void (*)(const Exception&);

  // How a thread is made.
  struct Params
  {
    LaunchFn launch = nullptr;
    void* arg = nullptr;
    unsigned int stackSize = 0;  // 0: the manager's default
    const char* name = nullptr;  // cut to the kernel's 15 characters
    ExceptionHandler handler = nullptr;
    unsigned int reserved = 0;   // must be 0
  };

  // The operating system's id of the thread.
  virtual unsigned int getId() const = 0;
  // The name it was made with (before any cut).
  virtual LightweightString<char> getName() const = 0;
  // Priority 0 (lowest) to 5 (highest), 2 normal. Values outside fail; a raise
  // that the system refuses for lack of privilege is not a failure, and
  // neither is a thread that has already ended.
  virtual bool setPriority(int priority) = 0;
  virtual int getPriority() const = 0;
  // Processors the thread may run on, one bit each; -1 (all bits) lets the
  // system choose. False if no bit names a processor of this machine.
  virtual bool setAffinity(unsigned int mask) = 0;
  // Waits for the thread function to return, or for the thread to end itself.
  virtual iWaitable::eWaitResult waitForEnd(unsigned int milliseconds) = 0;
  // True until the thread function has returned.
  virtual bool isRunning() const = 0;
  // The thread function's result, once it has ended.
  virtual int exitCode() const = 0;
  // Objects kept per thread under a name; an unknown key gives a null handle.
  virtual Zr::Ptr<iObject> getThreadLocalObject(const LightweightString<char>& key) = 0;
  // Stores or replaces; a null object removes the key.
  virtual void setThreadLocalObject(const LightweightString<char>& key, Zr::Ptr<iObject> object) = 0;
};

// Exceptions that carry the stack of the place that raised them. A thread's
// handler then gets that stack rather than the stack of the catch.
class iTracedException
{
public:
  virtual ~iTracedException() = default;
  virtual const char* kind() const noexcept = 0;
  virtual const char* message() const noexcept = 0;
  virtual const std::vector<LightweightString<char>>& stack() const noexcept = 0;
};

class iThreadManager
{
public:
  virtual ~iThreadManager() = default;

  // Starts a thread running params.launch(params.arg). A C++ exception or a
  // fatal signal (SIGSEGV, SIGBUS, SIGFPE, SIGILL) on it goes to
  // params.handler, then the thread ends. Null on failure.
  virtual Zr::Ptr<iThread> createThread(const iThread::Params& params) = 0;

  // Runs fn(arg) on the calling thread under the same guard as a managed
  // thread: a C++ exception or fatal signal goes to handler and the call
  // returns -1. Otherwise it returns what fn returned.
  virtual int protectedExecute(iThread::LaunchFn fn, void* arg, iThread::ExceptionHandler handler) = 0;

  // The calling thread's operating-system id; never 0.
  virtual unsigned int currentThreadId() const = 0;

  // The managed thread that is calling, or null on a thread the manager did not make.
  virtual Zr::Ptr<iThread> currentThread() = 0;

  // Ends the calling thread now, unwinding its stack. On a thread the manager
  // did not make it ends that thread just the same.
  [[noreturn]] virtual void endCurrentThread(int exitCode) = 0;

  virtual void sleep(unsigned int milliseconds) = 0;

  // A recursive critical section; the name is for diagnostics.
  virtual Zr::Ptr<iCriticalSection> createCriticalSection(const char* name = nullptr) = 0;

  // A semaphore holding `initial` of at most `maximum` units. Null if
  // initial > maximum or maximum is 0.
  virtual Zr::Ptr<iSemaphore> createSemaphore(unsigned int initial, unsigned int maximum) = 0;

  // An event; with a name it is shared with every process that opens the same
  // name (the first maker's reset kind and state win). Null on failure.
  virtual Zr::Ptr<iThreadEvent> createEvent(bool manualReset, bool initialState,
                                            const char* name) = 0;

  // A recursive mutex, owned by the caller at once if initiallyOwned.
  virtual Zr::Ptr<iMutex> createMutex(bool initiallyOwned) = 0;

  // Waits until any of the events is set or the time runs out. On success
  // *index (if given) is the position of the event that ended the wait; an
  // auto-reset event is consumed. An empty list fails.
  virtual iWaitable::eWaitResult waitForAny(const std::vector<Zr::Ptr<iThreadEvent>>& events,
                                            unsigned int milliseconds, unsigned int* index) = 0;
};
