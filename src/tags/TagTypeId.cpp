#include "tags/TagTypeId.h"

#include <cstring>

#include "tags/TagTypeTokenItor.h"

TagTypeId& TagTypeId::operator=(const TagTypeId& other) noexcept
{
  if (this != &other) id_ = other.id_;
  return *this;
}

bool TagTypeId::appendTypeToken(const LightweightString<char>& token, TagTokenType kind)
{
  if (token.empty()) return false;
  if (kind == eTagTokenBackslash) {
    // Backslash tokens come before dot tokens.
    TagTypeTokenItor it(*this);
    if (it.findNextMatch(LightweightString<char>(), eTagTokenDot)) return false;
  }
  const char* t = token.c_str();
  if (std::memchr(t, '\\', token.size()) || std::memchr(t, '.', token.size())) return false;

  const char separator = kind == eTagTokenBackslash ? '\\' : '.';
  LightweightString<char> grown = id_;
  grown.push_back(separator);
  grown += token;
  id_ = grown;
  return true;
}
