// Test support: fresh temporary roots for every location of the platform
// layer, and second processes for what crosses processes.
#pragma once

#include <string>
#include <vector>

namespace zrtest {

// The fresh folder of this test process (shared with its child processes).
const std::string& tempRoot();

// A new, empty folder under the root, with a trailing slash.
std::string makeTempDir(const std::string& name);

// Writes a file, making its folder.
void writeFile(const std::string& path, const std::string& content);
// Reads a whole file; empty if it cannot be read.
std::string readFile(const std::string& path);

// A child process running this test executable in the role `role` (see
// ZR_CHILD_ROLE), with the same environment. Returns its pid.
int spawnChild(const std::string& role, const std::vector<std::string>& args = {});

// Waits for a child; returns its exit code, 128 + signal if a signal ended
// it, or -1 if it did not end within timeoutMs (it is then killed).
int waitChild(int pid, int timeoutMs = 60000);

// spawnChild then waitChild.
int runChild(const std::string& role, const std::vector<std::string>& args = {}, int timeoutMs = 60000);

using ChildFn = int (*)(const std::vector<std::string>& args);
struct ChildRegistrar
{
  ChildRegistrar(const char* role, ChildFn fn);
};

// Runs a registered role; used by the test main.
int runChildRole(const std::string& role, const std::vector<std::string>& args);

// Points every location variable at fresh folders under a new root.
void setUpFreshRoots();
void removeRoots();

} // namespace zrtest

// Defines the body of a child role:
//   ZR_CHILD_ROLE(writer) { ... return 0; }   // args is the argument vector
#define ZR_CHILD_ROLE(name)                                                          \
  static int zrChild_##name(const std::vector<std::string>& args);                  \
  static ::zrtest::ChildRegistrar zrChildRegistrar_##name(#name, &zrChild_##name); \
  static int zrChild_##name([[maybe_unused]] const std::vector<std::string>& args)
