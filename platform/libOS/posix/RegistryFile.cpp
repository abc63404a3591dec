#include "libOS/posix/RegistryFile.h"

#include <cstring>

namespace posix {
namespace RegistryFile {

Contents::Contents() : sections_(1), indexes_(1)
{
  sectionIndex_[std::string()] = 0;
}

const Section* Contents::section(const std::string& name) const
{
  auto it = sectionIndex_.find(name);
  return it == sectionIndex_.end() ? nullptr : &sections_[it->second];
}

const std::string* Contents::find(const std::string& section, const std::string& name) const
{
  auto s = sectionIndex_.find(section);
  if (s == sectionIndex_.end()) return nullptr;
  const Index& index = indexes_[s->second];
  auto v = index.names.find(name);
  return v == index.names.end() ? nullptr : &sections_[s->second].values[v->second].value;
}

bool Contents::set(const std::string& section, const std::string& name, const std::string& value)
{
  auto s = sectionIndex_.find(section);
  size_t at;
  if (s == sectionIndex_.end()) {
    at = sections_.size();
    sections_.push_back(Section{section, {}});
    indexes_.emplace_back();
    sectionIndex_[section] = at;
  } else {
    at = s->second;
  }
  Section& target = sections_[at];
  auto [v, added] = indexes_[at].names.emplace(name, target.values.size());
  if (added) {
    target.values.push_back(Value{name, value});
    return true;
  }
  std::string& old = target.values[v->second].value;
  if (old == value) return false;
  old = value;
  return true;
}

bool Contents::remove(const std::string& section, const std::string& name)
{
  auto s = sectionIndex_.find(section);
  if (s == sectionIndex_.end()) return false;
  const size_t at = s->second;
  auto v = indexes_[at].names.find(name);
  if (v == indexes_[at].names.end()) return false;
  const size_t position = v->second;
  Section& target = sections_[at];
  target.values.erase(target.values.begin() + long(position));
  indexes_[at].names.erase(v);
  reindex(at, position);
  if (at != 0 && target.values.empty()) {
    sections_.erase(sections_.begin() + long(at));
    indexes_.erase(indexes_.begin() + long(at));
    sectionIndex_.erase(s);
    for (auto& entry : sectionIndex_)
      if (entry.second > at) --entry.second;
  }
  return true;
}

void Contents::reindex(size_t section, size_t from)
{
  const std::vector<Value>& values = sections_[section].values;
  for (size_t i = from; i < values.size(); ++i) indexes_[section].names[values[i].name] = i;
}

size_t Contents::valueCount() const
{
  size_t n = 0;
  for (const Section& s : sections_) n += s.values.size();
  return n;
}

namespace {

enum class Field
{
  kName,
  kValue,
  kSection,
};

const char kHex[] = "0123456789ABCDEF";

int hexDigit(char c)
{
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Length of the well-formed UTF-8 sequence at s[i] (a byte of 0x80 or more),
// or 0 if there is none: no overlong forms, surrogates or values past
// U+10FFFF.
size_t utf8Length(const std::string& s, size_t i)
{
  const auto byte = [&](size_t k) { return k < s.size() ? (unsigned char)s[k] : 0u; };
  const unsigned b0 = byte(i);
  const auto cont = [&](size_t k) { return (byte(k) & 0xC0) == 0x80; };
  if (b0 >= 0xC2 && b0 <= 0xDF) return cont(i + 1) ? 2 : 0;
  if (b0 >= 0xE0 && b0 <= 0xEF) {
    const unsigned b1 = byte(i + 1);
    const unsigned lo = b0 == 0xE0 ? 0xA0 : 0x80;
    const unsigned hi = b0 == 0xED ? 0x9F : 0xBF;
    return (b1 >= lo && b1 <= hi && cont(i + 2)) ? 3 : 0;
  }
  if (b0 >= 0xF0 && b0 <= 0xF4) {
    const unsigned b1 = byte(i + 1);
    const unsigned lo = b0 == 0xF0 ? 0x90 : 0x80;
    const unsigned hi = b0 == 0xF4 ? 0x8F : 0xBF;
    return (b1 >= lo && b1 <= hi && cont(i + 2) && cont(i + 3)) ? 4 : 0;
  }
  return 0;
}

void appendEscaped(std::string& out, const std::string& text, Field field)
{
  const size_t n = text.size();
  for (size_t i = 0; i < n;) {
    const unsigned char c = (unsigned char)text[i];
    bool escape = c == '%' || c < 0x20 || c == 0x7F;
    if (c == ' ' && (i == 0 || i == n - 1)) escape = true;
    if (field == Field::kName && (c == '=' || (i == 0 && (c == '[' || c == ';' || c == '#')))) escape = true;
    if (c >= 0x80 && !escape) {
      const size_t length = utf8Length(text, i);
      if (length > 0) {
        out.append(text, i, length);
        i += length;
        continue;
      }
      escape = true;
    }
    if (escape) {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    } else {
      out += char(c);
    }
    ++i;
  }
}

bool unescape(const char* p, size_t n, std::string& out)
{
  out.clear();
  out.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    if (p[i] != '%') {
      out += p[i];
      continue;
    }
    const int hi = i + 1 < n ? hexDigit(p[i + 1]) : -1;
    const int lo = i + 2 < n ? hexDigit(p[i + 2]) : -1;
    if (hi < 0 || lo < 0) return false;
    out += char(hi * 16 + lo);
    i += 2;
  }
  return true;
}

bool isBlank(char c)
{
  return c == ' ' || c == '\t';
}

void trim(const char*& p, size_t& n)
{
  while (n > 0 && isBlank(p[0])) {
    ++p;
    --n;
  }
  while (n > 0 && isBlank(p[n - 1])) --n;
}

bool hasRawControl(const char* p, size_t n)
{
  for (size_t i = 0; i < n; ++i) {
    const unsigned char c = (unsigned char)p[i];
    if ((c < 0x20 && c != '\t') || c == 0x7F) return true;
  }
  return false;
}

} // namespace

bool parse(const char* data, size_t size, Contents& contents, unsigned& badLines)
{
  contents = Contents();
  badLines = 0;
  if (size >= 3 && (unsigned char)data[0] == 0xEF && (unsigned char)data[1] == 0xBB &&
      (unsigned char)data[2] == 0xBF) {
    data += 3;
    size -= 3;
  }
  std::string section, name, value;
  bool sectionKnown = true;
  size_t start = 0;
  while (start < size) {
    size_t end = start;
    while (end < size && data[end] != '\n') ++end;
    const char* line = data + start;
    size_t n = end - start;
    start = end + 1;
    if (n > 0 && line[n - 1] == '\r') --n;
    trim(line, n);
    if (n == 0 || line[0] == ';' || line[0] == '#') continue;
    if (hasRawControl(line, n)) {
      ++badLines;
      continue;
    }
    if (line[0] == '[') {
      sectionKnown = n >= 2 && line[n - 1] == ']';
      if (sectionKnown) {
        const char* inner = line + 1;
        size_t innerLength = n - 2;
        trim(inner, innerLength);
        sectionKnown = unescape(inner, innerLength, section);
      }
      if (!sectionKnown) ++badLines;
      continue;
    }
    const char* eq = static_cast<const char*>(std::memchr(line, '=', n));
    if (!eq || !sectionKnown) {
      ++badLines;
      continue;
    }
    const char* namePart = line;
    size_t nameLength = size_t(eq - line);
    const char* valuePart = eq + 1;
    size_t valueLength = n - nameLength - 1;
    trim(namePart, nameLength);
    trim(valuePart, valueLength);
    if (!unescape(namePart, nameLength, name) || !unescape(valuePart, valueLength, value)) {
      ++badLines;
      continue;
    }
    contents.set(section, name, value);
  }
  return badLines == 0;
}

std::string write(const Contents& contents)
{
  std::string out =
      "; Korvane settings: name=value lines under [Section] headers; %XX stands for the byte XX.\n";
  for (const Section& s : contents.sections()) {
    if (!s.name.empty()) {
      if (s.values.empty()) continue;
      out += "\n[";
      appendEscaped(out, s.name, Field::kSection);
      out += "]\n";
    }
    for (const Value& v : s.values) {
      appendEscaped(out, v.name, Field::kName);
      out += '=';
      appendEscaped(out, v.value, Field::kValue);
      out += '\n';
    }
  }
  return out;
}

} // namespace RegistryFile
} // namespace posix
