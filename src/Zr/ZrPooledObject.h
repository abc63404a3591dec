// Per-type free lists for objects that are made and dropped at a high rate,
// often on threads that must not wait for the heap.
//
// A pooled object's memory, once taken from the heap, goes back only to the
// free list of its type and is reused for the next object of that type. There
// is one list per type in the whole process: every module holds its own copy
// of these templates, so the lists are found by the type's name in the
// process-wide registry of named objects.
//
// The lists are lock-free stacks of one word. A plain pointer there would
// let a popper that reads head and head's link, and is overtaken by others
// that pop and push so that head returns with a new link, succeed and install
// a stale link: the ABA hazard, under which one object goes to two threads
// (threads that make and drop objects at once meet it thousands of times a
// second). So the word also holds a version that every change of head
// advances, in the bits that an object's address leaves free: its alignment
// (8) and the 16 bits above the 48 of a user-space address on x86-64. The
// stack keeps its one-word width and its single-word compare-and-swap; a
// stale head would need 2^19 changes of head between a popper's read and its
// swap. Reading the link of an object that another thread has just popped is
// harmless because memory on a list never goes back to the heap.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <typeinfo>

#include "core/Assert.h"

#if defined(__SANITIZE_ADDRESS__)
#define ZR_POOL_LEAK_CHECKED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(leak_sanitizer)
#define ZR_POOL_LEAK_CHECKED 1
#endif
#endif
#if ZR_POOL_LEAK_CHECKED
#include <sanitizer/lsan_interface.h>
#endif
#include "libOS/Atomics.h"
#include "libzr/LoggingTraitsBase.h"
#include "libzr/NamedObjectsNamespace.h"

