#include "Report.h"

#include <cstdio>
#include <cstdlib>

namespace zrhost {

void section(const char* title)
{
  std::printf("\n== %s\n", title);
}

void fail(const std::string& what, const std::string& why)
{
  std::fflush(stdout);
  std::fprintf(stderr, "zrhost: %s failed: %s\n", what.c_str(), why.c_str());
  std::fflush(stderr);
  // Co-processes may still run: leave before exit-time destructors meet them.
  std::_Exit(1);
}

} // namespace zrhost
