#include "deferred/SystemWatchdog.h"

#include <loki/Singleton.h>

#include <atomic>
#include <mutex>

#include "libOS/OS.h"
#include "libzr/Shutdown.h"
#include "threads/Coprocess.h"

namespace {

constexpr char kHeartbeatEventName[] = "SpawnWatchdogHeartbeatEvent {C5681AE0-CD18-4828-84C9-DE6891CAFEAC}";
constexpr unsigned int kBeatIntervalMs = 500;

std::atomic<unsigned int> beats{0};

class SystemWatchdogInternal
{
public:
  SystemWatchdogInternal() : wake_(OS()->threadMgr()->createEvent(false, false, nullptr))
  {
    const unsigned short id = co_create(&launchThread, "$ Watchdog Life Support", 3, this, 3, 0);
    thread_ = coThreadGet(id);
    // One after co_shutdown, which leaves "$" processes to their owners.
    Shutdown::addCallback(&shutdownCallback, 701);
  }
  ~SystemWatchdogInternal()
  {
    Shutdown::removeCallback(&shutdownCallback);
    shutdown();
  }

  void hold()
  {
    if (holdCount_.fetch_add(1) + 1 == 1) wake_->set();
  }
  void release() { holdCount_.fetch_sub(1); }

  static SystemWatchdogInternal& instance();

private:
  static iThread::eExecRC launchThread(void* arg)
  {
    static_cast<SystemWatchdogInternal*>(arg)->run();
    return iThread::eOK;
  }

  void run()
  {
    while (running_.load()) {
      wake_->wait(iWaitable::kInfinite);
      while (running_.load() && holdCount_.load() >= 1) {
        SystemWatchdog::heartbeat();
        wake_->wait(kBeatIntervalMs);
      }
    }
  }

  void shutdown()
  {
    if (!running_.exchange(false)) return;
    wake_->set();
    if (thread_) thread_->waitForEnd(iWaitable::kInfinite);
  }

  static void shutdownCallback(Shutdown::eExitType) { instance().shutdown(); }

  Zr::Ptr<iThreadEvent> wake_;
  Zr::Ptr<iThread> thread_;
  std::atomic<int> holdCount_{0};
  std::atomic<bool> running_{true};
};

using Holder = Loki::SingletonHolder<SystemWatchdogInternal, Loki::CreateUsingNew, Loki::DeletableSingleton,
                                     Loki::SingleThreaded, Loki::Mutex>;

SystemWatchdogInternal& SystemWatchdogInternal::instance()
{
  // Loki's single-threaded holder must not be made by two threads at once.
  static std::once_flag made;
  std::call_once(made, [] { Holder::Instance(); });
  return Holder::Instance();
}

} // namespace

void SystemWatchdog::heartbeat()
{
  // Never destroyed: the life-support thread may still beat while the
  // process runs its exit-time destructors.
  static const Zr::Ptr<iThreadEvent>& event =
    *new Zr::Ptr<iThreadEvent>(OS()->threadMgr()->createEvent(true, true, kHeartbeatEventName));
  if (event) event->set();
  OS()->keepAlive();
  beats.fetch_add(1);
}

void SystemWatchdog::beginLifeSupport()
{
  SystemWatchdogInternal::instance().hold();
}

void SystemWatchdog::endLifeSupport()
{
  SystemWatchdogInternal::instance().release();
}

unsigned int SystemWatchdog::heartbeatCount()
{
  return beats.load();
}
