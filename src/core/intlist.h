// intlist, a small list of integers asked only whether it holds a value.
// Linear search: the lists it serves have a handful of entries.
#pragma once

#include <initializer_list>

#include "Zr/Vector.h"

class intlist
{
public:
  intlist() = default;
  intlist(std::initializer_list<int> values)
  {
    for (int value : values) values_.add(value);
  }

  void add(int value) { values_.add(value); }
  // True if the value is in the list.
  bool contains(int value) const
  {
    for (int item : values_)
      if (item == value) return true;
    return false;
  }
  unsigned int size() const { return values_.size(); }
  void clear() { values_.clear(); }

private:
  Vector<int> values_;
};
