// Co-processes: every long-lived thread of the editor is a row in one
// process-wide table, with a small id, a name, a priority and a kill flag,
// over a thread of the platform's thread manager. Id 0 is the thread that
// called co_init, the main thread, named "$ root"; a thread that co_create
// did not start reads co_pid() 0 too. A name beginning with "$" marks a
// system process, which co_shutdown leaves to its owner.
#pragma once

#include "libOS/LightweightString.h"
#include "libOS/Ptr.h"
#include "libOS/iObject.h"
#include "libOS/iThread.h"
#include "libzr/Shutdown.h"

namespace Cmd {
struct Context;
}

// Rows the table reserves; more still work, after an assertion.
constexpr unsigned int kMaxProcesses = 256;

// Sets up process 0 and registers co_shutdown at order 700. Later calls do nothing.
void co_init();
// Starts fn(arg) on a new thread with a row of its own and returns the row's id.
// Calls co_init if nobody has; fatal after co_shutdown, when the thread
// cannot be made, or when 65536 rows (every 16-bit id) are used up.
// stackSize 0 is the thread manager's default.
unsigned short co_create(iThread::eExecRC (*fn)(void*), const char* name, int priority, void* arg,
                         int defaultAffinity, unsigned int stackSize);
// Asks a process to end and waits a little for it (200 ms, 50 after a crash);
// of one's own id it only marks the row. Fatal before co_init.
void co_kill(unsigned short id);
// Kills every running process whose name does not begin with "$".
void co_shutdown(Shutdown::eExitType type);
// The caller's id: 0 on the main thread and on threads co_create did not make.
unsigned int co_pid();
bool isMainThread();
// The row's thread, empty out of range and for row 0.
Zr::Ptr<iThread> coThreadGet(unsigned short id);
// The row's OS thread id, 0 out of range or when the row is dead.
unsigned int coThreadId(unsigned short id);
// Logs "<name> (<tid>)" of a row.
void coDebugPrint(unsigned short id);
// Logs the table of running processes through LogBoth. The context form is
// the shape of a command function; it does not read the context.
void co_print(const Cmd::Context& context);
void co_print();
// Ends the calling thread if its row was killed and it does not hold the service lock.
void KillMyselfCheck();

// Thread-local objects by key, on co-processes and on the main thread alike.
Zr::Ptr<iObject> getThreadLocalObject(const LightweightString<char>& key);
void setThreadLocalObject(const LightweightString<char>& key, Zr::Ptr<iObject> object);

// Runs fn(arg) on the calling thread under the thread manager's exception
// guard, reporting a fault as a co-process's fault is reported. Returns 0.
int protectedExecute(iThread::eExecRC (*fn)(void*), void* arg);
// A fault raised on another thread's behalf: counts it and splats.
void remote_exception_fn();
// Priority -2..4 to the thread manager's 0..5; anything else as 0 (2).
int mapThreadPriority(int priority);
// The configuration key co_create reads for a name: "affinity.<name>" with
// every blank turned into '_'.
LightweightString<char> coAffinityKey(const char* name);
