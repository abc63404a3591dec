#include "libzr/NamedObjectsNamespace.h"

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace {

// The compiler marks names of types local to one module with a leading '*';
// the name proper follows.
const char* plainTypeName(const std::type_info& type)
{
  const char* name = type.name();
  return name[0] == '*' ? name + 1 : name;
}

} // namespace

namespace Zr {

struct NamedObjectsNamespace::State
{
  struct Entry
  {
    std::string typeName;
    std::atomic<void*> object{nullptr};
    // Guards the making: one maker at a time, the others wait for its result.
    std::mutex lock;
    std::condition_variable done;
    bool making = false;
  };

  // Entries are never removed, so a pointer to one stays good without the lock.
  mutable std::mutex lock;
  std::unordered_map<std::string, std::unique_ptr<Entry>> entries;
};

NamedObjectsNamespace::NamedObjectsNamespace() : state_(new State) {}

NamedObjectsNamespace::~NamedObjectsNamespace()
{
  delete state_;
}

NamedObjectsNamespace& NamedObjectsNamespace::getGlobalNamespaceInstance()
{
  // Never destroyed: modules unloaded late, and threads still running at
  // exit, may still ask for their objects.
  static NamedObjectsNamespace* instance = new NamedObjectsNamespace;
  return *instance;
}

void* NamedObjectsNamespace::findOrCreate_(const std::type_info& type, const char* name, Factory factory)
{
  if (!name) name = type.name();
  const char* typeName = plainTypeName(type);

  State::Entry* entry;
  {
    std::lock_guard<std::mutex> guard(state_->lock);
    std::unique_ptr<State::Entry>& slot = state_->entries[name];
    if (!slot) {
      slot = std::make_unique<State::Entry>();
      slot->typeName = typeName;
    }
    entry = slot.get();
  }

  if (entry->typeName != typeName) {
    std::printf("assertion failed %s at %s\n", "typeName matches the registered type",
                "libzr/NamedObjectsNamespace findOrCreate_");
    std::fflush(stdout);
    return nullptr;
  }

  if (void* object = entry->object.load(std::memory_order_acquire)) return object;
  if (!factory) return nullptr;

  // The maker runs outside the registry's lock, so that it may ask for other
  // names; racers for this name wait on the entry alone. A maker that throws
  // or gives null leaves the entry empty for the next request.
  std::unique_lock<std::mutex> guard(entry->lock);
  for (;;) {
    if (void* object = entry->object.load(std::memory_order_acquire)) return object;
    if (!entry->making) break;
    entry->done.wait(guard);
  }
  entry->making = true;
  guard.unlock();
  void* made = nullptr;
  try {
    made = factory();
  } catch (...) {
    guard.lock();
    entry->making = false;
    entry->done.notify_all();
    throw;
  }
  guard.lock();
  entry->object.store(made, std::memory_order_release);
  entry->making = false;
  entry->done.notify_all();
  return made;
}

void* NamedObjectsNamespace::find(const char* name) const
{
  if (!name) return nullptr;
  std::lock_guard<std::mutex> guard(state_->lock);
  auto it = state_->entries.find(name);
  return it == state_->entries.end() ? nullptr : it->second->object.load(std::memory_order_acquire);
}

} // namespace Zr
