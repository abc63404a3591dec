#include "tags/TagTypeTokenItor.h"

#include <cstring>

namespace {

bool isSeparator(char c) noexcept
{
  return c == '.' || c == '\\';
}

// The byte at `i`; past the text every byte reads as the terminator.
char byteAt(const LightweightString<char>& s, uint64_t i) noexcept
{
  return i < s.size() ? s.c_str()[i] : '\0';
}

// The text from `from` to the end of the id; empty when `from` is past it.
const char* tailFrom(const LightweightString<char>& s, uint64_t from) noexcept
{
  return from < s.size() ? s.c_str() + from : "";
}

} // namespace

TagTypeTokenItor& TagTypeTokenItor::operator++() noexcept
{
  const LightweightString<char>& s = text();
  // The nearer of the next "\" and the next "." is the first separator.
  for (uint64_t i = uint64_t(pos_) + 1; i < s.size(); ++i) {
    if (isSeparator(s.c_str()[i])) {
      pos_ = uint32_t(i);
      break;
    }
  }
  return *this;
}

TagTypeTokenItor TagTypeTokenItor::operator++(int) noexcept
{
  TagTypeTokenItor before(*this);
  ++*this;
  return before;
}

TagTypeTokenItor& TagTypeTokenItor::operator--() noexcept
{
  const LightweightString<char>& s = text();
  if (s.empty()) return *this;
  for (uint32_t i = pos_; i-- > 0;) {
    if (isSeparator(byteAt(s, i))) {
      pos_ = i;
      break;
    }
  }
  return *this;
}

TagTypeTokenItor TagTypeTokenItor::operator--(int) noexcept
{
  TagTypeTokenItor before(*this);
  --*this;
  return before;
}

LightweightString<char> TagTypeTokenItor::operator*() const
{
  const LightweightString<char>& s = text();
  if (s.empty()) return LightweightString<char>();
  const uint64_t from = uint64_t(pos_) + 1;
  if (isAtEnd()) return LightweightString<char>(tailFrom(s, from));
  TagTypeTokenItor next(*this);
  ++next;
  // A copy that cannot move leaves a range that ends before it starts.
  if (next.pos_ < from) return LightweightString<char>();
  return LightweightString<char>(s.c_str() + from, unsigned(next.pos_ - from));
}

bool TagTypeTokenItor::operator==(const char* rhs) const noexcept
{
  if (!rhs) rhs = "";
  if (isAtEnd()) return std::strcmp(tailFrom(text(), uint64_t(pos_) + 1), rhs) == 0;
  const LightweightString<char> token = **this;
  return std::strcmp(token.c_str(), rhs) == 0;
}

TagTokenType TagTypeTokenItor::getTokenType() const noexcept
{
  const LightweightString<char>& s = text();
  if (s.empty()) return eTagTokenNone;
  switch (byteAt(s, pos_)) {
  case '\\':
    return eTagTokenBackslash;
  case '.':
    return eTagTokenDot;
  default:
    return eTagTokenNone;
  }
}

void TagTypeTokenItor::moveToEnd() noexcept
{
  const LightweightString<char>& s = text();
  if (s.empty()) return;
  pos_ = s.size() + 1;
  --*this;
}

bool TagTypeTokenItor::isAtEnd() const noexcept
{
  TagTypeTokenItor end(*this);
  end.moveToEnd();
  return end.pos_ == pos_;
}

bool TagTypeTokenItor::moveOver(const char* prefix) noexcept
{
  const LightweightString<char>& s = text();
  if (s.empty() || !prefix) return false;
  const size_t n = std::strlen(prefix);
  // The prefix is matched from the start of the id but the step is taken
  // from the position; the two agree only at position 0.
  if (std::strncmp(s.c_str(), prefix, n) != 0) return false;
  const char next = byteAt(s, uint64_t(pos_) + n);
  if (isSeparator(next)) {
    pos_ += uint32_t(n);
    return true;
  }
  if (next == '\0') {
    moveToEnd();
    return true;
  }
  return false;
}

LightweightString<char> TagTypeTokenItor::getIdToCurrentPos() const
{
  const LightweightString<char>& s = text();
  // The head runs through the separator; past the text it is the whole id.
  const uint64_t head = uint64_t(pos_) + 1;
  LightweightString<char> result(s.c_str(), unsigned(head < s.size() ? head : s.size()));
  result += **this;
  return result;
}

bool TagTypeTokenItor::findNextMatch(const LightweightString<char>& wanted, TagTokenType kind)
{
  TagTypeTokenItor probe(*this);
  // The end test comes first, so the last token is never examined.
  while (!probe.isAtEnd()) {
    const bool kindMatches = kind == eTagTokenAny || kind == probe.getTokenType();
    if (kindMatches && (wanted.empty() || *probe == wanted)) {
      *this = probe;
      return true;
    }
    ++probe;
  }
  return false;
}
