// The UTF-8 codec of the libraries, for file names at this layer and for the
// string helpers of libzr.
//
// Decoding never fails and never reads past the end: each maximal invalid
// subsequence (a stray continuation byte, an overlong form, a surrogate, a
// value above U+10FFFF, a sequence cut short) becomes one U+FFFD, as the
// Unicode standard recommends. Encoding turns surrogates, values above
// U+10FFFF and negative wchar_t values into U+FFFD. All functions are
// thread-safe.
#pragma once

#include <cstddef>

#include "libOS/LightweightString.h"

namespace OSUtf8 {

// Decodes `bytes` bytes into `out`, which must hold `bytes` characters.
// Returns the characters written.
size_t decode(const char* in, size_t bytes, wchar_t* out) noexcept;

// Encodes `count` characters into `out`, which must hold 4 * count bytes (or
// exactly encodedLength bytes). Returns the bytes written.
size_t encode(const wchar_t* in, size_t count, char* out) noexcept;

// Exact bytes that encode() writes for the text.
size_t encodedLength(const wchar_t* in, size_t count) noexcept;

// The decoded or encoded text as a new string; null or empty input gives the
// empty string. Throws std::bad_alloc only when the result cannot be held.
LightweightString<wchar_t> toWide(const char* in, size_t bytes);
LightweightString<char> toNarrow(const wchar_t* in, size_t count);

} // namespace OSUtf8
