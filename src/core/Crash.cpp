#include "core/Crash.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "core/Service.h"
#include "deferred/SystemWatchdog.h"
#include "libOS/OS.h"
#include "libzr/Shutdown.h"
#include "libzr/Strings.h"
#include "logging/DebugConsole.h"
#include "settings/RegistryConfig.h"

namespace {

std::atomic<int> crashFlag{0};
// Plain: postExceptionShutdown is expected on one crashing thread.
int shutdownEntries = 0;
std::atomic<int> splatEntries{0};
clock_t sessionStart = 0;
bool sessionStartSet = false;
std::atomic<unsigned int> preferredSplatThread{0};
int exceptionsInProgress = 0;

constexpr int kMaxShutdownAttempts = 9;

// The deliberate invalid write. Both the address and the store are volatile:
// with a plain store the compiler may treat the write as undefined and drop
// it. The sanitizers are told to let it through to the fault handling.
__attribute__((no_sanitize("undefined"), noinline)) void storeAtZero(int value)
{
  volatile int* volatile zero = nullptr;
  *zero = value;
}

} // namespace

int except_init()
{
  service_disable();
  if (!sessionStartSet) {
    sessionStart = clock();
    sessionStartSet = true;
  }
  service_enable();
  return 0;
}

int get_crash_flag()
{
  return crashFlag.load();
}

void set_crash_flag(int flag)
{
  crashFlag.store(flag);
}

void formatSessionLength(long seconds, char* buffer, unsigned int size)
{
  if (!buffer || size == 0) return;
  if (seconds < 60) {
    std::snprintf(buffer, size, "%ld seconds", seconds);
  } else if (seconds >= 3600) {
    const long hours = seconds / 3600;
    const long minutes = (seconds % 3600) / 60;
    // "0 minute" is the established wording: only more than one takes "s".
    std::snprintf(buffer, size, "%ld hour%s, %ld minute%s", hours, hours == 1 ? "" : "s", minutes,
                  minutes > 1 ? "s" : "");
  } else {
    const long minutes = seconds / 60;
    std::snprintf(buffer, size, "%ld minute%s", minutes, minutes == 1 ? "" : "s");
  }
}

void getExitTimeStr(char* buffer)
{
  if (!buffer) return;
  // Fixed buffers and the reentrant calls: this runs on the crash path.
  char when[64] = "";
  const time_t now = time(nullptr);
  tm local;
  if (localtime_r(&now, &local) && asctime_r(&local, when)) {
    for (char* p = when; *p; ++p)
      if (*p == '\n' && p[1] == 0) *p = ' ';
  }
  char session[64];
  formatSessionLength(static_cast<long>((clock() - sessionStart) / CLOCKS_PER_SEC), session, sizeof session);
  std::snprintf(buffer, 128, "Time: %s (Session : %s)\n", when, session);
}

void qor_splat(const char* message)
{
  if (exceptionInProgress() != 0) return;
  if (++splatEntries != 1) std::exit(1); // another thread is already splatting

  if (!message) message = "";
  char timeText[128];
  getExitTimeStr(timeText);
  std::printf("\n*********************************\nQOR_SPLAT: %s\n%s\n", message, timeText);
  std::fflush(stdout);
  herc_printf("QOR: %s\n", message);
  callSplatCallbacks(message);
  // A crash dump shows 1234 at address zero.
  storeAtZero(1234);
}

void qa_splat(const char* message, int)
{
  if (GlobalConfig().getValue("QA Splat", false, ""))
    qor_splat(message);
  else
    logStacktrace(message);
}

void logStacktrace(const char* title)
{
  // Skips this function's own frame.
  const std::vector<LightweightString<char>> frames = OS()->debug()->getStackTrace(1);
  if (frames.empty()) return;
  Log("---- %s -------\n", title ? title : "");
  for (const LightweightString<char>& frame : frames) Log("%s\n", frame.c_str());
  Log("-----------------------\n");
}

void showError(const char* text, bool showDialog)
{
  SystemWatchdog::beginLifeSupport();
  if (showDialog) OS()->messageBox()->show(Zr::WStringFromAscii(text ? text : ""), L"Korvane");
  SystemWatchdog::endLifeSupport();
}

void postExceptionShutdown()
{
  if (shutdownEntries != 0) {
    ++shutdownEntries;
    return;
  }
  herc_printf("about to set crash flag and exit\n");
  set_crash_flag(1);
  shutdownEntries = 1;
  // A throwing callback leaves executeCallbacks; calling again goes on with
  // the callbacks after it.
  for (int attempt = 0; attempt < kMaxShutdownAttempts; ++attempt) {
    try {
      Shutdown::executeCallbacks(Shutdown::eCrash);
      break;
    } catch (...) {
    }
  }
  std::exit(1);
}

void setPreferredThreadContextForSplat()
{
  preferredSplatThread.store(OS()->threadMgr()->currentThreadId());
}

void pollForSplatInMainThreadContext() {}

__attribute__((no_sanitize("undefined"), noinline)) void crash()
{
  volatile char* volatile zero = nullptr;
  *zero = 0;
}

void dbgDumpCurrentMemoryAllocs()
{
  Log("Dumping current memory allocs to debugger. This will take a while...\n");
  OS()->allocator()->dumpAllocations(1);
  Log("(done)\n");
}

int& exceptionInProgress()
{
  return exceptionsInProgress;
}
