// iObject, the root of every interface the libraries hand out.
#pragma once

#include "libOS/Ptr.h"

// The counter is a virtual base, so an object reached through several
// interfaces still has exactly one count.
class iObject : public virtual Zr::InternalRefCount
{
public:
  ~iObject() override = default;
};
