// Where the editor's files live: the user root and the projects folders.
//
// The user root is the platform's user data folder (special folder 4), then
// the application's data folder name, then a separator. Every directory
// given here ends in the file manager's separator. The strings are made at
// first use; after that they are read without a lock, and the projects base
// is changed only by the thread that changes projects.
#pragma once

#include "libOS/LightweightString.h"
#include "libOS/iSettings.h"

namespace Zr {
namespace PathsLite {
// Special folder 4, then the data folder name, with no separator behind.
LightweightString<wchar_t> getUserDataPath();
} // namespace PathsLite
} // namespace Zr

// The user root, with a separator behind; made if it is missing.
LightweightString<wchar_t> getUserRootDirectory();

// The user root, "Projects", separator: where new projects go by default.
// Made at first use if it is missing; a folder that cannot be made is
// logged as "WARNING! Unable to make Projects folder\n" and given all the same.
LightweightString<wchar_t> getDefaultLocalProjectsDir();

// The folder holding the current projects: the default local projects
// folder until setProjectsBaseDirectory names another.
LightweightString<wchar_t> getProjectsBaseDirectory();

// Makes `dir` the projects base, with a separator added when it lacks one,
// and logs "Setting project base directory %s\n". An empty `dir` changes
// nothing. Gives true.
bool setProjectsBaseDirectory(const LightweightString<wchar_t>& dir);

// The shared root: the platform's shared data folder (special folder 3),
// then "korvane/". Not made here: it comes with the installation.
LightweightString<wchar_t> getSharedRootDirectory();

// Where "strings.txt" and the other language files lie: the shared root.
LightweightString<wchar_t> getLanguageFileDir();

// The preferences folder: the shared root's "Preferences/" for a non-zero
// type, the user root's for 0. The user's is made at first use if it is
// missing; the shared one is not.
LightweightString<wchar_t> getPrefsDirectory(iSettings::eType type);
