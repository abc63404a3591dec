// Fault routing.
//
// Each guard is a frame on a per-thread stack of guards, holding the handler
// and a jump buffer. C++ exceptions are caught where the guard runs the
// function. Fatal signals come to one process-wide handler, installed once
// with SA_ONSTACK so that it also runs after a stack overflow: with a guard
// on the faulting thread it reports and jumps back to that guard; without one
// it hands the signal to whoever had it before (a sanitizer, say) or lets the
// default action end the process with a core.
#include "libOS/posix/FaultGuard.h"

#include <cxxabi.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <typeinfo>

#include "libOS/posix/Services.h"

namespace posix {
namespace {

struct Guard
{
  sigjmp_buf jump;
  iThread::LaunchFn entry;
  void* arg;
  iThread::ExceptionHandler handler;
  Guard* outer;
};

// Initial-exec, so that the signal handler reads it without a call that
// might allocate.
__thread Guard* tlsGuard __attribute__((tls_model("initial-exec"))) = nullptr;

// glibc's forced unwind (pthread_exit) has no exception object, so catching
// abi::__forced_unwind binds a null reference; the null check of the
// undefined-behaviour sanitizer is off in the functions that catch it.
#define ZR_CATCHES_FORCED_UNWIND __attribute__((no_sanitize("null")))

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
constexpr int kFatalSignalCount = sizeof kFatalSignals / sizeof kFatalSignals[0];
struct sigaction previousActions[kFatalSignalCount];
std::once_flag installOnce;

const char* signalName(int signal)
{
  switch (signal) {
  case SIGSEGV:
    return "SIGSEGV";
  case SIGBUS:
    return "SIGBUS";
  case SIGFPE:
    return "SIGFPE";
  case SIGILL:
    return "SIGILL";
  default:
    return "signal";
  }
}

// The address of a line "#3 0x7f12... name (lib+0x1234)", or 0.
uintptr_t frameAddress(const LightweightString<char>& line)
{
  const char* text = std::strstr(line.c_str(), "0x");
  return text ? uintptr_t(std::strtoull(text, nullptr, 16)) : 0;
}

ZR_CATCHES_FORCED_UNWIND void deliver(iThread::ExceptionHandler handler, const iThread::Exception& report)
{
  if (!handler) {
    for (const auto& line : report.stack) std::fprintf(stderr, "%s\n", line.c_str());
    return;
  }
  try {
    handler(report);
  } catch (abi::__forced_unwind&) {
    throw; // the handler ended its thread
  } catch (...) {
    // A handler's own exception has nowhere to go: the fault is reported.
  }
}

// The first line names the fault; the frames follow from the faulting
// instruction on (the frames of this handler and of the kernel's signal
// trampoline are dropped).
__attribute__((noinline)) void reportSignal(const Guard& guard, int signal, const siginfo_t* info,
                                            const void* context)
{
  iThread::Exception report;
  report.entry = guard.entry;
  report.arg = guard.arg;
  report.signal = signal;
  try {
    char head[96];
    std::snprintf(head, sizeof head, "signal %d (%s) at address 0x%llx", signal, signalName(signal),
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(info->si_addr)));
    report.stack.emplace_back(head);
    std::vector<LightweightString<char>> frames = posix::debug()->getStackTrace(0);
    const auto* uc = static_cast<const ucontext_t*>(context);
    const uintptr_t pc = uintptr_t(uc->uc_mcontext.gregs[REG_RIP]);
    size_t first = 0;
    while (first < frames.size() && frameAddress(frames[first]) != pc) ++first;
    if (first == frames.size()) first = 0;
    report.stack.insert(report.stack.end(), frames.begin() + long(first), frames.end());
  } catch (...) {
    // Out of memory in a fault: the handler still hears of it.
  }
  deliver(guard.handler, report);
}

void passOn(int signal, siginfo_t* info, void* context)
{
  int slot = 0;
  while (kFatalSignals[slot] != signal) ++slot;
  const struct sigaction previous = previousActions[slot];
  if (previous.sa_flags & SA_RESETHAND) {
    // The kernel would have reset a one-shot handler on entry; without that,
    // a handler that returns to re-run the fault would come back here for ever.
    std::memset(&previousActions[slot], 0, sizeof previousActions[slot]);
    previousActions[slot].sa_handler = SIG_DFL;
    sigaction(signal, &previousActions[slot], nullptr);
  }
  if ((previous.sa_flags & SA_SIGINFO) && previous.sa_sigaction) {
    previous.sa_sigaction(signal, info, context);
    return;
  }
  if (!(previous.sa_flags & SA_SIGINFO) && previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
    previous.sa_handler(signal);
    return;
  }
  // Default action, so that the process dies with a core. The signal is
  // blocked in here: the raise lands as soon as this handler returns, also
  // for a signal that did not come from a faulting instruction.
  struct sigaction fallback;
  std::memset(&fallback, 0, sizeof fallback);
  fallback.sa_handler = SIG_DFL;
  sigemptyset(&fallback.sa_mask);
  sigaction(signal, &fallback, nullptr);
  raise(signal);
}

void onFatalSignal(int signal, siginfo_t* info, void* context)
{
  Guard* guard = tlsGuard;
  if (!guard) {
    passOn(signal, info, context);
    return;
  }
  // Pop first: a fault inside the handler goes to the next guard out, or
  // ends the process.
  tlsGuard = guard->outer;
  reportSignal(*guard, signal, info, context);
  siglongjmp(guard->jump, 1);
}

void installSignalHandlers()
{
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_sigaction = &onFatalSignal;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  for (int i = 0; i < kFatalSignalCount; ++i) sigaction(kFatalSignals[i], &action, &previousActions[i]);
}

// The stack at the catch, headed by "C++ exception <type>[: <what>]"; an
// iTracedException brings the stack of its throw site instead.
__attribute__((noinline)) void describeCurrentException(iThread::Exception& report)
{
  const std::type_info* type = abi::__cxa_current_exception_type();
  LightweightString<char> head("C++ exception ");
  if (type) {
    int status = 0;
    char* demangled = abi::__cxa_demangle(type->name(), nullptr, nullptr, &status);
    head += status == 0 && demangled ? demangled : type->name();
    std::free(demangled);
  } else {
    head += "of unknown type";
  }

  const std::vector<LightweightString<char>>* tracedStack = nullptr;
  try {
    throw;
  } catch (const iTracedException& traced) {
    head += ": ";
    head += traced.message();
    tracedStack = &traced.stack();
  } catch (const std::exception& e) {
    head += ": ";
    head += e.what();
  } catch (...) {
  }

  report.stack.push_back(head);
  if (tracedStack) {
    // The object lives while this catch of the caller is active.
    report.stack.insert(report.stack.end(), tracedStack->begin(), tracedStack->end());
  } else {
    std::vector<LightweightString<char>> frames = posix::debug()->getStackTrace(1);
    report.stack.insert(report.stack.end(), frames.begin(), frames.end());
  }
}

ZR_CATCHES_FORCED_UNWIND __attribute__((noinline)) int runInside(Guard& guard, iThread::LaunchFn fn,
                                                                 void* arg)
{
  iThread::Exception report;
  try {
    const int result = fn(arg);
    tlsGuard = guard.outer;
    return result;
  } catch (abi::__forced_unwind&) {
    tlsGuard = guard.outer;
    throw;
  } catch (...) {
    tlsGuard = guard.outer;
    report.entry = guard.entry;
    report.arg = guard.arg;
    try {
      describeCurrentException(report);
    } catch (...) {
      // Out of memory while describing: report what there is.
    }
  }
  deliver(guard.handler, report);
  return -1;
}

// The alternate signal stack of a thread; freed when the thread ends.
class AltSignalStack
{
public:
  ~AltSignalStack()
  {
    if (!memory_) return;
    stack_t off;
    std::memset(&off, 0, sizeof off);
    off.ss_flags = SS_DISABLE;
    // A handler that calls exit() runs this on the alternate stack itself;
    // the kernel then refuses to disable it, and it must stay mapped.
    if (sigaltstack(&off, nullptr) == 0) release(memory_, size_);
  }