namespace Zr {

namespace LockFree {

template <class T> class Stack;

namespace Private {
template <class T> struct SLNodeAccessor;
}

// The base that gives a pooled object its link. The link is the stack's word
// while the object is on a free list, after its destructors have run, so it
// lives here, below every derived part, and no constructor, copy or
// destructor touches it.
template <class T> class SLNode
{
public:
  SLNode() noexcept {}
  SLNode(const SLNode&) noexcept {}
  SLNode& operator=(const SLNode&) noexcept { return *this; }

private:
  friend struct Private::SLNodeAccessor<T>;
  T* slNext_;
};

namespace Private {

// How a stack reaches the link of a T; specialised for types that carry the
// link elsewhere. The object may be destroyed when this runs, so the cast
// must not be checked against a dynamic type.
template <class T> struct SLNodeAccessor
{
  __attribute__((no_sanitize("vptr"))) static T** link(T* node) noexcept
  {
    return &static_cast<SLNode<T>*>(node)->slNext_;
  }
};

} // namespace Private

// A free list of T. Both operations are lock-free: a thread retries only when
// another has changed head meanwhile. Thread-safe, with the ABA hazard above.
//
// The stack sits alone on its cache line, so that threads that pop and push
// do not also fight over whatever the heap put beside it; the fields keep
// their places, so every module's copy of this code reads them alike.
template <class T> class alignas(64) Stack
{
public:
  // Takes the top object, or gives null when the list is empty.
  T* pop() noexcept
  {
    for (;;) {
      const Word word = loadHead();
      T* top = address(word);
      if (!top) return nullptr;
      T* next = loadLink(top);
      if (casHead(word, pack(next, word))) {
        OSAtomics::decrement(&count_);
        return top;
      }
    }
  }

  // Puts `object` on top. Its memory belongs to the list from here on.
  void push(T* object) noexcept
  {
    for (;;) {
      const Word word = loadHead();
      storeLink(object, address(word));
      if (casHead(word, pack(object, word))) break;
    }
    OSAtomics::increment(&count_);
  }

  // Objects on the list. It trails head by a moment under concurrent use.
  unsigned int count() const noexcept { return OSAtomics::load(&count_); }

  // The object the next pop would take, or null; for diagnostics only.
  T* top() const noexcept { return address(loadHead()); }

private:
  using Word = std::uintptr_t;
  // An address of a T: 8-aligned, below 2^48; it is kept shifted to the top
  // of the word, and the version fills the bits below.
  static constexpr unsigned kVersionBits = 19;
  static constexpr Word kVersionMask = (Word(1) << kVersionBits) - 1;

  static T* address(Word word) noexcept { return reinterpret_cast<T*>((word >> kVersionBits) << 3); }
  // `object` as the new head, one version after `previous`.
  static Word pack(T* object, Word previous) noexcept
  {
    static_assert(alignof(T) >= 8, "a pooled object's address must leave its low 3 bits free");
    return ((reinterpret_cast<Word>(object) >> 3) << kVersionBits) | ((previous + 1) & kVersionMask);
  }

  // Head and the links are read and written as single plain words; the
  // accesses name them atomic only so that the race detector knows the races
  // with concurrent pushes are intended. The compare-and-swap on head orders
  // them.
  Word loadHead() const noexcept
  {
    return reinterpret_cast<Word>(OSAtomics::loadPointer(reinterpret_cast<void* const*>(&head_)));
  }
  static T* loadLink(T* node) noexcept
  {
    return std::atomic_ref<T*>(*Private::SLNodeAccessor<T>::link(node)).load(std::memory_order_relaxed);
  }
  static void storeLink(T* node, T* next) noexcept
  {
    std::atomic_ref<T*>(*Private::SLNodeAccessor<T>::link(node)).store(next, std::memory_order_relaxed);
  }
  bool casHead(Word expected, Word desired) noexcept
  {
    void** word = reinterpret_cast<void**>(&head_);
    void* const before = reinterpret_cast<void*>(expected);
    return OSAtomics::compareAndSwapPointer(word, reinterpret_cast<void*>(desired), before) == before;
  }

  Word head_ = 0;
  unsigned int count_ = 0;
};

} // namespace LockFree

namespace Private {

// The name a process-wide object is registered under: its type's mangled
// name, without the mark the compiler puts on names local to one module.
template <class T> const char* registryName() noexcept
{
  const char* name = typeid(T).name();
  return name[0] == '*' ? name + 1 : name;
}

// Each module's way to the one process-wide stack of T. The pointer is a
// plain static per module; threads that race to fill it get the same object
// from the registry.
template <class T> struct StackHolder
{
  static LockFree::Stack<T>* getStack() noexcept
  {
    return NamedObjects::findOrCreate(&theStack, registryName<LockFree::Stack<T>>());
  }
  static inline LockFree::Stack<T>* theStack = nullptr;
};

// The same for a pool's debug traits, shared by every module too.
template <class DT> struct DebugTraitsHolder
{
  static DT* getDT() noexcept { return NamedObjects::findOrCreate(&theDT, registryName<DT>()); }
  static inline DT* theDT = nullptr;
};

// Carries the free-list link for a T that cannot inherit SLNode, such as a
// node of std::list. The object handed out is objSpace_.
template <class T> struct NodeHolder
{
  NodeHolder* link_;
  alignas(T) unsigned char objSpace_[sizeof(T)];

  static NodeHolder* fromObject(void* p) noexcept
  {
    auto* ptr =
        reinterpret_cast<NodeHolder*>(static_cast<unsigned char*>(p) - offsetof(NodeHolder, objSpace_));
    ZR_ASSERT((void*)&(ptr->objSpace_) == p, "Zr/ZrPooledObject line 635");
    return ptr;
  }
};

} // namespace Private

namespace LockFree::Private {

template <class T> struct SLNodeAccessor<Zr::Private::NodeHolder<T>>
{
  static Zr::Private::NodeHolder<T>** link(Zr::Private::NodeHolder<T>* node) noexcept { return &node->link_; }
};

} // namespace LockFree::Private

namespace PooledObjectAllocation {

// Run on an object's memory as it leaves the list: nothing.
struct NullInitTraits
{
  static void onPop(void*) noexcept {}
};

// Run on an object's memory as it goes back to the list: nothing, so objects
// are not cleared on their way back.
struct NullFiniTraits
{
  static void onPush(void*) noexcept {}
};

// An empty list means the heap.
struct ExpandingAllocator
{
  template <class T> static void* allocate(LockFree::Stack<T>& stack, std::size_t size)
  {
    if (T* object = stack.pop()) return object;
    void* memory = ::operator new(size);
#if ZR_POOL_LEAK_CHECKED
    // Pool memory lives as long as the process, and on a list only the head
    // word's packed form leads to it, which the leak checker cannot read.
    __lsan_ignore_object(memory);
#endif
    return memory;
  }
};

// Everything goes back to the list and nothing to the heap: a list is as long
// as the most objects of its type ever live at once. It must never free,
// since a popper may still read the link of an object that was just taken.
struct ExpandingDeallocator
{
  template <class T> static void deallocate(LockFree::Stack<T>& stack, void* p) noexcept
  {
    stack.push(static_cast<T*>(p));
  }
};

template <class InitTraits, class FiniTraits, class Allocator, class Deallocator> struct Traits
{
  using Init = InitTraits;
  using Fini = FiniTraits;
  using Alloc = Allocator;
  using Dealloc = Deallocator;
};

using DefaultTraits = Traits<NullInitTraits, NullFiniTraits, ExpandingAllocator, ExpandingDeallocator>;

} // namespace PooledObjectAllocation

namespace PooledObjectDebug {

// No data, no behaviour.
template <class T> struct NullTraits
{
  void ltb_beforePop(unsigned long) noexcept {}
  void ltb_afterPop(void*, unsigned long) noexcept {}
  void ltb_beforePush(void*, unsigned long) noexcept {}
  void ltb_afterPush(void*, unsigned long) noexcept {}
};

// Counts and, when pool logging is on, logs each object in and out.
template <class T> struct LoggingTraits : LoggingTraitsBase
{
  LoggingTraits() noexcept : LoggingTraitsBase(Zr::Private::registryName<T>()) {}
};

} // namespace PooledObjectDebug

// Gives T a class-level operator new and delete that draw on the process-wide
// free list of T. T derives from PooledObject<T>.
template <class T, class AllocationTraits = PooledObjectAllocation::DefaultTraits,
          class DebugTraits = PooledObjectDebug::NullTraits<T>>
class PooledObject : public LockFree::SLNode<T>
{
public:
  // Pops from the list of T; an empty list, or an object of a larger class
  // derived from T, takes the memory from the heap. Throws std::bad_alloc as
  // ::operator new does.
  static void* operator new(std::size_t size)
  {
    if (size != sizeof(T)) return ::operator new(size);
    DebugTraits* dt = Private::DebugTraitsHolder<DebugTraits>::getDT();
    LockFree::Stack<T>* stack = Private::StackHolder<T>::getStack();
    dt->ltb_beforePop(stack->count());
    void* p = AllocationTraits::Alloc::allocate(*stack, size);
    AllocationTraits::Init::onPop(p);
    dt->ltb_afterPop(p, stack->count());
    return p;
  }

