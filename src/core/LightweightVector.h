// LightweightVector<T>, a std::vector shared by every copy of its handle.
//
// Copying a LightweightVector shares the array: a push_back through one copy
// shows through all of them, and nothing is ever copied on write. copyFrom()
// is the one operation that copies elements. There is no locking.
#pragma once

#include <algorithm>
#include <memory>
#include <vector>

#include "core/Ptr.h"
#include "core/iObject.h"

template <class T> class LightweightVector : public iObject
{
public:
  using Array = std::vector<T>;
  using ArrayPtr = Zr::Ptr<Array, Zr::DtorTraits, Zr::ExternalRefCountTraits>;
  using iterator = typename Array::iterator;
  using const_iterator = typename Array::const_iterator;

  // Always makes the array and its counter; reserves room for `reserve` elements.
  explicit LightweightVector(unsigned int reserve = 0) : array_(makeArray(reserve)) {}

  ~LightweightVector() override = default;

  virtual void push_back(const T& x) { array_->push_back(x); }

  void clear() { array_->clear(); }
  // Swaps the contents of the two arrays; each handle keeps its own array.
  void swap(LightweightVector& other) { array_->swap(*other.array_); }
  iterator erase(const_iterator at) { return array_->erase(at); }
  iterator erase(const_iterator first, const_iterator last) { return array_->erase(first, last); }
  // Removes the element at i; an index beyond the end does nothing.
  void remove(unsigned int i)
  {
    if (i < array_->size()) array_->erase(array_->begin() + i);
  }

  bool empty() const { return array_->empty(); }
  unsigned int size() const { return unsigned(array_->size()); }
  T& front() { return array_->front(); }
  const T& front() const { return array_->front(); }
  T& back() { return array_->back(); }
  const T& back() const { return array_->back(); }
  T& operator[](unsigned int i) { return (*array_)[i]; }
  const T& operator[](unsigned int i) const { return (*array_)[i]; }
  iterator begin() { return array_->begin(); }
  iterator end() { return array_->end(); }
  const_iterator begin() const { return array_->begin(); }
  const_iterator end() const { return array_->end(); }

  // Equal sizes and equal elements, by the element's compare() where it has one.
  bool operator==(const LightweightVector& other) const
  {
    if (array_.get() == other.array_.get()) return true;
    if (array_->size() != other.array_->size()) return false;
    for (size_t k = 0; k < array_->size(); ++k)
      if (!same((*array_)[k], (*other.array_)[k])) return false;
    return true;
  }
  bool operator!=(const LightweightVector& other) const { return !(*this == other); }

  // Appends the other vector's elements (a vector may append itself).
  LightweightVector& operator+=(const LightweightVector& other)
  {
    if (array_.get() == other.array_.get()) {
      const Array copy(*other.array_);
      array_->insert(array_->end(), copy.begin(), copy.end());
    } else {
      array_->insert(array_->end(), other.array_->begin(), other.array_->end());
    }
    return *this;
  }
  LightweightVector& operator+=(const T& x)
  {
    push_back(x);
    return *this;
  }

  // Linear search with ==.
  bool contains(const T& x) const { return std::find(array_->begin(), array_->end(), x) != array_->end(); }

  // Replaces this array's elements with copies of the other's.
  void copyFrom(const LightweightVector& other)
  {
    if (array_.get() != other.array_.get()) *array_ = *other.array_;
  }

private:
  static ArrayPtr makeArray(unsigned int reserve)
  {
    std::unique_ptr<Array> array(new Array);
    if (reserve) array->reserve(reserve);
    ArrayPtr handle(array.get());
    array.release();
    return handle;
  }

  static bool same(const T& a, const T& b)
  {
    if constexpr (requires { a.compare(b); })
      return a.compare(b) == 0;
    else
      return a == b;
  }

  ArrayPtr array_;
};