  void ensure()
  {
    if (checked_) return;
    checked_ = true;
    stack_t current;
    if (sigaltstack(nullptr, &current) != 0 || !(current.ss_flags & SS_DISABLE)) return;
    // The handler demangles, formats and calls the client's handler on this
    // stack: give it room. Pages are only committed when touched.
    const size_t page = size_t(sysconf(_SC_PAGESIZE));
    size_ = 256 * 1024 + size_t(sysconf(_SC_SIGSTKSZ));
    size_ = (size_ + page - 1) / page * page;
    void* memory = reuse();
    if (!memory) memory = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (memory == MAP_FAILED) return;
    stack_t stack;
    std::memset(&stack, 0, sizeof stack);
    stack.ss_sp = memory;
    stack.ss_size = size_;
    if (sigaltstack(&stack, nullptr) != 0) {
      release(memory, size_);
      return;
    }
    memory_ = memory;
  }

private:
  // Stacks of ended threads wait here for the next thread: a map and an
  // unmap per thread cost more than the rest of its start, and an unmap
  // interrupts every core to flush its address translations. All stacks of a
  // process have one size. Plain statics, so that a thread that ends during
  // exit still finds them.
  static constexpr int kCached = 16;
  static inline std::mutex cacheLock_;
  static inline void* cache_[kCached] = {};
  static inline int cached_ = 0;

  static void* reuse()
  {
    std::lock_guard<std::mutex> hold(cacheLock_);
    return cached_ > 0 ? cache_[--cached_] : nullptr;
  }

  static void release(void* memory, size_t size)
  {
    {
      std::lock_guard<std::mutex> hold(cacheLock_);
      if (cached_ < kCached) {
        cache_[cached_++] = memory;
        return;
      }
    }
    munmap(memory, size);
  }

  bool checked_ = false;
  void* memory_ = nullptr;
  size_t size_ = 0;
};

thread_local AltSignalStack tlsAltStack;

} // namespace

void ensureAltSignalStack()
{
  tlsAltStack.ensure();
}

int runGuarded(iThread::LaunchFn fn, void* arg, iThread::ExceptionHandler handler)
{
  std::call_once(installOnce, &installSignalHandlers);
  ensureAltSignalStack();
  Guard guard;
  guard.entry = fn;
  guard.arg = arg;
  guard.handler = handler;
  guard.outer = tlsGuard;
  // Back here with 1 after the signal handler has reported and popped the guard.
  if (sigsetjmp(guard.jump, 1) != 0) return -1;
  tlsGuard = &guard;
  return runInside(guard, fn, arg);
}

} // namespace posix
