#include "threads/Coprocess.h"

#include <loki/Singleton.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>

#include "core/Assert.h"
#include "core/Config.h"
#include "core/Crash.h"
#include "core/Service.h"
#include "keys/CommandRegistrar.h"
#include "libOS/OS.h"
#include "libzr/CriticalSection.h"
#include "logging/DebugConsole.h"

namespace {

enum eRowState
{
  eDead = 0,
  eRunning = 1,
  eBeingKilled = 2,
};

struct CoProcessDesc
{
  LightweightString<char> name;
  std::atomic<int> state{eDead};
  iThread::LaunchFn entry = nullptr;
  void* arg = nullptr;
  int priority = 0;
  int affinity = 0;
  std::atomic<unsigned int> tid{0};
  Zr::Ptr<iThread> thread; // guarded by the table's lock
  std::atomic<bool> killRequested{false};
};

// Rows live in blocks of kMaxProcesses that never move, so readers may use a
// row without the lock however far the table grows; the block pointers and
// the published count are atomic for the same reason. An id is 16 bits, so
// the table never holds more than 65536 rows.
constexpr unsigned int kBlockRows = kMaxProcesses;
constexpr unsigned int kMaxBlocks = 65536 / kBlockRows;

class ProcessTable
{
public:
  ProcessTable() : lock_("process table") { blocks_[0].store(new CoProcessDesc[kBlockRows]); }
  ~ProcessTable()
  {
    for (auto& block : blocks_) delete[] block.load();
  }

  unsigned int size() const { return count_.load(std::memory_order_acquire); }

  // Rows below size() only.
  CoProcessDesc& row(unsigned int id) const
  {
    return blocks_[id / kBlockRows].load(std::memory_order_acquire)[id % kBlockRows];
  }

  // Adds a running row and returns its id. The row is filled before the count
  // publishes it.
  unsigned int append(const LightweightString<char>& name, iThread::LaunchFn entry, void* arg, int priority)
  {
    CriticalSection::Guard guard(lock_);
    const unsigned int id = count_.load(std::memory_order_relaxed);
    if (id == kMaxBlocks * kBlockRows) {
      // A 16-bit id cannot name another row.
      lock_.leave();
      qor_splat("co_create: process table full");
      std::abort();
    }
    if (id % kBlockRows == 0 && !blocks_[id / kBlockRows].load())
      blocks_[id / kBlockRows].store(new CoProcessDesc[kBlockRows]);
    CoProcessDesc& desc = row(id);
    desc.name = name;
    desc.entry = entry;
    desc.arg = arg;
    desc.priority = priority;
    count_.store(id + 1, std::memory_order_release);
    Zr::softAssert(id + 1 < kMaxProcesses, "processes_.size() < kMaxProcesses", "misc/switch line 161");
    return id;
  }

  CriticalSection& lock() { return lock_; }

private:
  CriticalSection lock_;
  std::array<std::atomic<CoProcessDesc*>, kMaxBlocks> blocks_{};
  std::atomic<unsigned int> count_{0};
};

using TableHolder = Loki::SingletonHolder<ProcessTable, Loki::CreateUsingNew, Loki::DeletableSingleton,
                                          Loki::SingleThreaded, Loki::Mutex>;

ProcessTable& table()
{
  return TableHolder::Instance();
}

std::atomic<bool> initialised{false};
std::atomic<bool> deinitialised{false};

thread_local unsigned int currentId = 0;

// The main thread has no iThread of its own to keep these; threads that
// co_create did not make share it too, hence the lock.
std::mutex& mainThreadObjectsLock()
{
  static std::mutex lock;
  return lock;
}

std::map<LightweightString<char>, Zr::Ptr<iObject>>& getMainThreadObjectMap()
{
  static std::map<LightweightString<char>, Zr::Ptr<iObject>> objects;
  return objects;
}

iThread::eExecRC threadLaunch(void* arg)
{
  const unsigned int id = static_cast<unsigned short>(reinterpret_cast<uintptr_t>(arg));
  currentId = id;
  CoProcessDesc& desc = table().row(id);
  desc.state.store(eRunning);
  return desc.entry(desc.arg);
}

// The row that a fault belongs to: a co-process's thread reports threadLaunch
// with its id; a protected call reports its own function and argument.
CoProcessDesc* findFaultingRow(const iThread::Exception& e)
{
  ProcessTable& t = table();
  CriticalSection::Guard guard(t.lock());
  const unsigned int count = t.size();
  for (unsigned int id = 0; id < count; ++id) {
    CoProcessDesc& desc = t.row(id);
    if (desc.entry == e.entry && desc.arg == e.arg) return &desc;
  }
  if (e.entry == &threadLaunch) {
    const uintptr_t id = reinterpret_cast<uintptr_t>(e.arg);
    if (id < count) return &t.row(static_cast<unsigned int>(id));
  }
  return nullptr;
}

void threadExceptionHandler(const iThread::Exception& e)
{
  // Only the first fault of the run is reported, whichever thread it is on.
  if (std::atomic_ref<int>(exceptionInProgress()).fetch_add(1) != 0) return;
  if (CoProcessDesc* desc = findFaultingRow(e)) {
    desc->state.store(eDead);
    Log("\n\n***************** EXCEPTION (%s) *****************\n\n", desc->name.c_str());
  } else {
    Log("\n\n***************** EXCEPTION *****************\n\n");
  }
  for (const LightweightString<char>& line : e.stack) Log("%s\n", line.c_str());
  postExceptionShutdown();
}

bool ownsRow(unsigned int id)
{
  return id == currentId;
}

// The debugging commands, bound to no key and without display names. They
// are internal: a user who runs "_Crash" by mistake loses the session, so
// neither is ever listed among the commands a user can bind.
const CommandRegistrar dumpAllocsCommand("_DumpCurrentMemoryAllocs", &dbgDumpCurrentMemoryAllocs, UIString(),
                                         UIString(), CommandMap::eCmdScopeInternal, MapItem());
const CommandRegistrar crashCommand("_Crash", &crash, UIString(), UIString(), CommandMap::eCmdScopeInternal,
                                    MapItem());

} // namespace

