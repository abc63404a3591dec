#include "libzr/AttribValuePair.h"

#include "libzr/Strings.h"

namespace Zr {

namespace {

template <class T> LightweightString<T> trimmed(const T* text, unsigned int n)
{
  return stripTrailingChars(stripLeadingChars(LightweightString<T>(text, n)));
}

// Position of the first occurrence of needle in text, or -1.
template <class T> long findFirst(const LightweightString<T>& text, const LightweightString<T>& needle)
{
  const unsigned int n = text.size();
  const unsigned int m = needle.size();
  if (m == 0 || m > n) return -1;
  const T* t = text.c_str();
  const T* s = needle.c_str();
  for (unsigned int i = 0; i + m <= n; ++i) {
    unsigned int k = 0;
    while (k < m && t[i + k] == s[k]) ++k;
    if (k == m) return long(i);
  }
  return -1;
}

} // namespace

template <class T> LightweightString<T> AttribValuePair<T>::separatorOrDefault(const T* separator)
{
  if (separator) return String(separator);
  const T equals[] = {T('='), T(0)};
  return String(equals);
}

template <class T>
AttribValuePair<T>::AttribValuePair(const LightweightString<T>& line, const T* separator)
    : separator_(separatorOrDefault(separator))
{
  const long at = findFirst(line, separator_);
  if (at < 0) return;
  const T* text = line.c_str();
  const unsigned int split = unsigned(at);
  const unsigned int rest = split + separator_.size();
  attrib_ = trimmed(text, split);
  value_ = trimmed(text + rest, line.size() - rest);
  valid_ = !attrib_.empty();
}

template <class T>
AttribValuePair<T>::AttribValuePair(const T* line, const T* separator)
    : AttribValuePair(String(line), separator)
{}

template <class T>
AttribValuePair<T>::AttribValuePair(const LightweightString<T>& attrib, const LightweightString<T>& value,
                                    const T* separator)
    : attrib_(attrib), value_(value), separator_(separatorOrDefault(separator)), valid_(!attrib.empty())
{}

template <class T> LightweightString<T> AttribValuePair<T>::asString() const
{
  return attrib_ + separator_ + value_;
}

template class AttribValuePair<char>;
template class AttribValuePair<wchar_t>;

} // namespace Zr
