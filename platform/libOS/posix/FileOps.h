// The file manager's operations on UTF-8 system paths: durable replace,
// copy and listing.
#pragma once

#include <string>
#include <vector>

#include "libOS/iFileManager.h"

namespace posix {

// Renames `from` to `to`, replacing `to` atomically. The source's data is
// flushed before the rename and the folders after it. Across file systems
// a regular file is copied durably and the source deleted.
bool durableRename(const std::string& from, const std::string& to);

// Copies a regular file's content, permission bits and times. The copy is
// made beside the target and renamed onto it, so a failed copy leaves the
// target as it was; with failIfExists an existing target fails the call.
bool copyRegularFile(const std::string& from, const std::string& to, bool failIfExists);

// Lists `folder` into `items` (appended, sorted by name without regard to
// case, then by exact name), keeping names that match `pattern` (see
// Wildcard.h). False if the folder cannot be read.
bool listFolder(const std::string& folder, const LightweightString<wchar_t>& pattern, bool wantFiles,
                bool wantDirs, std::vector<iFileManager::DirectoryItem>& items);

} // namespace posix
