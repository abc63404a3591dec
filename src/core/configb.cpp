#include "core/configb.h"

#include <strings.h>

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/Assert.h"
#include "core/Dirtiable.h"
#include "files/TextFile.h"
#include "identity/Cookie.h"
#include "identity/IdStamp.h"
#include "libOS/OS.h"
#include "libzr/Strings.h"
#include "logging/DebugConsole.h"
#include "streaming/PStream.h"

int configb::debug = 0;
configb* configb::pconf_ = nullptr;
bool configb::initFailed_ = false;

namespace {

// The longest line a file may hold, newline included; a longer one ends the read.
constexpr int kLineLimit = 1024;
// Type words are short by rule; a longer one means a damaged block.
constexpr unsigned kMaxTypeLength = 20;

// Bytes from 128 up are never white space, whatever the locale says.
bool isWhite(char c)
{
  const unsigned char u = static_cast<unsigned char>(c);
  return u < 128 && std::isspace(u);
}

const char* orEmpty(const char* text)
{
  return text ? text : "";
}

// The system path of a wide or Windows-style path, for the standard streams.
std::string localPath(const LightweightString<wchar_t>& path)
{
  const LightweightString<char> narrow = toUTF8(OS()->fileManager()->mapPath(path));
  return std::string(narrow.c_str(), narrow.size());
}

std::string localPath(const char* file)
{
  return localPath(fromUTF8(LightweightString<char>(file)));
}

// Debug reports go to the console and, as one line, to standard output.
void report(const char* format, ...) __attribute__((format(printf, 1, 2)));
void report(const char* format, ...)
{
  char text[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  herc_printf("%s", text);
  std::printf("%s", text);
  std::fflush(stdout);
}

// "name[:type][ value]": the entry line of asString and dump, without indentation.
void appendEntry(std::string& out, const LightweightString<char>& name, const ConfigEntryT& entry)
{
  out.append(name.c_str(), name.size());
  if (!isEssentiallyEmpty(entry.type_)) {
    out += ':';
    out.append(entry.type_.c_str(), entry.type_.size());
  }
  if (!isEssentiallyEmpty(entry.value_)) {
    out += ' ';
    out.append(entry.value_.c_str(), entry.value_.size());
  }
}

} // namespace

int tokenise(const char* line, int* nameStart, int* nameEnd, int* valueStart, int* valueEnd, int* typeStart,
             int* typeEnd)
{
  // Callers may read the indices of a rejected line, so none is left unset.
  *nameStart = *nameEnd = *valueStart = *valueEnd = *typeStart = *typeEnd = 0;
  if (!line) return 0;
  const int length = int(std::strlen(line));

  int i = 0;
  while (i < length && isWhite(line[i])) ++i;
  *nameStart = i;
  if (i == length || line[i] == '#') return 0;

  int e = i;
  while (e < length && !isWhite(line[e])) ++e;
  *nameEnd = e;

  int v = e;
  while (v < length && isWhite(line[v])) ++v;
  *valueStart = v;

  int end = length;
  while (end > 0 && isWhite(line[end - 1])) --end;
  *valueEnd = end;

  // A ":" inside the first word splits it into name and type; later ones
  // belong to the value.
  const char* colon = std::strchr(line, ':');
  if (!colon) return 1;
  const int c = int(colon - line);
  if (c < *nameStart || c >= *nameEnd) return 1;
  *typeEnd = *nameEnd;
  *nameEnd = c;
  *typeStart = c + 1;
  return 1;
}

int configb::caseInsensitiveCompare::compare(const char* a, const char* b)
{
  return strcasecmp(orEmpty(a), orEmpty(b));
}

bool configb::caseInsensitiveCompare::operator()(const LightweightString<char>& a,
                                                 const LightweightString<char>& b) const
{
  return strcasecmp(a.c_str(), b.c_str()) < 0;
}

bool configb::caseInsensitiveCompare::operator()(const char* a, const LightweightString<char>& b) const
{
  return strcasecmp(a, b.c_str()) < 0;
}

bool configb::caseInsensitiveCompare::operator()(const LightweightString<char>& a, const char* b) const
{
  return strcasecmp(a.c_str(), b) < 0;
}

configb::configb(Dirtiable* owner) : endStr_("}"), owner_(owner) {}

configb::configb(const char* file) : endStr_("}"), configName_(file)
{
  readNamedFile(file);
}

configb::configb(const char* file, const char* fallback) : endStr_("}"), configName_(file)
{
  int result = readNamedFile(file);
  if (result < 0) result = readNamedFile(fallback);
  initFailed_ = result != 0;
}

configb::configb(std::ifstream* in, const char* name, const char* endString)
    : endStr_(endString ? endString : "}"), configName_(name)
{
  file_ = in;
  if (file_ && !file_->fail()) read_all();
  file_ = nullptr;
  set_dirty(false);
}

configb::configb(PStream& stream) : endStr_("}")
{
  unsigned char version = 0;
  stream >> version;
  unpack(stream, version);
}

configb::configb(const configb& other)
    : Zr::InternalRefCount(), iObject(other), endStr_(other.endStr_), configName_(other.configName_),
      dirty_(other.dirty_), entries_(other.entries_)
{}

configb& configb::operator=(const configb& other)
{
  if (this == &other) return *this;
  configName_ = other.configName_;
  endStr_ = other.endStr_;
  entries_ = other.entries_;
  file_ = nullptr;
  return *this;
}

configb::~configb() = default;

void configb::init()
{
  dirty_ = false;
  file_ = nullptr;
  endStr_ = "}";
}

void configb::clear()
{
  entries_.clear();
}

void configb::set_end_str(const char* endString)
{
  endStr_ = endString;
}

void configb::set_config_name(const char* name)
{
  configName_ = name;
}

void configb::set_dirty(bool dirty)
{
  dirty_ = dirty;
  if (dirty && owner_) owner_->setDirty();
}

configb::Entries::const_iterator configb::find_var(const char* name) const
{
  if (!name) return entries_.end();
  return entries_.find(name);
}

int configb::in(const char* name, char* out) const
{
  auto it = find_var(name);
  if (it == entries_.end() || !out) return -1;
  std::strcpy(out, it->second.value_.c_str());
  return 0;
}

int configb::in(const char* name, char* out, int size) const
{
  auto it = find_var(name);
  if (it == entries_.end() || !out || size <= 0) return -1;
  if (isEssentiallyEmpty(it->second.value_)) {
    out[0] = 0;
    return -1;
  }
  std::strncpy(out, it->second.value_.c_str(), size_t(size));
  out[size - 1] = 0;
  return 0;
}

int configb::in(const char* name, int& out) const
{
  auto it = find_var(name);
  if (it == entries_.end()) return -1;
  const char* text = it->second.value_.c_str();
  if (std::isdigit(static_cast<unsigned char>(text[0])) || text[0] == '-')
    out = int(std::strtol(text, nullptr, 10));
  else if (std::strcmp(text, "true") == 0)
    out = 1;
  else if (std::strcmp(text, "false") == 0)
    out = 0;
  else
    return -1;
  return 0;
}

int configb::in(const char* name, unsigned int& out) const
{
  auto it = find_var(name);
  if (it == entries_.end()) return -1;
  out = static_cast<unsigned int>(std::strtol(it->second.value_.c_str(), nullptr, 10));
  return 0;
}

int configb::in(const char* name, double& out) const
{
  auto it = find_var(name);
  if (it == entries_.end()) return -1;
  out = std::strtod(it->second.value_.c_str(), nullptr);
  return 0;
}

int configb::in(const char* name, bool& out) const
{
  auto it = find_var(name);
  if (it == entries_.end()) return -1;
  const char* text = it->second.value_.c_str();
  if (std::strcmp(text, "true") == 0)
    out = true;
  else if (std::strcmp(text, "false") == 0)
    out = false;
  return 0;
}

int configb::in(const char* name, Cookie& out) const
{
  auto it = find_var(name);
  if (it == entries_.end()) return -1;
  // The text carries the sub-type that matters (always for S cookies).
  out = Cookie(it->second.value_.c_str(), true);
  return 0;
}

int configb::in(const char* name, IdStamp& out) const
{
  auto it = find_var(name);
  if (it == entries_.end()) return -1;
  out = IdStamp(it->second.value_.c_str());
  return 0;
}

int configb::in(const char* name, ConfigEntryT& out) const
{
  auto it = find_var(name);
  if (it == entries_.end()) return -1;
  out = it->second;
  return 0;
}

LightweightString<char> configb::in(const char* name) const
{
  auto it = find_var(name);
  if (it == entries_.end()) return LightweightString<char>();
  return it->second.value_;
}

int configb::remove(const char* name)
{
  auto it = find_var(name);
  if (it == entries_.end()) return -1;
  entries_.erase(it);
  set_dirty(true);
  return 0;
}

void configb::set(const char* name, const char* value, const char* type)
{
  if (!name) return;
  auto it = entries_.find(name);
  if (it != entries_.end()) {
    ConfigEntryT& entry = it->second;
    // A value of another type never overwrites, and the stored type stays.
    if (type && std::strcmp(type, entry.type_.c_str()) != 0) return;
    if (value && entry.value_ != value) {
      entry.value_ = value;
      set_dirty(true);
    }
    return;
  }
  entries_.emplace(LightweightString<char>(name),
                   ConfigEntryT{LightweightString<char>(type), LightweightString<char>(value)});
  set_dirty(true);
}

void configb::set(const char* name, const char* value)
{
  set(name, value, nullptr);
}

void configb::set(const char* name, const LightweightString<char>& value)
{
  set(name, value.c_str(), nullptr);
}

void configb::set(const char* name, const ConfigEntryT& entry)
{
  set(name, entry.value_.c_str(), entry.type_.c_str());
}

void configb::set(const char* name, int value)
{
  char text[16];
  std::snprintf(text, sizeof text, "%d", value);
  set(name, text, "int");
}

void configb::set(const char* name, double value)
{
  // %.8lf of a huge value runs to over 300 digits.
  char text[400];
  std::snprintf(text, sizeof text, "%.8lf", value);
  set(name, text, "double");
}

void configb::set(const char* name, bool value)
{
  set(name, value ? "true" : "false", "bool");
}

void configb::set(const char* name, const Cookie& value)
{
  set(name, value.asString(false).c_str(), "cookie");
}

void configb::set(const char* name, const IdStamp& value)
{
  set(name, value.asString().c_str(), "IdStamp");
}

void configb::pack(PStream& stream) const
{
  stream << std::uint32_t(entries_.size());
  for (const auto& [name, entry] : entries_) stream << name << entry.value_ << entry.type_;
}

void configb::unpack(PStream& stream, unsigned char version)
{
  (void)version;
  init();
  std::uint32_t count = 0;
  stream >> count;
  LightweightString<char> name, value, type;
  // A damaged count cannot run on for long: the first read past the end
  // flags the stream and the loop stops.
  for (std::uint32_t i = 0; i < count && !stream.hasError(); ++i) {
    stream >> name >> value >> type;
    if (stream.hasError()) break;
    set(name.c_str(), value.c_str(), type.empty() ? nullptr : type.c_str());
  }
  set_dirty(false);
}

int configb::read_from_file(std::ifstream* in)
{
  if (!in || in->fail()) {
    set_dirty(false);
    return 1;
  }
  file_ = in;
  // The opening "{", not examined.
  char line[kLineLimit];
  file_->getline(line, sizeof line);
  const int result = read_all();
  file_ = nullptr;
  set_dirty(false);
  return result;
}

int configb::read_all()
{
  int result = 0;
  while (file_ && result == 0) result = read_next_item();
  return result;
}

int configb::read_next_item()
{
  if (!file_) {
    if (debug > 0) report("configb::read_next_item: invalid file_ specified\n");
    return 1;
  }
  char line[kLineLimit];
  for (;;) {
    file_->getline(line, sizeof line);
    if (file_->gcount() == 0 && file_->eof()) {
      file_ = nullptr;
      if (debug > 0) report("configb::read_next_item: unexpected EOF in %s\n", configName_.c_str());
      return 1;
    }
    // Includes a line too long for the buffer: the rest of the file is not trusted.
    if (file_->fail() || file_->bad()) {
      file_->close();
      file_ = nullptr;
      return 1;
    }
    if (isComment(line) || isBlank(line)) continue;
    if (parseLine(line) == 1) file_ = nullptr;
    return 0;
  }
}

int configb::readNamedFile(const char* file)
{
  if (!file) return -1;
  std::ifstream in(localPath(file));
  if (!in.is_open()) {
    if (debug > 1) report("configb: cannot open %s\n", file);
    return -1;
  }
  if (debug > 1) report("configb: reading %s\n", file);
  return read_from_file(&in);
}

int configb::readFromFile(const LightweightString<wchar_t>& path)
{
  std::ifstream in(localPath(path));
  if (!in.is_open()) return 1;
  return read_from_file(&in);
}

int configb::parseLine(char* line)
{
  int nameStart, nameEnd, valueStart, valueEnd, typeStart, typeEnd;
  // Blank and comment lines have no entry; readers that reach here with one
  // (an indented comment, a blank line inside a string) skip it.
  if (tokenise(line, &nameStart, &nameEnd, &valueStart, &valueEnd, &typeStart, &typeEnd) == 0) return 0;
  line[valueEnd] = 0;
  // A prefix test: the closing line "} name" of config_outb ends a block.
  if (strncasecmp(line + nameStart, endStr_.c_str(), size_t(nameEnd - nameStart)) == 0) return 1;
  line[nameEnd] = 0;
  const char* value = nullptr;
  const char* type = nullptr;
  if (valueEnd > valueStart) value = line + valueStart;
  if (typeStart < typeEnd) {
    line[typeEnd] = 0;
    type = line + typeStart;
  }
  set(line + nameStart, value, type);
  return 0;
}

bool configb::isComment(const char* line)
{
  return line && line[0] == '#';
}

bool configb::isBlank(const char* line)
{
  if (!line) return true;
  for (; *line; ++line)
    if (!isWhite(*line)) return false;
  return true;
}

bool configb::fromString(const LightweightString<char>& text)
{
  const char* p = text.c_str();
  const size_t n = text.size();
  size_t pos = 0;
  bool first = true;
  // A run of newlines is one separator; an empty text is one empty line.
  auto next = [&](std::string& line) {
    if (!first) {
      while (pos < n && p[pos] == '\n') ++pos;
      if (pos >= n) return false;
    }
    first = false;
    size_t end = pos;
    while (end < n && p[end] != '\n') ++end;
    line.assign(p + pos, end - pos);
    pos = end;
    return true;
  };

  std::string line;
  if (!next(line) || line != "{") return false;
  while (next(line)) {
    if (endStr_ == line.c_str()) break;
    parseLine(line.data());
  }
  return true;
}

bool configb::buildFrom(const TextFile& file, unsigned int& index)
{
  if (index >= file.size() || !(file[index] == "{")) return false;
  unsigned int i = index + 1;
  for (; i < file.size(); ++i) {
    const LightweightString<char> line = file[i];
    if (line == endStr_) break;
    std::string copy(line.c_str(), line.size());
    parseLine(copy.data());
  }
  // Past the end line, or one past the last line when there was none.
  index = i + 1;
  return true;
}

bool configb::buildFrom(const TextFile& file)
{
  unsigned int index = 0;
  return buildFrom(file, index);
}

void configb::writeTo(TextFile& file, unsigned short indent) const
{
  const std::string margin(indent, ' ');
  const auto line = [&](const std::string& text) {
    file.appendLine(LightweightString<char>(text.c_str(), unsigned(text.size())));
  };
  line(margin + "{");
  for (const auto& [name, entry] : entries_) {
    std::string text = margin + "  ";
    appendEntry(text, name, entry);
    line(text);
  }
  line(margin + std::string(endStr_.c_str(), endStr_.size()));
}

LightweightString<char> configb::asString() const
{
  std::string out = "{\n";
  for (const auto& [name, entry] : entries_) {
    out += "  ";
    appendEntry(out, name, entry);
    out += '\n';
  }
  out.append(endStr_.c_str(), endStr_.size());
  return LightweightString<char>(out.c_str(), unsigned(out.size()));
}

void configb::dump(std::ofstream* out, const char* prefix) const
{
  if (!out) return;
  const size_t prefixLength = prefix ? std::strlen(prefix) : 0;
  std::string text = "{\n";
  for (auto iter = entries_.begin(); iter != entries_.end(); ++iter) {
    if (prefixLength && strncasecmp(iter->first.c_str(), prefix, prefixLength) != 0) continue;
    // Written all the same: the text still reads back.
    Zr::softAssert((*iter).second.type_.size() <= kMaxTypeLength, "(*iter).second.type_.size() <= 20",
                   "misc/configb line 622");
    appendEntry(text, iter->first, iter->second);
    text += '\n';
  }
  text.append(endStr_.c_str(), endStr_.size());
  text += '\n';
  out->write(text.data(), std::streamsize(text.size()));
}

bool configb::dump(const LightweightString<wchar_t>& path) const
{
  std::ofstream out(localPath(path), std::ios::out | std::ios::trunc);
  if (!out.is_open()) return false;
  dump(&out, nullptr);
  return true;
}

int configb::reinit(const char* file)
{
  if (!file) return -1;
  std::ifstream in(localPath(file));
  if (!in.is_open()) return -1;
  if (!pconf_) pconf_ = new configb(static_cast<Dirtiable*>(nullptr));
  return pconf_->read_from_file(&in);
}
