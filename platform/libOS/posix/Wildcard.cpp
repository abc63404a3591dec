#include "libOS/posix/Wildcard.h"

namespace posix {

wchar_t foldCase(wchar_t c)
{
  if (c < 0x80) return (c >= L'A' && c <= L'Z') ? wchar_t(c + 32) : c;
  // Latin-1: À to Þ, except the multiplication sign.
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return wchar_t(c + 32);
  // Latin Extended-A pairs capitals and small letters as even and odd, with
  // an offset run from Ĺ to Ň and from Ź to Ž. The Turkish dotted and
  // dotless i are no pair and stay as they are.
  if (c >= 0x100 && c <= 0x137 && c != 0x130 && c != 0x131) return wchar_t(c | 1);
  if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return (c & 1) ? wchar_t(c + 1) : c;
  if (c >= 0x14A && c <= 0x177) return wchar_t(c | 1);
  if (c == 0x178) return 0xFF;
  // Greek capitals Α to Ω (no capital at U+03A2).
  if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return wchar_t(c + 32);
  // Cyrillic: Ѐ to Џ, then А to Я.
  if (c >= 0x400 && c <= 0x40F) return wchar_t(c + 80);
  if (c >= 0x410 && c <= 0x42F) return wchar_t(c + 32);
  return c;
}

namespace {

bool containsDot(const wchar_t* s, size_t n)
{
  for (size_t i = 0; i < n; ++i)
    if (s[i] == L'.') return true;
  return false;
}

// "*" and "?" matching. On a mismatch after a star, the star takes one more
// character and matching resumes behind it; only the last star needs to be
// retried, which keeps the work linear in each input.
bool globMatch(const wchar_t* name, size_t n, const wchar_t* pat, size_t m)
{
  size_t i = 0, j = 0;
  size_t starPat = size_t(-1), starName = 0;
  while (i < n) {
    if (j < m && pat[j] == L'*') {
      starPat = j++;
      starName = i;
    } else if (j < m && (pat[j] == L'?' || foldCase(pat[j]) == foldCase(name[i]))) {
      ++i;
      ++j;
    } else if (starPat != size_t(-1)) {
      j = starPat + 1;
      i = ++starName;
    } else {
      return false;
    }
  }
  while (j < m && pat[j] == L'*') ++j;
  return j == m;
}

} // namespace

bool wildcardMatch(const wchar_t* name, size_t n, const wchar_t* pat, size_t m)
{
  // "x.*": the dot and the star may also stand for no extension at all.
  if (m >= 2 && pat[m - 1] == L'*' && pat[m - 2] == L'.') {
    if (globMatch(name, n, pat, m)) return true;
    return !containsDot(name, n) && wildcardMatch(name, n, pat, m - 2);
  }
  // A trailing dot asks for a name without an extension.
  if (m >= 1 && pat[m - 1] == L'.') {
    if (containsDot(name, n)) return false;
    while (m > 0 && pat[m - 1] == L'.') --m;
    return globMatch(name, n, pat, m);
  }
  return globMatch(name, n, pat, m);
}

} // namespace posix
