// The soft assertion of the library: a failed check prints one line on
// standard output and execution goes on with the value the caller chooses.
#pragma once

namespace Zr {

// Prints "assertion failed <expression> at <place>\n" on standard output.
// `place` is the source's place text, such as "misc/tag line 76".
void assertionFailed(const char* expression, const char* place) noexcept;

// Returns `condition`, printing the assertion line when it is false, so that
// a caller can write: if (!Zr::softAssert(i < size_, "i < size_", "Zr/Vector line 61")) ...
inline bool softAssert(bool condition, const char* expression, const char* place) noexcept
{
  if (!condition) assertionFailed(expression, place);
  return condition;
}

} // namespace Zr

// ZR_ASSERT(i < size_, "Zr/Vector line 61") prints "assertion failed i < size_ at Zr/Vector line 61".
#define ZR_ASSERT(condition, place) ::Zr::softAssert(static_cast<bool>(condition), #condition, place)
