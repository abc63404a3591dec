// The text file of a registry store, read and written as pure functions
// over bytes.
//
// The file is meant to be read and fixed by hand:
//
//   ; a comment line (written once, at the top)
//   name=value              values of the top level come first
//
//   [Configuration\Window]  a section; later lines belong to it
//   left=10
//
// Lines end in "\n"; "\r\n" is read too. Blank lines and lines that start
// with ';' or '#' are skipped. Spaces and tabs around a header, a name or a
// value are not part of it. "[]" goes back to the top level. A name or
// section that appears twice is one name or section; the last value wins
// and the first place is kept.
//
// Escapes: "%XX", with two hexadecimal digits of either case, stands for the
// byte XX. The writer escapes, and only so: '%' itself; control bytes
// (00-1F and 7F); bytes that are not part of well-formed UTF-8; a space at
// the start or end of a name, value or section; and in names, '=' anywhere
// and '[', ';' or '#' at the start. Backslashes, '=' in values and all other
// text stay as they are, so that paths and ordinary settings read naturally,
// and any byte string round-trips exactly.
//
// Unreadable lines: a line that is none of the above, a header without its
// closing ']', a '%' without two hexadecimal digits behind it, or a raw
// control byte other than a tab. Each is counted and skipped, and so are the
// values under an unreadable header, since their section is unknown.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

namespace posix {
namespace RegistryFile {

struct Value
{
  std::string name;
  std::string value;
  bool operator==(const Value& other) const { return name == other.name && value == other.value; }
};

struct Section
{
  std::string name;          // empty for the top level
  std::vector<Value> values; // in the order of first storing
  bool operator==(const Section& other) const { return name == other.name && values == other.values; }
};

// The values of a store by section, in the order of first storing. The top
// level is always the first section; named sections exist while they hold
// a value.
class Contents
{
public:
  Contents();

  // The value, or null.
  const std::string* find(const std::string& section, const std::string& name) const;
  // Stores a value; true if the contents changed.
  bool set(const std::string& section, const std::string& name, const std::string& value);
  // Removes a value; true if it was there. A named section left empty goes.
  bool remove(const std::string& section, const std::string& name);

  // The top level first, then the named sections.
  const std::vector<Section>& sections() const { return sections_; }
  // The section of that name, or null.
  const Section* section(const std::string& name) const;
  size_t valueCount() const;

  bool operator==(const Contents& other) const { return sections_ == other.sections_; }
  bool operator!=(const Contents& other) const { return !(*this == other); }

private:
  struct Index
  {
    std::unordered_map<std::string, size_t> names; // value name -> position
  };
  void reindex(size_t section, size_t from);

  std::vector<Section> sections_;
  std::vector<Index> indexes_;                           // one per section
  std::unordered_map<std::string, size_t> sectionIndex_; // section name -> position
};

// Reads a file's bytes into `contents` (which it first empties). `badLines`
// is the number of unreadable lines; every readable value is kept. True if
// there was none.
bool parse(const char* data, size_t size, Contents& contents, unsigned& badLines);

// The file text for `contents`, headed by one comment line.
std::string write(const Contents& contents);

} // namespace RegistryFile
} // namespace posix
