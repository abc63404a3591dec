// The main of every test executable: fresh roots, then GoogleTest; or, with
// --zr-child ROLE ARGS..., one child role of a cross-process test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

#include "support/TestEnv.h"

int main(int argc, char** argv)
{
  if (argc >= 3 && std::strcmp(argv[1], "--zr-child") == 0) {
    std::vector<std::string> args(argv + 3, argv + argc);
    return zrtest::runChildRole(argv[2], args);
  }
  // The libraries read settings and fix their locations while they load,
  // before main. So a process without roots makes them and starts itself
  // again with the roots in its environment; children and death tests
  // inherit them.
  if (zrtest::tempRoot().empty()) {
    zrtest::setUpFreshRoots();
    setenv("ZR_TEST_ROOT_OWNER", std::to_string(getpid()).c_str(), 1);
    execv("/proc/self/exe", argv);
    std::perror("re-executing the test with its roots");
    zrtest::removeRoots();
    return 127;
  }
  const char* owner = std::getenv("ZR_TEST_ROOT_OWNER");
  const bool ownsRoots = owner && std::atol(owner) == long(getpid());
  testing::InitGoogleMock(&argc, argv);
  // Death tests fork; "threadsafe" re-executes so that threads made by
  // earlier tests do not hold locks in the child.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  int rc = RUN_ALL_TESTS();
  if (ownsRoots) zrtest::removeRoots();
  return rc;
}
