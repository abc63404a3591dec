// Zr::AttribValuePair, one "attribute=value" line of the libraries' text
// files (preferences, resource strings, macros), read and written alike.
//
// Reading splits at the first separator and trims white space from both
// parts; writing joins attribute, separator and value as they are. So a pair
// read back from what asString wrote is the pair written, as long as the
// attribute holds no separator and neither part has white space at its ends;
// a value may hold the separator.
#pragma once

#include "libOS/LightweightString.h"

namespace Zr {

// The character type follows from the arguments: Zr::AttribValuePair pair(line).
template <class T = char> class AttribValuePair
{
public:
  using String = LightweightString<T>;

  // An empty pair; not valid.
  AttribValuePair() = default;

  // Reads a line. A null separator means "=". The pair is valid when the
  // separator occurs and the attribute is not empty after trimming.
  explicit AttribValuePair(const LightweightString<T>& line, const T* separator = nullptr);
  explicit AttribValuePair(const T* line, const T* separator = nullptr);

  // A pair to write; valid when the attribute is not empty.
  AttribValuePair(const LightweightString<T>& attrib, const LightweightString<T>& value,
                  const T* separator = nullptr);

  bool valid() const noexcept { return valid_; }
  const String& attrib() const noexcept { return attrib_; }
  const String& value() const noexcept { return value_; }
  const String& separator() const noexcept { return separator_; }

  // attrib, separator and value joined.
  String asString() const;

private:
  static String separatorOrDefault(const T* separator);

  String attrib_;
  String value_;
  String separator_;
  bool valid_ = false;
};

extern template class AttribValuePair<char>;
extern template class AttribValuePair<wchar_t>;

} // namespace Zr
