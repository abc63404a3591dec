// How zrhost tells its user what happened: a heading per step, plain lines
// under it, and one line for a failure.
#pragma once

#include <string>

namespace zrhost {

// Prints "\n== title".
void section(const char* title);
// Prints "zrhost: <what> failed: <why>" on standard error and ends the
// process with exit code 1, without the exit-time work of a clean run: the
// next start of the cookie jar reports the unclean exit.
[[noreturn]] void fail(const std::string& what, const std::string& why);

} // namespace zrhost
