// The roots of the locations service, as the environment gave them at the
// last read, for the file manager and the registry of this folder.
#pragma once

#include <string>

namespace posix {

// Every folder is a UTF-8 path with a trailing '/'.
struct LocationRoots
{
  std::string userData;       // special folder 4
  std::string sharedData;     // special folder 3
  std::string machine;        // the per-machine application folder
  std::string registryUser;   // folder of "user.reg"
  std::string registryShared; // folder of "shared.reg"
  std::string drives;         // folder holding one sub-folder per drive letter
  std::string application;    // folder of the running program
  std::string dataFolderName; // the application's folder name, no separator
};

// A copy of the roots; the environment is read on first use and by refresh().
// Thread-safe.
LocationRoots currentRoots();

// The sub-folder name the application uses in shared places.
inline constexpr const char* kApplicationFolder = "korvane";

} // namespace posix
