#include "NamedTestType.h"

#include "libzr/NamedObjectsNamespace.h"

extern "C" NamedModuleAnswer namedObjectFromModuleA()
{
  static NamedTestType* slot = nullptr;
  return {Zr::NamedObjects::findOrCreate(&slot, typeid(NamedTestType).name()), &typeid(NamedTestType)};
}
