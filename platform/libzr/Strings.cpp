#include "libzr/Strings.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <locale.h>
#include <system_error>

#include "libOS/Utf8.h"

namespace {

// The wide case and space tables of C.UTF-8, whatever locale the host runs
// in: the "C" locale maps only ASCII. Null when the C library lacks it.
locale_t unicodeLocale()
{
  static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(0));
  return locale;
}

inline char asciiLower(char c)
{
  return c >= 'A' && c <= 'Z' ? char(c + ('a' - 'A')) : c;
}
inline char asciiUpper(char c)
{
  return c >= 'a' && c <= 'z' ? char(c - ('a' - 'A')) : c;
}

inline wchar_t wideLower(wchar_t c)
{
  if (uint32_t(c) < 0x80) return wchar_t(asciiLower(char(c)));
  const locale_t locale = unicodeLocale();
  return locale ? wchar_t(towlower_l(wint_t(c), locale)) : c;
}

inline wchar_t wideUpper(wchar_t c)
{
  if (uint32_t(c) < 0x80) return wchar_t(asciiUpper(char(c)));
  const locale_t locale = unicodeLocale();
  return locale ? wchar_t(towupper_l(wint_t(c), locale)) : c;
}

inline char foldCase(char c)
{
  return asciiLower(c);
}
inline wchar_t foldCase(wchar_t c)
{
  return wideLower(c);
}

// Maps every character through fn; shares the original when none changes.
template <class T, class Fn> LightweightString<T> mapChars(const LightweightString<T>& s, Fn fn)
{
  const T* text = s.c_str();
  const unsigned int n = s.size();
  unsigned int first = 0;
  while (first < n && fn(text[first]) == text[first]) ++first;
  if (first == n) return s;
  LightweightString<T> result(text, n);
  T* out = result.writableBuffer();
  for (unsigned int i = first; i < n; ++i) out[i] = fn(text[i]);
  return result;
}

template <class T> bool isEmptyOrSpace(const LightweightString<T>& s)
{
  const T* text = s.c_str();
  for (unsigned int i = 0; i < s.size(); ++i)
    if (!Zr::isWhiteSpace(text[i])) return false;
  return true;
}

template <class T> bool inSet(T c, const T* chars)
{
  if (!chars) return Zr::isWhiteSpace(c);
  for (; *chars; ++chars)
    if (*chars == c) return true;
  return false;
}

template <class T> LightweightString<T> stripLeading(const LightweightString<T>& s, const T* chars)
{
  const T* text = s.c_str();
  const unsigned int n = s.size();
  unsigned int i = 0;
  while (i < n && inSet(text[i], chars)) ++i;
  if (i == 0) return s;
  return LightweightString<T>(text + i, n - i);
}

template <class T> LightweightString<T> stripTrailing(const LightweightString<T>& s, const T* chars)
{
  const T* text = s.c_str();
  unsigned int n = s.size();
  const unsigned int original = n;
  while (n > 0 && inSet(text[n - 1], chars)) --n;
  if (n == original) return s;
  return LightweightString<T>(text, n);
}

template <class T>
bool endsWithImpl(const LightweightString<T>& s, const LightweightString<T>& suffix, bool ignoreCase)
{
  const unsigned int n = s.size();
  const unsigned int m = suffix.size();
  if (m > n) return false;
  const T* a = s.c_str() + (n - m);
  const T* b = suffix.c_str();
  for (unsigned int i = 0; i < m; ++i) {
    if (a[i] == b[i]) continue;
    if (!ignoreCase || foldCase(a[i]) != foldCase(b[i])) return false;
  }
  return true;
}

// Room for any 64-bit integer in decimal, with its sign.
constexpr size_t kIntegerText = 24;

template <class I> LightweightString<char> narrowInteger(I value)
{
  char buffer[kIntegerText];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return LightweightString<char>(buffer, unsigned(result.ptr - buffer));
}

