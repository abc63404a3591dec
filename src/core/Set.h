// Set and SetRec: the names under which some classes join Array and
// ArrayRec. They add nothing; whether a set keeps one record per value is up
// to the caller, which adds through Array::intern.
#pragma once

#include "core/Array.h"

class SetRec : public ArrayRec
{
public:
  ~SetRec() override = default;
};

class Set : public Array
{
public:
  using Array::Array;
  ~Set() override = default;
};
