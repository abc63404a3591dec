// Bulk helpers over LightweightString<char> and LightweightString<wchar_t>:
// case, white space, UTF-8, number text, suffixes and trimming.
//
// Every helper returns a new string (or shares its argument when nothing
// changes) and leaves its arguments alone; all are thread-safe. Narrow case
// rules are ASCII only; wide ones are Unicode's simple case mappings, the same
// whatever locale the host has set.
#pragma once

#include "libOS/LightweightString.h"

// Lower- and upper-case copies.
LightweightString<char> toLower(const LightweightString<char>& s);
LightweightString<wchar_t> toLower(const LightweightString<wchar_t>& s);
LightweightString<char> toUpper(const LightweightString<char>& s);
LightweightString<wchar_t> toUpper(const LightweightString<wchar_t>& s);

// True for the empty string and for a string of white space only.
bool isEssentiallyEmpty(const LightweightString<char>& s);
bool isEssentiallyEmpty(const LightweightString<wchar_t>& s);

// UTF-8 in and out; invalid input becomes U+FFFD (see libOS/Utf8.h).
LightweightString<char> toUTF8(const LightweightString<wchar_t>& s);
LightweightString<wchar_t> fromUTF8(const LightweightString<char>& s);
// Decodes exactly `bytes` bytes; a null text gives the empty string.
LightweightString<wchar_t> fromUTF8(const char* text, unsigned int bytes);

// Decimal text of an integer.
LightweightString<char> StringFromInteger(int value);
LightweightString<char> StringFromInteger(unsigned int value);
LightweightString<char> StringFromInteger(long value);
LightweightString<char> StringFromInteger(unsigned long value);
LightweightString<char> StringFromInteger(long long value);
LightweightString<char> StringFromInteger(unsigned long long value);

// The shortest text that strtod reads back to the same double; infinities
// give "inf" and "-inf", NaNs "nan".
LightweightString<char> StringFromFloat(double value);

// Appends the decimal text of an integer (a char still appends the character).
LightweightString<char>& operator+=(LightweightString<char>& s, int value);
LightweightString<char>& operator+=(LightweightString<char>& s, unsigned int value);
LightweightString<char>& operator+=(LightweightString<char>& s, long value);
LightweightString<char>& operator+=(LightweightString<char>& s, unsigned long value);
LightweightString<char>& operator+=(LightweightString<char>& s, long long value);
LightweightString<char>& operator+=(LightweightString<char>& s, unsigned long long value);

namespace Zr {

// The upper case of one character (ASCII for char).
char toUpper(char c);
wchar_t toUpper(wchar_t c);

// Wide decimal text of an integer.
LightweightString<wchar_t> WStringFromInteger(int value);
LightweightString<wchar_t> WStringFromInteger(unsigned int value);
LightweightString<wchar_t> WStringFromInteger(long value);
LightweightString<wchar_t> WStringFromInteger(unsigned long value);
LightweightString<wchar_t> WStringFromInteger(long long value);
LightweightString<wchar_t> WStringFromInteger(unsigned long long value);

// The wide form of StringFromFloat(value).
LightweightString<wchar_t> WStringFromFloat(double value);
// Fixed notation with `decimals` digits after the point (0 to 100; a negative
// count gives the shortest form). With trimZeros, trailing zeros and then a
// bare point are dropped, and a negative zero reads "0".
LightweightString<wchar_t> WStringFromFloat(double value, int decimals, bool trimZeros);

// Each byte widened as it is, with no decoding: for ASCII and Latin-1 text.
LightweightString<wchar_t> WStringFromAscii(const char* text);
LightweightString<wchar_t> WStringFromAscii(const char* text, unsigned int bytes);
LightweightString<wchar_t> WStringFromAscii(const LightweightString<char>& text);

// The base-10 integer at the start of the text, after white space and an
// optional sign, as wcstol reads it; 0 when there are no digits. Values out of
// range are clamped to INT_MIN or INT_MAX.
int IntFromWString(const wchar_t* text);
int IntFromWString(const LightweightString<wchar_t>& text);

// True if s ends with suffix; an empty suffix always matches.
bool endsWith(const LightweightString<char>& s, const LightweightString<char>& suffix,
              bool ignoreCase = false);
bool endsWith(const LightweightString<wchar_t>& s, const LightweightString<wchar_t>& suffix,
              bool ignoreCase = false);

// A copy without the characters of `chars` at the start or at the end; with
// null `chars`, white space.
LightweightString<char> stripLeadingChars(const LightweightString<char>& s, const char* chars = nullptr);
LightweightString<wchar_t> stripLeadingChars(const LightweightString<wchar_t>& s,
                                             const wchar_t* chars = nullptr);
LightweightString<char> stripTrailingChars(const LightweightString<char>& s, const char* chars = nullptr);
LightweightString<wchar_t> stripTrailingChars(const LightweightString<wchar_t>& s,
                                              const wchar_t* chars = nullptr);

// White space as these helpers see it: the six ASCII spaces for char, and
// Unicode's spaces too for wchar_t.
bool isWhiteSpace(char c);
bool isWhiteSpace(wchar_t c);

} // namespace Zr
