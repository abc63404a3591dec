#include "keys/UIString.h"

LightweightString<wchar_t> UIString::resolve() const
{
  return id_ == kNoResource ? text_ : resourceStrW(id_, format_);
}
