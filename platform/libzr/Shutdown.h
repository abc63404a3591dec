// Shutdown, the process-wide registry of what must run when the program
// ends, by order number; and the splat callbacks that a fatal error runs.
#pragma once

class Shutdown
{
public:
  // Why the program is ending.
  enum eExitType
  {
    eNormal = 0,
    eCrash = 1, // after a fatal error or an unhandled exception
  };

  using Callback = void (*)(eExitType);
  using ContextCallback = void (*)(eExitType, void* context);

  // Registers fn to run at shutdown; lower orders run first, equal orders in
  // the order they were added. Adding a function that is already registered
  // moves it to the new order (behind others of that order): it runs once.
  // Thread-safe, also while callbacks run: a callback added during a run
  // runs in that run, even with an order below the one running.
  static void addCallback(Callback fn, int order);
  // The same with a context pointer handed to fn; fn and context together
  // name the registration.
  static void addCallback(ContextCallback fn, void* context, int order);

  // Takes fn off the list; returns false if it was not there. Thread-safe.
  static bool removeCallback(Callback fn);
  static bool removeCallback(ContextCallback fn, void* context);

  // Runs the callbacks in order. Each is taken off the list before it runs,
  // without any lock held, so that a callback may add or remove callbacks,
  // and nothing runs twice. An exception from a callback leaves this call;
  // calling again goes on with the rest. Thread-safe.
  static void executeCallbacks(eExitType type);

  // True from the first executeCallbacks on.
  static bool isExiting();

  // Callbacks registered and not yet run; for diagnostics.
  static unsigned int pendingCallbacks();
};

// What a fatal error hands to each splat callback: its message.
using SplatCallback = void (*)(const char* message);

// Registers fn to run on a fatal error; false when the fixed table of 64 is
// full or fn is null. A function already registered is not added again.
bool addSplatCallback(SplatCallback fn);
// Takes fn off the table; false if it was not there.
bool removeSplatCallback(SplatCallback fn);

// Runs every splat callback in the order registered, swallowing exceptions.
// It allocates nothing and takes no lock, so it works when the heap is suspect
// or another thread died holding a lock. Callable from any thread.
void callSplatCallbacks(const char* message);
