#include "NamedTestType.h"

#include "libzr/NamedObjectsNamespace.h"

extern "C" __attribute__((visibility("default"))) NamedModuleAnswer namedObjectFromModuleB()
{
  static NamedTestType* slot = nullptr;
  return {Zr::NamedObjects::findOrCreate(&slot, typeid(NamedTestType).name()), &typeid(NamedTestType)};
}
