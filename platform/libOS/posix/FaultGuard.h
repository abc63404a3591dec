// The guard under which managed threads and protected calls run: a C++
// exception or a fatal signal (SIGSEGV, SIGBUS, SIGFPE, SIGILL) inside it goes
// to an exception handler with the entry, the argument and the stack.
#pragma once

#include "libOS/iThread.h"

namespace posix {

// Runs fn(arg) on the calling thread under a new, innermost guard. Returns
// what fn returned, or -1 after a fault, once `handler` has seen it (with no
// handler the report goes to standard error). A thread ending itself
// (pthread_exit) unwinds through the guard untouched.
int runGuarded(iThread::LaunchFn fn, void* arg, iThread::ExceptionHandler handler);

// Gives the calling thread an alternate signal stack, unless it has one, so
// that a stack overflow can still be reported. The stack is freed when the
// thread ends.
void ensureAltSignalStack();

} // namespace posix