  // Pushes p on the list of T. Null does nothing; memory of another size
  // (a class derived from T) goes back to the heap.
  static void operator delete(void* p, std::size_t size) noexcept
  {
    if (!p) return;
    if (size != sizeof(T)) {
      ::operator delete(p);
      return;
    }
    DebugTraits* dt = Private::DebugTraitsHolder<DebugTraits>::getDT();
    LockFree::Stack<T>* stack = Private::StackHolder<T>::getStack();
    dt->ltb_beforePush(p, stack->count());
    AllocationTraits::Fini::onPush(p);
    AllocationTraits::Dealloc::template deallocate<T>(*stack, p);
    dt->ltb_afterPush(p, stack->count());
  }

  // The class-level operator new hides the global placement form; give it back.
  static void* operator new(std::size_t, void* where) noexcept { return where; }
  static void operator delete(void*, void*) noexcept {}

protected:
  PooledObject() noexcept = default;
};

// The allocator of a std::list whose nodes come from the process-wide list of
// NodeHolder<node>. Requests for more than one object (containers other than
// node-based ones) go to the heap. Thread-safe.
template <class T, template <class> class DebugTraits = PooledObjectDebug::NullTraits>
class PooledStdAllocator
{
public:
  using value_type = T;
  template <class U> struct rebind
  {
    using other = PooledStdAllocator<U, DebugTraits>;
  };

  PooledStdAllocator() noexcept = default;
  template <class U> PooledStdAllocator(const PooledStdAllocator<U, DebugTraits>&) noexcept {}

  T* allocate(std::size_t n)
  {
    if (n != 1) return static_cast<T*>(::operator new(n * sizeof(T)));
    DebugTraits<T>* dt = Private::DebugTraitsHolder<DebugTraits<T>>::getDT();
    LockFree::Stack<Holder>* stack = Private::StackHolder<Holder>::getStack();
    // The hooks are given the count of the list of T itself, which nothing
    // fills, not that of the holders.
    LockFree::Stack<T>* counted = Private::StackHolder<T>::getStack();
    dt->ltb_beforePop(counted->count());
    void* raw = PooledObjectAllocation::ExpandingAllocator::allocate(*stack, sizeof(Holder));
    T* object = reinterpret_cast<T*>(&static_cast<Holder*>(raw)->objSpace_);
    dt->ltb_afterPop(object, counted->count());
    return object;
  }

  void deallocate(T* p, std::size_t n) noexcept
  {
    if (!p) return;
    if (n != 1) {
      ::operator delete(p);
      return;
    }
    DebugTraits<T>* dt = Private::DebugTraitsHolder<DebugTraits<T>>::getDT();
    LockFree::Stack<Holder>* stack = Private::StackHolder<Holder>::getStack();
    LockFree::Stack<T>* counted = Private::StackHolder<T>::getStack();
    dt->ltb_beforePush(p, counted->count());
    stack->push(Holder::fromObject(p));
    dt->ltb_afterPush(p, counted->count());
  }

  // Every instance draws on the same lists, so any may free what another took.
  template <class U> bool operator==(const PooledStdAllocator<U, DebugTraits>&) const noexcept
  {
    return true;
  }

private:
  using Holder = Private::NodeHolder<T>;
};

} // namespace Zr

namespace ZrDC {

// The pool that command representations inherit.
template <class T>
class DefaultPoolBase : public Zr::PooledObject<T, Zr::PooledObjectAllocation::DefaultTraits,
                                                Zr::PooledObjectDebug::NullTraits<T>>
{
protected:
  DefaultPoolBase() noexcept = default;
};

} // namespace ZrDC
