// The command line of zrhost: the library's StartEnv reads it, and this
// adds the host's own options with their values checked.
#pragma once

#include <string>

#include "core/StartEnv.h"

namespace zrhost {

// The host's options as StartEnv::usage and -help show them.
extern const wchar_t kOptionText[];
// The line that usage() puts before "Usage: ...".
extern const wchar_t kPreamble[];

struct HostOptions
{
  static constexpr int kDefaultObjects = 3000;
  static constexpr int kMaxObjects = 1000000;
  static constexpr double kDefaultSeconds = 1.0;
  static constexpr double kMaxSeconds = 3600.0;

  std::string project; // -project <dir>; empty when not given
  int objects = kDefaultObjects;
  double seconds = kDefaultSeconds;
  bool keep = false;  // -keep: leave the temporary folder behind
  bool quiet = false; // -quiet: skip the tour of the platform layer
  bool help = false;
};

// Reads the options of an env on which init() has run. Empty on success;
// else the text to show, ending with the usage message: StartEnv's own
// complaint, or ours about a misspelt option or a bad value.
std::string readOptions(StartEnv& env, HostOptions& options);

// The answer to -help: StartEnv's usage message, then a line for each
// option, the library's and the host's.
std::string helpText(StartEnv& env);

} // namespace zrhost
