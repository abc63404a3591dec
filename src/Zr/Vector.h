// Vector<T>, the growable array of the library, and OrderedVector<T>, its
// sorted form.
//
// The array comes from array-new over the whole capacity, so the slots beyond
// size() hold live default objects. The capacity grows by doubling (4 at
// least) and shrinks only through purge(). Index checks print the soft
// assertion line and go on. Neither class locks: one thread at a time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "core/Assert.h"
#include "core/Ptr.h"

template <class T> class Vector
{
public:
  // A vector handed out by operator() and owned by its handles.
  using Handle = Zr::Ptr<Vector<T>, Zr::DtorTraits, Zr::ExternalRefCountTraits>;

  Vector() noexcept : array_(nullptr), size_(0), capacity_(0) {}

  Vector(std::initializer_list<T> items) : Vector()
  {
    resizeFor(unsigned(items.size()));
    for (const T& item : items) array_[size_++] = item;
  }

  Vector(const Vector& other) : Vector()
  {
    resizeFor(other.size_);
    for (uint32_t k = 0; k < other.size_; ++k) array_[k] = other.array_[k];
    size_ = other.size_;
  }

  // Copies first and swaps, so a failed copy leaves this vector as it was.
  Vector& operator=(const Vector& other)
  {
    if (this != &other) {
      Vector copy(other);
      std::swap(array_, copy.array_);
      std::swap(size_, copy.size_);
      std::swap(capacity_, copy.capacity_);
    }
    return *this;
  }

  virtual ~Vector() { delete[] array_; }

  // Appends x and returns its index.
  virtual unsigned int add(const T& x)
  {
    if (size_ >= capacity_) {
      // x may be one of our own elements, which the growth destroys.
      T keep(x);
      resizeFor(size_ + 1);
      array_[size_] = std::move(keep);
    } else {
      array_[size_] = x;
    }
    return size_++;
  }

  // Appends through add(), so a sorted vector stays sorted.
  virtual void push_back(const T& x) { add(x); }

  // Searches from the front with ==. Gives true and the index, or false and size().
  virtual bool locate(const T& x, unsigned int& i) const
  {
    const T* first = array_;
    const T* end = first + size_;
    const T* hit = std::find(first, end, x);
    i = unsigned(hit - first);
    return hit != end;
  }

  // Inserts x where locate() says unless it is already there; true when x was new.
  // i receives the index of x either way.
  virtual bool intern(const T& x, unsigned int& i)
  {
    if (locate(x, i)) return false;
    insert(x, i);
    return true;
  }

  // Inserts x at i (clamped to size()), moving the elements from i up one place.
  virtual void insert(const T& x, unsigned int i)
  {
    if (i > size_) i = size_;
    if (size_ >= capacity_ || inArray(&x)) {
      T keep(x);
      openGap(i, 1);
      array_[i] = std::move(keep);
    } else {
      openGap(i, 1);
      array_[i] = x;
    }
    ++size_;
  }

  // Removes the element at i and resets the slot it leaves at the end.
  // False, with nothing changed, when i is not below size().
  virtual bool removeIdx(unsigned int i)
  {
    if (i >= size_) return false;
    for (uint32_t k = i; k + 1 < size_; ++k) transfer(array_[k], array_[k + 1]);
    --size_;
    array_[size_] = T();
    return true;
  }

  // Removes the half-open range [from, to). Unlike removeIdx() the vacated
  // slots keep their old values until overwritten. Always true.
  virtual bool remove(unsigned int from, unsigned int to)
  {
    if (to > size_) to = size_;
    if (from >= to) return true;
    const uint32_t n = to - from;
    // Copied, not moved, so that what stays behind in the vacated slots is intact.
    for (uint32_t k = from; k + n < size_; ++k) array_[k] = array_[k + n];
    size_ -= n;
    return true;
  }

  // Removes the element that locate() finds; false if x is absent.
  virtual bool removeItem(const T& x)
  {
    unsigned int i = 0;
    if (!locate(x, i)) return false;
    return removeIdx(i);
  }

  // Empties the vector, resetting the slots it used so that they let go of
  // what they held. The capacity stays.
  virtual void clear()
  {
    for (uint32_t k = 0; k < size_; ++k) array_[k] = T();
    size_ = 0;
  }

  // Takes over the other vector's array, size and capacity after purging its
  // own, and leaves the other empty. Consuming itself does nothing.
  virtual void consume(Vector& other)
  {
    if (&other == this) return;
    purge();
    array_ = other.array_;
    size_ = other.size_;
    capacity_ = other.capacity_;
    other.init();
  }

  // Inserts every element of other at i (clamped to size()), in their order.
  void insert(const Vector& other, unsigned int i)
  {
    if (other.size_ == 0) return;
    if (&other == this) {
      const Vector copy(other);
      insert(copy, i);
      return;
    }
    if (i > size_) i = size_;
    openGap(i, other.size_);
    for (uint32_t k = 0; k < other.size_; ++k) array_[i + k] = other.array_[k];
    size_ += other.size_;
  }

  unsigned int size() const noexcept { return size_; }
  // Sets the size and nothing else: no slot is constructed, reset or checked.
  void size(unsigned int n) noexcept { size_ = n; }
  // The capacity: the number of live slots in the array.
  unsigned int space() const noexcept { return capacity_; }
  bool empty() const noexcept { return size_ == 0; }

  T& operator[](unsigned int i)
  {
    ZR_ASSERT(i < size_, "Zr/Vector line 61");
    return array_[i];
  }
  const T& operator[](unsigned int i) const
  {
    ZR_ASSERT(i < size_, "Zr/Vector line 62");
    return array_[i];
  }
  const T& front() const
  {
    ZR_ASSERT(size_ > 0, "Zr/Vector line 65");
    return array_[0];
  }
  T& front()
  {
    ZR_ASSERT(size_ > 0, "Zr/Vector line 66");
    return array_[0];
  }
  // An empty vector's back() goes on with slot 0, never with the slot before the array.
  const T& back() const
  {
    ZR_ASSERT(size_ > 0, "Zr/Vector line 67");
    return array_[size_ ? size_ - 1 : 0];
  }
  T& back()
  {
    ZR_ASSERT(size_ > 0, "Zr/Vector line 68");
    return array_[size_ ? size_ - 1 : 0];
  }

  // Unchecked access, for callers that have already checked the index.
  T& at(unsigned int i) noexcept { return array_[i]; }
  const T& at(unsigned int i) const noexcept { return array_[i]; }
  void at(unsigned int i, const T& value) { array_[i] = value; }

  T* begin() noexcept { return array_; }
  T* end() noexcept { return array_ + size_; }
  const T* begin() const noexcept { return array_; }
  const T* end() const noexcept { return array_ + size_; }

  // True if locate() finds x.
  bool member(const T& x) const
  {
    unsigned int i = 0;
    return locate(x, i);
  }

  // 0 when equal, 1 when different. Walks the elements of this side only: an
  // empty vector equals anything, and a shorter other side trips the bounds line.
  int compare(const Vector& other) const
  {
    for (uint32_t k = 0; k < size_; ++k) {
      if (k >= other.size_) {
        ::Zr::softAssert(false, "i < size_", "Zr/Vector line 62");
        // Past the other's live slots there is nothing to compare with.
        if (k >= other.capacity_) return 1;
      }
      if (!(array_[k] == other.array_[k])) return 1;
    }
    return 0;
  }
  bool operator==(const Vector& other) const { return compare(other) == 0; }
  bool operator!=(const Vector& other) const { return compare(other) != 0; }

  // Grows to n through resizeFor(); shrinking only lowers the size, and the
  // slots beyond it keep their objects.
  void resize(unsigned int n)
  {
    if (n > capacity_) resizeFor(n);
    size_ = n;
  }

  // Makes room for n elements. 0 purges; a need within the capacity does
  // nothing; otherwise the capacity doubles (from 4) until it holds n and the
  // elements move to the new array. On failure the vector is unchanged.
  void resizeFor(unsigned int n)
  {
    if (n == 0) {
      purge();
      return;
    }
    if (n <= capacity_) return;
    uint64_t grown = capacity_ ? capacity_ : 4;
    while (grown < n) grown <<= 1;
    if (grown > UINT32_MAX) throw std::bad_alloc();
    std::unique_ptr<T[]> fresh(new T[grown]);
    const uint32_t keep = std::min(size_, capacity_);
    for (uint32_t k = 0; k < keep; ++k) transfer(fresh[k], array_[k]);
    delete[] array_;
    array_ = fresh.release();
    capacity_ = uint32_t(grown);
  }

  // Destroys every element and the array; size and capacity become 0.
  void purge() noexcept
  {
    delete[] array_;
    init();
  }

  // Forgets the array without destroying it: for a vector whose array now
  // belongs to another.
  void init() noexcept
  {
    array_ = nullptr;
    size_ = 0;
    capacity_ = 0;
  }

  // A new vector of the elements from i up to j (clamped to size()), empty
  // when i is not below j. The caller owns it.
  Vector* slice(unsigned int i, unsigned int j) const
  {
    if (j > size_) j = size_;
    std::unique_ptr<Vector> result(new Vector);
    if (i >= j) return result.release();
    result->resizeFor(j - i);
    // The copy goes through the checked operator[] of a result whose size is
    // still 0, so each element prints the bounds line; that output is kept.
    for (uint32_t k = 0; k < j - i; ++k) (*result)[k] = array_[i + k];
    result->size_ = j - i;
    return result.release();
  }

  // slice(i, j) held by a counted handle.
  Handle operator()(unsigned int i, unsigned int j) const
  {
    std::unique_ptr<Vector> part(slice(i, j));
    Handle handle(part.get());
    part.release();
    return handle;
  }

protected:
  T* array_;
  uint32_t size_;
  uint32_t capacity_;

private:
  // Moves when that cannot throw, so a failed copy never leaves a half-moved source.
  static void transfer(T& to, T& from)
  {
    if constexpr (std::is_nothrow_move_assignable_v<T>)
      to = std::move(from);
    else
      to = from;
  }

  bool inArray(const T* p) const noexcept
  {
    return array_ && !std::less<const T*>()(p, array_) && std::less<const T*>()(p, array_ + capacity_);
  }

  // Grows for n more elements and moves those from i upwards by n places,
  // from the top down. The size is the caller's to raise.
  void openGap(uint32_t i, uint32_t n)
  {
    const uint64_t need = uint64_t(size_) + n;
    if (need > UINT32_MAX) throw std::bad_alloc();
    resizeFor(uint32_t(need));
    for (uint32_t k = size_; k > i; --k) transfer(array_[k - 1 + n], array_[k - 1]);
  }
};

