// Pooled types that the test and its second module share.
#pragma once

#include "Zr/ZrPooledObject.h"

// A command-sized object, polymorphic like the command representations, so
// that its link does not sit at the start of the object.
struct SharedPooled : ZrDC::DefaultPoolBase<SharedPooled>
{
  virtual ~SharedPooled() = default;
  virtual int kind() const { return 1; }
  char payload[48] = {};
};

// The second module's view of the pool of SharedPooled.
struct PoolModuleApi
{
  SharedPooled* (*make)();
  void (*drop)(SharedPooled*);
  Zr::LockFree::Stack<SharedPooled>* (*stack)();
};