template <class I> LightweightString<wchar_t> wideInteger(I value)
{
  char buffer[kIntegerText];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return Zr::WStringFromAscii(buffer, unsigned(result.ptr - buffer));
}

template <class I> LightweightString<char>& appendInteger(LightweightString<char>& s, I value)
{
  char buffer[kIntegerText];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return s.append(buffer, unsigned(result.ptr - buffer));
}

// Writes the shortest round-trip text of value into buffer; returns its length.
size_t shortestFloat(double value, char* buffer, size_t size)
{
  if (std::isnan(value)) {
    std::memcpy(buffer, "nan", 3);
    return 3;
  }
  if (std::isinf(value)) {
    const char* text = value < 0 ? "-inf" : "inf";
    const size_t n = std::strlen(text);
    std::memcpy(buffer, text, n);
    return n;
  }
  const auto result = std::to_chars(buffer, buffer + size, value);
  return size_t(result.ptr - buffer);
}

// Shortest round trip needs at most 24 characters ("-2.2250738585072014e-308").
constexpr size_t kShortestFloatText = 32;

} // namespace

LightweightString<char> toLower(const LightweightString<char>& s)
{
  return mapChars(s, asciiLower);
}
LightweightString<wchar_t> toLower(const LightweightString<wchar_t>& s)
{
  return mapChars(s, wideLower);
}
LightweightString<char> toUpper(const LightweightString<char>& s)
{
  return mapChars(s, asciiUpper);
}
LightweightString<wchar_t> toUpper(const LightweightString<wchar_t>& s)
{
  return mapChars(s, wideUpper);
}

bool isEssentiallyEmpty(const LightweightString<char>& s)
{
  return isEmptyOrSpace(s);
}
bool isEssentiallyEmpty(const LightweightString<wchar_t>& s)
{
  return isEmptyOrSpace(s);
}

LightweightString<char> toUTF8(const LightweightString<wchar_t>& s)
{
  return OSUtf8::toNarrow(s.c_str(), s.size());
}

LightweightString<wchar_t> fromUTF8(const LightweightString<char>& s)
{
  return OSUtf8::toWide(s.c_str(), s.size());
}

LightweightString<wchar_t> fromUTF8(const char* text, unsigned int bytes)
{
  return OSUtf8::toWide(text, text ? bytes : 0);
}

LightweightString<char> StringFromInteger(int value)
{
  return narrowInteger(value);
}
LightweightString<char> StringFromInteger(unsigned int value)
{
  return narrowInteger(value);
}
LightweightString<char> StringFromInteger(long value)
{
  return narrowInteger(value);
}
LightweightString<char> StringFromInteger(unsigned long value)
{
  return narrowInteger(value);
}
LightweightString<char> StringFromInteger(long long value)
{
  return narrowInteger(value);
}
LightweightString<char> StringFromInteger(unsigned long long value)
{
  return narrowInteger(value);
}

LightweightString<char> StringFromFloat(double value)
{
  char buffer[kShortestFloatText];
  return LightweightString<char>(buffer, unsigned(shortestFloat(value, buffer, sizeof buffer)));
}

LightweightString<char>& operator+=(LightweightString<char>& s, int value)
{
  return appendInteger(s, value);
}
LightweightString<char>& operator+=(LightweightString<char>& s, unsigned int value)
{
  return appendInteger(s, value);
}
LightweightString<char>& operator+=(LightweightString<char>& s, long value)
{
  return appendInteger(s, value);
}
LightweightString<char>& operator+=(LightweightString<char>& s, unsigned long value)
{
  return appendInteger(s, value);
}
LightweightString<char>& operator+=(LightweightString<char>& s, long long value)
{
  return appendInteger(s, value);
}
LightweightString<char>& operator+=(LightweightString<char>& s, unsigned long long value)
{
  return appendInteger(s, value);
}

