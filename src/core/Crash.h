// The crash path: the one way the program declares itself dead (qor_splat),
// its soft form for test staff (qa_splat), the crash flag, and the shutdown
// after an unhandled exception on a thread.
#pragma once

// Stores the session's start once, under the service lock; later calls
// change nothing. Always 0.
int except_init();

// The crash flag: 0 until a fatal path or the host sets it. Code that reads
// it skips the ordinary politeness of shutdown.
int get_crash_flag();
void set_crash_flag(int flag);

// Writes "Time: <local time> (Session : <length>)\n" into buffer, which must
// hold 128 bytes. The session is the processor time since except_init.
void getExitTimeStr(char* buffer);
// The session length as getExitTimeStr words it: "59 seconds", "1 minute",
// "2 hours, 1 minute". Writes at most size bytes, terminated.
void formatSessionLength(long seconds, char* buffer, unsigned int size);

// Prints the banner on standard output and the debug console, runs the splat
// callbacks and ends the process by storing 1234 at address zero. A second
// thread arriving here leaves through exit(1); while a thread's exception is
// being handled it returns at once. Needs no heap.
void qor_splat(const char* message);

// qor_splat when the setting "QA Splat" is true, else logs the stack under
// the message and returns. The integer is not used.
void qa_splat(const char* message, int n);

// Logs "---- <title> -------", one line per frame, and a closing rule.
void logStacktrace(const char* title);

// Shows text in a message box titled "Korvane" when showDialog is true, with
// the watchdog's life support held so that a waiting dialog is not a hang.
void showError(const char* text, bool showDialog);

// After an unhandled exception: sets the crash flag, runs the shutdown
// callbacks as a crash, and exits with 1. A nested call returns at once.
void postExceptionShutdown();

// Kept for callers in other modules: the first stores the current thread's
// id, which nothing reads; the second does nothing.
void setPreferredThreadContextForSplat();
void pollForSplatInMainThreadContext();

// Debugging commands: a deliberate one-byte write at address zero, and a dump
// of the allocator's live blocks.
void crash();
void dbgDumpCurrentMemoryAllocs();

// How many exceptions the thread layer's handler has taken in; it only ever
// rises, so that once a crash is being handled qor_splat stays out of the way.
int& exceptionInProgress();
