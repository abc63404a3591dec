// Runs the command-line tools as a user would, in a process of their own,
// and collects what they print and how they exit.
#pragma once

#include <string>
#include <vector>

namespace zrtest {

struct ProgramResult
{
  int exitCode = -1; // 128 + signal when a signal ended it; -1 when it did not end in time
  std::string out;
  std::string err;
};

// Runs program with args. With env null the child inherits this process's
// environment; otherwise env ("NAME=value" each) is all it gets. Standard
// output and error go through files, so that neither pipe can fill and
// stall the child.
ProgramResult runProgram(const std::string& program, const std::vector<std::string>& args,
                         const std::vector<std::string>* env = nullptr, int timeoutMs = 120000);

// The same on a pseudo-terminal, which serves as standard output and error
// both: what a user at a terminal sees.
ProgramResult runOnTerminal(const std::string& program, const std::vector<std::string>& args,
                            const std::vector<std::string>& env);

// Whether part occurs in text.
bool contains(const std::string& text, const std::string& part);

// The names in a folder, "." and ".." left out; empty for a missing folder.
std::vector<std::string> listFolder(const std::string& path);

} // namespace zrtest
