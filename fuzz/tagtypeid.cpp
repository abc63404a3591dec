// Builds a type id from arbitrary bytes and drives a token iterator over it
// with arbitrary operations, checking after each one what must hold: the
// position stays on 0, a separator or the end; a token never holds a
// separator; the text up to the position is a prefix of the id; the moves,
// searches and appends do what the id's bytes say they should.
//
// The only searches left out are the ones that never return by design: on a
// non-empty id with no separator, a search from position 0 that does not
// match there at once, and a backslash append that starts one.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tags/TagTypeTokenItor.h"

namespace {

using Str = LightweightString<char>;

bool isSeparator(char c)
{
  return c == '.' || c == '\\';
}

struct Model
{
  std::string text;

  size_t len() const { return text.size(); }
  bool hasSeparator() const { return text.find_first_of(".\\") != std::string::npos; }
  long lastSeparator() const
  {
    const size_t at = text.find_last_of(".\\");
    return at == std::string::npos ? -1 : long(at);
  }
  bool separatorAt(uint64_t i) const { return i < len() && isSeparator(text[i]); }
};

void check(bool ok)
{
  if (!ok) abort();
}

void checkInvariants(const Model& m, const TagTypeTokenItor& it)
{
  const uint64_t pos = it.position();
  const bool trapped = !m.text.empty() && !m.hasSeparator() && pos == 0;
  check(pos == 0 || m.separatorAt(pos) || (!m.hasSeparator() && pos == m.len() + 1));

  const bool atEnd =
      m.text.empty() || long(pos) == m.lastSeparator() || (!m.hasSeparator() && pos == m.len() + 1);
  check(it.isAtEnd() == atEnd);

  const TagTokenType type = it.getTokenType();
  if (m.text.empty() || pos >= m.len())
    check(type == eTagTokenNone);
  else if (m.text[pos] == '\\')
    check(type == eTagTokenBackslash);
  else if (m.text[pos] == '.')
    check(type == eTagTokenDot);
  else
    check(type == eTagTokenNone);

  const Str token = *it;
  check(std::strpbrk(token.c_str(), ".\\") == nullptr);
  check(it == token.c_str());

  const std::string head = it.getIdToCurrentPos().c_str();
  check(m.text.compare(0, head.size(), head) == 0);
  if (!trapped && head.size() < m.len()) check(isSeparator(m.text[head.size()]));
  if (!m.text.empty() && m.separatorAt(pos)) check(head.size() > pos);
  if (atEnd) check(head == m.text);
}

// Whether findNextMatch is one of the searches that never return.
bool searchNeverEnds(const Model& m, const TagTypeTokenItor& it, const Str& text, TagTokenType kind)
{
  if (m.text.empty() || m.hasSeparator() || it.position() != 0) return false;
  const bool matchesAtOnce = (kind == eTagTokenAny || kind == eTagTokenNone) && text.empty();
  return !matchesAtOnce;
}

void doFind(const Model& m, TagTypeTokenItor& it, const Str& text, TagTokenType kind)
{
  if (searchNeverEnds(m, it, text, kind)) return;
  const TagTypeTokenItor before(it);
  const bool found = it.findNextMatch(text, kind);
  if (!found) {
    check(it.position() == before.position());
    return;
  }
  check(it.position() >= before.position());
  check(!it.isAtEnd());
  if (kind != eTagTokenAny) check(it.getTokenType() == kind);
  if (!text.empty()) check(*it == text);
}

void doMoveOver(const Model& m, TagTypeTokenItor& it, const std::string& prefix)
{
  const uint64_t pos = it.position();
  const bool prefixMatches = m.text.compare(0, prefix.size(), prefix) == 0;
  const uint64_t next = pos + prefix.size();
  const bool expected = !m.text.empty() && prefixMatches && (next >= m.len() || m.separatorAt(next));
  const bool moved = it.moveOver(prefix.c_str());
  check(moved == expected);
  if (!moved)
    check(it.position() == pos);
  else if (next < m.len())
    check(it.position() == next);
  else
    check(it.isAtEnd());
}

bool doAppend(Model& m, TagTypeId& id, const std::string& token, TagTokenType kind)
{
  // A backslash append on an id with no separator is such a search.
  if (kind == eTagTokenBackslash && !token.empty() && !m.text.empty() && !m.hasSeparator()) return false;
  // A dot before the last separator is a dot token that the search finds.
  const long last = m.lastSeparator();
  const bool dotBeforeLast = last > 0 && m.text.find('.') < size_t(last);
  const bool expected = !token.empty() && token.find_first_of(".\\") == std::string::npos &&
                        !(kind == eTagTokenBackslash && dotBeforeLast);
  const bool appended = id.appendTypeToken(Str(token.c_str()), kind);
  check(appended == expected);
  if (appended) m.text += (kind == eTagTokenBackslash ? "\\" : ".") + token;
  check(id == m.text.c_str());
  return appended;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  if (size == 0) return 0;
  // The first byte gives the length of the id; a zero byte in it reads as a dot.
  size_t n = std::min<size_t>(data[0], size - 1);
  Model m;
  for (size_t i = 0; i < n; ++i) m.text.push_back(data[1 + i] ? char(data[1 + i]) : '.');
  TagTypeId id(m.text.c_str());
  check(id == m.text.c_str());
  TagTypeTokenItor it(id);
  checkInvariants(m, it);

  for (size_t i = 1 + n; i < size; ++i) {
    const uint8_t op = data[i];
    const uint8_t arg = i + 1 < size ? data[i + 1] : 0;
    const TagTokenType kind = TagTokenType(arg & 3);
    const uint64_t pos = it.position();
    switch (op % 9) {
    case 0: {
      ++it;
      const size_t next = pos + 1 <= m.len() ? m.text.find_first_of(".\\", pos + 1) : std::string::npos;
      check(it.position() == (next == std::string::npos ? pos : next));
      break;
    }
    case 1: {
      const TagTypeTokenItor old = it++;
      check(old.position() == pos);
      break;
    }
    case 2: {
      --it;
      uint64_t expected = pos;
      for (uint64_t b = pos; b-- > 0;)
        if (m.separatorAt(b)) {
          expected = b;
          break;
        }
      check(it.position() == expected);
      break;
    }
    case 3: {
      const TagTypeTokenItor old = it--;
      check(old.position() == pos);
      break;
    }
    case 4:
      it.moveToEnd();
      check(it.isAtEnd());
      break;
    case 5: {
      // Search for a token that the id holds: the one `arg >> 4` steps on.
      TagTypeTokenItor source(it);
      for (int s = 0; s < (arg >> 4); ++s) ++source;
      doFind(m, it, (arg & 4) ? Str() : *source, kind);
      ++i;
      break;
    }
    case 6: {
      // A prefix of the id, or a byte more than it.
      const size_t len = std::min<size_t>(arg >> 2, m.len() + 1);
      std::string prefix = m.text.substr(0, len);
      if (len > m.len()) prefix.push_back('x');
      doMoveOver(m, it, prefix);
      ++i;
      break;
    }
    case 7: {
      // The token is the next few input bytes, up to a zero byte.
      const size_t take = std::min<size_t>(arg >> 4, size - (i + 2));
      std::string token;
      for (size_t t = 0; t < take && data[i + 2 + t]; ++t) token.push_back(char(data[i + 2 + t]));
      // Past the text of an id with no separator is no position in a longer id.
      if (doAppend(m, id, token, kind) && pos > 0 && !m.separatorAt(pos)) it = TagTypeTokenItor(id);
      i += 1 + take;
      break;
    }
    default: {
      TagTypeTokenItor copy(it);
      copy = it;
      check(copy.position() == it.position());
      check(*copy == *it);
      break;
    }
    }
    checkInvariants(m, it);
  }
  return 0;
}
