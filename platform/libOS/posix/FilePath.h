// Path helpers of the file manager: the Windows-style mapping, UTF-8 names
// for the system calls, and the folder operations that durable writes need.
#pragma once

#include <cstddef>
#include <string>

#include "libOS/LightweightString.h"

namespace posix {

std::string toUtf8(const LightweightString<wchar_t>& text);
LightweightString<wchar_t> fromUtf8(const std::string& text);

// Maps "X:..." and "\..." (drive c) onto `drives` + the lower-case letter,
// turning backslashes into slashes; any other path comes back unchanged.
// `drives` is a folder with a trailing '/'.
LightweightString<wchar_t> mapWindowsPath(const LightweightString<wchar_t>& path, const std::string& drives);

// The UTF-8 path for system calls. A Windows-style path also gets its drive
// folder made, since a drive is always there on the system those paths come
// from.
std::string nativePath(const LightweightString<wchar_t>& path);

// The folder part of a path, without a trailing '/': "." for a bare name,
// "/" for a name in the root.
std::string parentFolder(const std::string& path);

// Flushes a folder's entries to the disk. File systems that cannot sync a
// folder count as success.
bool syncFolder(const std::string& folder);

// Writes all of `size` bytes at the descriptor's position, going on after
// short writes and interruptions; false on an error.
bool writeAll(int fd, const char* data, size_t size);

// Makes a folder and its missing parents; true if it is a folder afterwards.
bool makeFolders(const std::string& path);

} // namespace posix
