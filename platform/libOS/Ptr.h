// Zr::Ptr, the two-word counted handle through which every shared object of
// the libraries is held, with the traits that say where the counter lives.
//
// A handle is a pointer to the counter and a pointer to the object, in this
// order. The count changes atomically, so copies of one handle may live on
// different threads; a single handle object is not safe against concurrent
// assignment.
#pragma once

#include <cstddef>
#include <utility>

#include "libOS/Atomics.h"

namespace Zr {

// The counter of objects that count their own references. Classes reached
// through several interfaces inherit it virtually so that they share one.
class InternalRefCount
{
public:
  InternalRefCount() noexcept : refCount_(0) {}
  // A copied object is a new object: nobody holds it yet.
  InternalRefCount(const InternalRefCount&) noexcept : refCount_(0) {}
  InternalRefCount& operator=(const InternalRefCount&) noexcept { return *this; }
  virtual ~InternalRefCount() = default;

  // The counter word that handles to this object share.
  unsigned int* refCountWord() const noexcept { return &refCount_; }

private:
  mutable unsigned int refCount_;
};

// Deletes the object through its (virtual) destructor.
struct DtorTraits
{
  template <class T> static void destroy(T* object) noexcept { delete object; }
};

// The counter lives inside the object, in its InternalRefCount base.
struct InternalRefCountTraits
{
  template <class T> static unsigned int* counterFor(T* object)
  {
    return static_cast<const InternalRefCount*>(object)->refCountWord();
  }
  template <class T, class Dtor> static void release(unsigned int*, T* object) noexcept
  {
    Dtor::destroy(object);
  }
};

// The counter is a separate 4-byte heap block made with the first handle.
struct ExternalRefCountTraits
{
  template <class T> static unsigned int* counterFor(T*) { return new unsigned int(0); }
  template <class T, class Dtor> static void release(unsigned int* counter, T* object) noexcept
  {
    delete counter;
    Dtor::destroy(object);
  }
};

template <class T, class Dtor = DtorTraits, class RefTraits = InternalRefCountTraits>
class Ptr
{
public:
  using element_type = T;

  Ptr() noexcept : counter_(nullptr), object_(nullptr) {}
  Ptr(std::nullptr_t) noexcept : Ptr() {}

  // Takes a reference on a raw object; a null pointer gives a null handle.
  Ptr(T* object) : counter_(nullptr), object_(object)
  {
    if (object_) {
      counter_ = RefTraits::counterFor(object_);
      OSAtomics::incRef(counter_);
    }
  }

  // Adopts an object whose counter the caller already knows, taking one reference.
  Ptr(unsigned int* counter, T* object) noexcept : counter_(counter), object_(object)
  {
    if (object_) OSAtomics::incRef(counter_);
  }

  Ptr(const Ptr& other) noexcept : counter_(other.counter_), object_(other.object_)
  {
    if (object_) OSAtomics::incRef(counter_);
  }

  Ptr(Ptr&& other) noexcept : counter_(other.counter_), object_(other.object_)
  {
    other.counter_ = nullptr;
    other.object_ = nullptr;
  }

  // Converting copy: shares the counter and finds the base part by the ordinary cast.
  template <class U>
  Ptr(const Ptr<U, Dtor, RefTraits>& other) noexcept
      : counter_(other.counterWord()), object_(other.get())
  {
    if (object_) OSAtomics::incRef(counter_);
  }

  ~Ptr() { decRef(); }

  // Takes a reference on the source before dropping its own, so that
  // assignment to itself (or to a handle the source keeps alive) is safe.
  Ptr& operator=(const Ptr& other) noexcept
  {
    // Read the source first: it may be this very handle.
    unsigned int* counter = other.counter_;
    T* object = other.object_;
    if (object) OSAtomics::incRef(counter);
    decRef();
    counter_ = counter;
    object_ = object;
    return *this;
  }

  Ptr& operator=(Ptr&& other) noexcept
  {
    if (this != &other) {
      decRef();
      counter_ = other.counter_;
      object_ = other.object_;
      other.counter_ = nullptr;
      other.object_ = nullptr;
    }
    return *this;
  }

  Ptr& operator=(std::nullptr_t) noexcept
  {
    decRef();
    return *this;
  }

  // Drops this handle's reference and leaves it null; the last one out
  // releases the object as the traits say.
  void decRef() noexcept
  {
    unsigned int* counter = counter_;
    T* object = object_;
    counter_ = nullptr;
    object_ = nullptr;
    if (object && OSAtomics::decRef(counter) == 0)
      RefTraits::template release<T, Dtor>(counter, object);
  }

  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  T* get() const noexcept { return object_; }
  unsigned int* counterWord() const noexcept { return counter_; }

  // The null test looks at the object word only.
  explicit operator bool() const noexcept { return object_ != nullptr; }
  bool operator!() const noexcept { return object_ == nullptr; }

  // Current number of handles; for diagnostics and tests only.
  unsigned int refCount() const noexcept { return object_ ? OSAtomics::load(counter_) : 0; }

  // A handle of another type to the same object and counter, or null if the
  // object is not of that type.
  template <class U> Ptr<U, Dtor, RefTraits> dynamicCast() const
  {
    U* cast = dynamic_cast<U*>(object_);
    return cast ? Ptr<U, Dtor, RefTraits>(counter_, cast) : Ptr<U, Dtor, RefTraits>();
  }

  template <class U> bool operator==(const Ptr<U, Dtor, RefTraits>& other) const noexcept
  {
    return object_ == other.get();
  }
  template <class U> bool operator!=(const Ptr<U, Dtor, RefTraits>& other) const noexcept
  {
    return object_ != other.get();
  }
  bool operator==(std::nullptr_t) const noexcept { return object_ == nullptr; }
  bool operator!=(std::nullptr_t) const noexcept { return object_ != nullptr; }
  bool operator<(const Ptr& other) const noexcept { return object_ < other.object_; }

private:
  unsigned int* counter_;
  T* object_;
};

} // namespace Zr
