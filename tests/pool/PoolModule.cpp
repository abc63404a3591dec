#include "PoolTestTypes.h"

namespace {

SharedPooled* make()
{
  return new SharedPooled;
}

void drop(SharedPooled* object)
{
  delete object;
}

Zr::LockFree::Stack<SharedPooled>* stack()
{
  return Zr::Private::StackHolder<SharedPooled>::getStack();
}

} // namespace

extern "C" __attribute__((visibility("default"))) PoolModuleApi poolModuleApi()
{
  return {&make, &drop, &stack};
}
