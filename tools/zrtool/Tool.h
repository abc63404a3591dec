// The command table of zrtool and the helpers its commands share.
//
// Exit codes: 0 done, 1 bad data or a file that cannot be read or written,
// 2 a command line that makes no sense.
#pragma once

#include <string>
#include <vector>

namespace zrtool {

enum ExitCode
{
  eOk = 0,
  eBadData = 1,
  eUsage = 2,
};

using Args = std::vector<std::string>;

struct Command
{
  const char* name;
  // One line for the command list.
  const char* summary;
  // The full text of "zrtool NAME --help".
  const char* help;
  // Runs with the arguments after the command name; gives the exit code.
  int (*run)(const Args& args);
};

// Every command, in the order "zrtool --help" lists them.
const std::vector<Command>& commands();

int runCookie(const Args& args);
int runStamp(const Args& args);
int runConfig(const Args& args);
int runCompress(const Args& args);
int runUncompress(const Args& args);
int runDump(const Args& args);

// Prints "zrtool COMMAND: message" and a pointer to the command's help on
// stderr; gives eUsage.
int usageError(const char* command, const std::string& message);

// Prints "zrtool: cannot read FILE: reason" (or write) on stderr; gives eBadData.
int cannotRead(const std::string& file, const std::string& reason);
int cannotWrite(const std::string& file, const std::string& reason);

// Reads a whole regular file. False, with the reason, when it cannot.
bool readWholeFile(const std::string& path, std::string& data, std::string& reason);
// Creates or replaces a file with data. False, with the reason, when it cannot.
bool writeWholeFile(const std::string& path, const std::string& data, std::string& reason);
// Whether a path names a readable regular file; the reason when not.
bool isReadableFile(const std::string& path, std::string& reason);

} // namespace zrtool