// A Vector kept in ascending order of <=, searched by bisection.
template <class T> class OrderedVector : public virtual Vector<T>
{
public:
  OrderedVector() = default;
  OrderedVector(const OrderedVector&) = default;
  OrderedVector& operator=(const OrderedVector&) = default;

  // Inserts x at its place in the order, beside any equal elements (which
  // stay), and returns its index.
  unsigned int add(const T& x) override
  {
    unsigned int i = 0;
    locate(x, i);
    Vector<T>::insert(x, i);
    return i;
  }

  // Bisects the bracket (-1, size()). Gives true and the index of an equal
  // element, or false and the index where x would be inserted.
  bool locate(const T& x, unsigned int& i) const override
  {
    int64_t low = -1;
    int64_t high = this->size_;
    while (high - low > 1) {
      const int64_t mid = low + (high - low) / 2;
      const T& item = this->array_[mid];
      if (item <= x) {
        if (item == x) {
          i = unsigned(mid);
          return true;
        }
        low = mid;
      } else {
        high = mid;
      }
    }
    i = unsigned(high);
    return false;
  }

  // Takes over the other vector's array, as Vector::consume, and sorts it.
  void consume(Vector<T>& other) override
  {
    Vector<T>::consume(other);
    if (this->size_ < 2) return;
    if constexpr (std::is_trivially_copyable_v<T>) {
      std::qsort(this->array_, this->size_, sizeof(T), &sortFn);
    } else {
      // qsort moves raw bytes, which only trivially copyable types survive.
      std::sort(this->array_, this->array_ + this->size_,
                [](const T& a, const T& b) { return sortFn(&a, &b) < 0; });
    }
  }

  ~OrderedVector() override = default;

  // The order of consume(): 0 for ==, -1 for <=, 1 otherwise.
  static int sortFn(const void* a, const void* b)
  {
    const T& left = *static_cast<const T*>(a);
    const T& right = *static_cast<const T*>(b);
    if (left == right) return 0;
    return left <= right ? -1 : 1;
  }
};
