// The main of every test executable: fresh roots, then GoogleTest; or, with
// --zr-child ROLE ARGS..., one child role of a cross-process test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "support/TestEnv.h"

int main(int argc, char** argv)
{
  if (argc >= 3 && std::strcmp(argv[1], "--zr-child") == 0) {
    std::vector<std::string> args(argv + 3, argv + argc);
    return zrtest::runChildRole(argv[2], args);
  }
  // A death test's re-executed child keeps its parent's roots.
  bool deathChild = false;
  for (int i = 1; i < argc; ++i)
    if (std::strncmp(argv[i], "--gtest_internal_run_death_test", 31) == 0) deathChild = true;
  if (!deathChild || zrtest::tempRoot().empty()) zrtest::setUpFreshRoots();
  testing::InitGoogleMock(&argc, argv);
  // Death tests fork; "threadsafe" re-executes so that threads made by
  // earlier tests do not hold locks in the child.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  int rc = RUN_ALL_TESTS();
  if (!deathChild) zrtest::removeRoots();
  return rc;
}
