// The type that the test modules and the test itself ask the registry for.
#pragma once

#include <typeinfo>

struct NamedTestType
{
  int value = 7;
};

// Each module's answer: the object it got, and the address of its own
// type_info for the type.
struct NamedModuleAnswer
{
  NamedTestType* object;
  const std::type_info* type;
};
