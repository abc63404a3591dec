// Windows wildcard matching of file names, as folder listings use it.
#pragma once

#include <cstddef>

namespace posix {

// True if `name` matches `pattern` under the rules that Windows users expect
// of a listing, without regard to case:
//   "*"   any run of characters, also an empty one;
//   "?"   exactly one character;
//   "x.*" also matches a name "x" that has no extension, so "*.*" matches
//         every name;
//   "x."  (a trailing dot) matches only names without a dot, so "*." lists
//         the names that have no extension.
// Backtracking is bounded: the time is at most length(name) * length(pattern).
bool wildcardMatch(const wchar_t* name, size_t nameLength, const wchar_t* pattern, size_t patternLength);

// The character that case-insensitive comparisons of names use: Latin,
// Greek and Cyrillic capitals fold to their small letters.
wchar_t foldCase(wchar_t c);

} // namespace posix