void co_init()
{
  if (initialised.load()) return;
  // Two threads' first co_create must not make two roots.
  static std::mutex initLock;
  std::lock_guard<std::mutex> once(initLock);
  if (initialised.load()) return;
  if (deinitialised.load()) qor_splat("co_init: Attempt to reinitialise co_process module");
  currentId = 0;
  ProcessTable& t = table();
  const unsigned int id = t.append("$ root", nullptr, nullptr, 0);
  CoProcessDesc& root = t.row(id);
  root.tid.store(OS()->threadMgr()->currentThreadId());
  root.state.store(eRunning);
  Shutdown::addCallback(&co_shutdown, 700);
  initialised.store(true);
}

LightweightString<char> coAffinityKey(const char* name)
{
  char key[256];
  std::snprintf(key, sizeof key, "affinity.%s", name ? name : "");
  for (char* p = key; *p; ++p)
    if (*p == ' ') *p = '_';
  return key;
}

unsigned short co_create(iThread::eExecRC (*fn)(void*), const char* name, int priority, void* arg,
                         int defaultAffinity, unsigned int stackSize)
{
  if (!initialised.load()) co_init();
  if (deinitialised.load())
    qor_splat("co_create: Attempt to create process after co-process deinitialisation");

  const LightweightString<char> rowName(name ? name : "");
  ProcessTable& t = table();
  const unsigned short id =
      static_cast<unsigned short>(t.append(rowName, fn, arg, mapThreadPriority(priority)));
  CoProcessDesc& desc = t.row(id);
  desc.state.store(eRunning);

  // The key is read so that an override shows up in the log, but a process is
  // never pinned: the system places every thread.
  (void)config_int(coAffinityKey(rowName.c_str()).c_str(), defaultAffinity);
  desc.affinity = -1;

  iThread::Params params;
  params.launch = &threadLaunch;
  params.arg = reinterpret_cast<void*>(uintptr_t(id));
  params.stackSize = stackSize;
  params.name = rowName.c_str();
  params.handler = &threadExceptionHandler;
  Zr::Ptr<iThread> thread = OS()->threadMgr()->createThread(params);
  if (!thread) qor_splat("OS().threadMgr().createThread() failed\n");
  {
    CriticalSection::Guard guard(t.lock());
    desc.thread = thread;
  }
  if (!thread->setPriority(desc.priority)) qor_splat("thread->setPriority() failed\n");
  desc.tid.store(thread->getId());

  if (desc.affinity == -1) return id;
  if (!thread->setAffinity(static_cast<unsigned int>(desc.affinity))) {
    Log("Failed to set process affinity (%s)\n", rowName.c_str());
    desc.affinity = 1;
    if (!thread->setAffinity(1)) qor_splat("thread->setAffinity() failed\n");
  }
  return id;
}

