#include "libzr/Shutdown.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

namespace {

struct Registration
{
  Shutdown::Callback plain;
  Shutdown::ContextCallback withContext;
  void* context;
  int order;
  uint64_t sequence; // registration order within equal orders

  bool names(Shutdown::Callback fn) const { return plain == fn && !withContext; }
  bool names(Shutdown::ContextCallback fn, void* ctx) const { return withContext == fn && context == ctx; }
};

class Registry
{
public:
  static Registry& instance()
  {
    // Never destroyed: shutdown may run from an exit handler after static
    // destructors have started.
    static Registry* registry = new Registry;
    return *registry;
  }

  void add(Registration r)
  {
    std::lock_guard<std::mutex> guard(lock_);
    r.sequence = nextSequence_++;
    for (Registration& existing : list_) {
      const bool same = r.withContext ? existing.names(r.withContext, r.context) : existing.names(r.plain);
      if (same) {
        existing = r;
        return;
      }
    }
    list_.push_back(r);
  }

  template <class... Key> bool remove(Key... key)
  {
    std::lock_guard<std::mutex> guard(lock_);
    for (auto it = list_.begin(); it != list_.end(); ++it) {
      if (it->names(key...)) {
        list_.erase(it);
        return true;
      }
    }
    return false;
  }

  // Takes the first registration off the list; false when none is left.
  bool takeFirst(Registration& out)
  {
    std::lock_guard<std::mutex> guard(lock_);
    if (list_.empty()) return false;
    auto first = list_.begin();
    for (auto it = list_.begin(); it != list_.end(); ++it) {
      if (it->order < first->order || (it->order == first->order && it->sequence < first->sequence))
        first = it;
    }
    out = *first;
    list_.erase(first);
    return true;
  }

  unsigned int size()
  {
    std::lock_guard<std::mutex> guard(lock_);
    return unsigned(list_.size());
  }

  std::atomic<bool> exiting{false};

private:
  std::mutex lock_;
  std::vector<Registration> list_;
  uint64_t nextSequence_ = 0;
};

// The splat table is fixed so that a fatal error needs no heap. The caller
// of the table takes no lock; adding and removing serialise on a mutex that is
// never held across a callback.
constexpr unsigned kMaxSplatCallbacks = 64;
std::atomic<SplatCallback> splatTable[kMaxSplatCallbacks];
std::atomic<unsigned> splatUsed{0}; // slots ever filled, a prefix of the table
std::mutex splatWriter;

} // namespace

void Shutdown::addCallback(Callback fn, int order)
{
  if (!fn) return;
  Registry::instance().add(Registration{fn, nullptr, nullptr, order, 0});
}

void Shutdown::addCallback(ContextCallback fn, void* context, int order)
{
  if (!fn) return;
  Registry::instance().add(Registration{nullptr, fn, context, order, 0});
}

bool Shutdown::removeCallback(Callback fn)
{
  return Registry::instance().remove(fn);
}

bool Shutdown::removeCallback(ContextCallback fn, void* context)
{
  return Registry::instance().remove(fn, context);
}

void Shutdown::executeCallbacks(eExitType type)
{
  Registry& registry = Registry::instance();
  registry.exiting.store(true);
  Registration next{};
  while (registry.takeFirst(next)) {
    if (next.withContext)
      next.withContext(type, next.context);
    else
      next.plain(type);
  }
}

bool Shutdown::isExiting()
{
  return Registry::instance().exiting.load();
}

unsigned int Shutdown::pendingCallbacks()
{
  return Registry::instance().size();
}

bool addSplatCallback(SplatCallback fn)
{
  if (!fn) return false;
  std::lock_guard<std::mutex> guard(splatWriter);
  const unsigned used = splatUsed.load();
  for (unsigned i = 0; i < used; ++i)
    if (splatTable[i].load() == fn) return true;
  if (used == kMaxSplatCallbacks) {
    // Close the gaps left by removals, keeping the order, to make room.
    unsigned kept = 0;
    for (unsigned i = 0; i < used; ++i) {
      SplatCallback cb = splatTable[i].load();
      if (cb) splatTable[kept++].store(cb);
    }
    for (unsigned i = kept; i < used; ++i) splatTable[i].store(nullptr);
    splatUsed.store(kept);
    if (kept == kMaxSplatCallbacks) return false;
  }
  const unsigned slot = splatUsed.load();
  splatTable[slot].store(fn);
  splatUsed.store(slot + 1);
  return true;
}

bool removeSplatCallback(SplatCallback fn)
{
  if (!fn) return false;
  std::lock_guard<std::mutex> guard(splatWriter);
  const unsigned used = splatUsed.load();
  for (unsigned i = 0; i < used; ++i) {
    if (splatTable[i].load() == fn) {
      splatTable[i].store(nullptr);
      return true;
    }
  }
  return false;
}

void callSplatCallbacks(const char* message)
{
  const unsigned used = splatUsed.load();
  for (unsigned i = 0; i < used && i < kMaxSplatCallbacks; ++i) {
    SplatCallback fn = splatTable[i].load();
    if (!fn) continue;
    try {
      fn(message);
    } catch (...) {
      // A failing callback must not keep the others from running.
    }
  }
}
