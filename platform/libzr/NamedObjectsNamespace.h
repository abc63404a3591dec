// Zr::NamedObjectsNamespace, the process-wide registry of objects by name.
//
// Each shared module that instantiates a template holds its own copy of the
// template's statics. Objects that must be one per process whatever the
// module (the free lists of the object pool, for example) are made through
// this registry instead: the first request for a name makes the object, and
// every later request, from any module or thread, gets the same one.
#pragma once

#include <atomic>
#include <typeinfo>

namespace Zr {

class NamedObjectsNamespace
{
public:
  using Factory = void* (*)();

  // The registry of the process. Never destroyed.
  static NamedObjectsNamespace& getGlobalNamespaceInstance();

  // The object registered under `name`, made by `factory` if there is none
  // yet. The factory runs at most once per name, even when threads race: the
  // others wait for it. If it throws, the exception leaves this call and the
  // next request tries again; so does a factory that gives null. A request for a name already made with
  // another type (types compared by name, as modules may hold distinct type_info objects for one type) prints
  // an assertion line and gives null. A factory must not ask for its own name. Objects are never deleted.
  // Thread-safe.
  void* findOrCreate_(const std::type_info& type, const char* name, Factory factory);

  // The object registered under `name`, or null; makes nothing. Thread-safe.
  void* find(const char* name) const;

  NamedObjectsNamespace(const NamedObjectsNamespace&) = delete;
  NamedObjectsNamespace& operator=(const NamedObjectsNamespace&) = delete;

private:
  NamedObjectsNamespace();
  ~NamedObjectsNamespace();

  struct State;
  State* state_;
};

namespace TypeManip {

// The factory that findOrCreate hands to the registry: a value-initialised T.
template <class T> struct TemplatedNew
{
  static void* new_() { return new T(); }
};

} // namespace TypeManip

namespace NamedObjects {

// Fills *slot with the process-wide T registered under `name` (by convention
// typeid(T).name()), making it on first request, and returns it. A slot
// already filled is returned as it is; null if the name holds another type.
// Threads may race on one slot: they all store the same object.
template <class T> T* findOrCreate(T** slot, const char* name)
{
  std::atomic_ref<T*> cell(*slot);
  if (T* known = cell.load(std::memory_order_acquire)) return known;
  T* object = static_cast<T*>(NamedObjectsNamespace::getGlobalNamespaceInstance().findOrCreate_(
      typeid(T), name, &TypeManip::TemplatedNew<T>::new_));
  if (object) cell.store(object, std::memory_order_release);
  return object;
}

// The same under the type's own name.
template <class T> T* findOrCreate(T** slot)
{
  return findOrCreate(slot, typeid(T).name());
}

} // namespace NamedObjects

} // namespace Zr
