#include "core/Assert.h"

#include <cstdio>

namespace Zr {

void assertionFailed(const char* expression, const char* place) noexcept
{
  std::printf("assertion failed %s at %s\n", expression ? expression : "", place ? place : "");
  std::fflush(stdout);
}

} // namespace Zr
