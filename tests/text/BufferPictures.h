// Pictures of a text buffer for the buffer and text engine tests.
#pragma once

#include <cstring>
#include <string>

#include "text/buf.h"

namespace textpictures {

// The buffer's text.
inline std::string contents(buf& b)
{
  std::string out(b.getused() + 1, '\0');
  strcpy(out.data(), b);
  out.resize(b.getused());
  return out;
}

// The text with a '|' where the cursor is.
inline std::string withCursor(buf& b)
{
  std::string s = contents(b);
  return s.insert(b.getindex(), "|");
}

} // namespace textpictures