namespace Zr {

char toUpper(char c)
{
  return asciiUpper(c);
}
wchar_t toUpper(wchar_t c)
{
  return wideUpper(c);
}

LightweightString<wchar_t> WStringFromInteger(int value)
{
  return wideInteger(value);
}
LightweightString<wchar_t> WStringFromInteger(unsigned int value)
{
  return wideInteger(value);
}
LightweightString<wchar_t> WStringFromInteger(long value)
{
  return wideInteger(value);
}
LightweightString<wchar_t> WStringFromInteger(unsigned long value)
{
  return wideInteger(value);
}
LightweightString<wchar_t> WStringFromInteger(long long value)
{
  return wideInteger(value);
}
LightweightString<wchar_t> WStringFromInteger(unsigned long long value)
{
  return wideInteger(value);
}

LightweightString<wchar_t> WStringFromFloat(double value)
{
  char buffer[kShortestFloatText];
  return WStringFromAscii(buffer, unsigned(shortestFloat(value, buffer, sizeof buffer)));
}

LightweightString<wchar_t> WStringFromFloat(double value, int decimals, bool trimZeros)
{
  if (decimals < 0 || !std::isfinite(value)) return WStringFromFloat(value);
  if (decimals > 100) decimals = 100;
  // The largest double has 309 integer digits.
  char buffer[320 + 100];
  const auto result =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
  size_t n = size_t(result.ptr - buffer);
  if (trimZeros && std::memchr(buffer, '.', n)) {
    while (buffer[n - 1] == '0') --n;
    if (buffer[n - 1] == '.') --n;
    if (n == 2 && buffer[0] == '-' && buffer[1] == '0') {
      buffer[0] = '0';
      n = 1;
    }
  }
  return WStringFromAscii(buffer, unsigned(n));
}

LightweightString<wchar_t> WStringFromAscii(const char* text)
{
  return WStringFromAscii(text, text ? unsigned(std::strlen(text)) : 0);
}

LightweightString<wchar_t> WStringFromAscii(const char* text, unsigned int bytes)
{
  if (!text || bytes == 0) return LightweightString<wchar_t>();
  LightweightString<wchar_t> result(LightweightString<wchar_t>::createImpl(bytes, true));
  wchar_t* out = result.writableBuffer();
  // Bytes are widened as unsigned, so Latin-1 text keeps its code points.
  for (unsigned int i = 0; i < bytes; ++i) out[i] = wchar_t(static_cast<unsigned char>(text[i]));
  return result;
}

LightweightString<wchar_t> WStringFromAscii(const LightweightString<char>& text)
{
  return WStringFromAscii(text.c_str(), text.size());
}

int IntFromWString(const wchar_t* text)
{
  if (!text) return 0;
  const long value = std::wcstol(text, nullptr, 10);
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return int(value);
}

int IntFromWString(const LightweightString<wchar_t>& text)
{
  return IntFromWString(text.c_str());
}

bool endsWith(const LightweightString<char>& s, const LightweightString<char>& suffix, bool ignoreCase)
{
  return endsWithImpl(s, suffix, ignoreCase);
}

bool endsWith(const LightweightString<wchar_t>& s, const LightweightString<wchar_t>& suffix, bool ignoreCase)
{
  return endsWithImpl(s, suffix, ignoreCase);
}

LightweightString<char> stripLeadingChars(const LightweightString<char>& s, const char* chars)
{
  return stripLeading(s, chars);
}

LightweightString<wchar_t> stripLeadingChars(const LightweightString<wchar_t>& s, const wchar_t* chars)
{
  return stripLeading(s, chars);
}

LightweightString<char> stripTrailingChars(const LightweightString<char>& s, const char* chars)
{
  return stripTrailing(s, chars);
}

LightweightString<wchar_t> stripTrailingChars(const LightweightString<wchar_t>& s, const wchar_t* chars)
{
  return stripTrailing(s, chars);
}

bool isWhiteSpace(char c)
{
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isWhiteSpace(wchar_t c)
{
  if (uint32_t(c) < 0x80) return isWhiteSpace(char(c));
  const locale_t locale = unicodeLocale();
  return locale && iswspace_l(wint_t(c), locale);
}

} // namespace Zr