void co_kill(unsigned short id)
{
  if (!initialised.load()) qor_splat("co_kill: Attempt to kill process before co-process initialisation");
  ProcessTable& t = table();
  if (deinitialised.load() || id >= t.size()) return;
  CoProcessDesc& desc = t.row(id);
  int expected = eRunning;
  // Of two racing kills only one gets past here.
  if (!desc.state.compare_exchange_strong(expected, eBeingKilled)) return;
  desc.killRequested.store(true);

  Zr::Ptr<iThread> thread;
  {
    CriticalSection::Guard guard(t.lock());
    thread = desc.thread;
  }
  // A thread that does not end in time is abandoned.
  if (!ownsRow(id) && thread) thread->waitForEnd(get_crash_flag() ? 50 : 200);
  {
    CriticalSection::Guard guard(t.lock());
    desc.thread = Zr::Ptr<iThread>();
  }
  desc.state.store(eDead);
}

void co_shutdown(Shutdown::eExitType)
{
  if (!initialised.load() || deinitialised.load()) return;
  ProcessTable& t = table();
  for (unsigned int id = 0; id < t.size(); ++id) {
    if (ownsRow(id)) continue;
    CoProcessDesc& desc = t.row(id);
    if (desc.state.load() != eRunning) continue;
    // System processes are ended by their owners' own shutdown callbacks.
    if (desc.name.c_str()[0] == '$') continue;
    co_kill(static_cast<unsigned short>(id));
  }
  deinitialised.store(true);
  if (currentId < t.size()) t.row(currentId).state.store(eDead);
}

unsigned int co_pid()
{
  return currentId;
}

bool isMainThread()
{
  return (co_pid() & 0xffff) == 0;
}

Zr::Ptr<iThread> coThreadGet(unsigned short id)
{
  ProcessTable& t = table();
  if (id >= t.size()) return Zr::Ptr<iThread>();
  CriticalSection::Guard guard(t.lock());
  return t.row(id).thread;
}

unsigned int coThreadId(unsigned short id)
{
  ProcessTable& t = table();
  if (id >= t.size()) return 0;
  const CoProcessDesc& desc = t.row(id);
  return desc.state.load() == eDead ? 0 : desc.tid.load();
}

void coDebugPrint(unsigned short id)
{
  ProcessTable& t = table();
  if (id >= t.size()) return;
  const CoProcessDesc& desc = t.row(id);
  Log("%s (%d)\n", desc.name.c_str(), int(desc.tid.load()));
}

void co_print(const Cmd::Context&)
{
  co_print();
}

void co_print()
{
  ProcessTable& t = table();
  LogBoth("proc(id) : priority state tid(dec/hex) name\n");
  LogBoth("-------------------------------------------\n");
  for (unsigned int id = 0; id < t.size(); ++id) {
    const CoProcessDesc& desc = t.row(id);
    const int state = desc.state.load();
    if (state == eDead) continue;
    const unsigned int tid = desc.tid.load();
    LogBoth("proc(%02d) : %02d %c %03d/%02x %s\n", int(id), desc.priority, state == eRunning ? 'R' : '?',
            int(tid), tid, desc.name.c_str());
  }
  LogBoth("\n");
}

void KillMyselfCheck()
{
  ProcessTable& t = table();
  if (currentId >= t.size()) return;
  if (!t.row(currentId).killRequested.load()) return;
  // Never end a thread inside the service lock: a later check catches it.
  iThreadManager* threads = OS()->threadMgr();
  if (who_owns_service_lock() == threads->currentThreadId()) return;
  threads->endCurrentThread(0);
}

Zr::Ptr<iObject> getThreadLocalObject(const LightweightString<char>& key)
{
  if (co_pid() != 0) {
    if (Zr::Ptr<iThread> self = OS()->threadMgr()->currentThread()) return self->getThreadLocalObject(key);
  }
  std::lock_guard<std::mutex> guard(mainThreadObjectsLock());
  auto& objects = getMainThreadObjectMap();
  const auto found = objects.find(key);
  return found == objects.end() ? Zr::Ptr<iObject>() : found->second;
}

void setThreadLocalObject(const LightweightString<char>& key, Zr::Ptr<iObject> object)
{
  if (co_pid() != 0) {
    if (Zr::Ptr<iThread> self = OS()->threadMgr()->currentThread()) {
      self->setThreadLocalObject(key, object);
      return;
    }
  }
  std::lock_guard<std::mutex> guard(mainThreadObjectsLock());
  getMainThreadObjectMap()[key] = object;
}

int protectedExecute(iThread::eExecRC (*fn)(void*), void* arg)
{
  OS()->threadMgr()->protectedExecute(fn, arg, &threadExceptionHandler);
  return 0;
}

void remote_exception_fn()
{
  std::atomic_ref<int>(exceptionInProgress()).fetch_add(1);
  qor_splat("Remotely raised exception");
}

int mapThreadPriority(int priority)
{
  static constexpr int kManagerPriority[] = {0, 1, 2, 3, 4, 5, 5};
  if (priority < -2 || priority > 4) return 2;
  return kManagerPriority[priority + 2];
}
