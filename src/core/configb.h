// configb, a named, typed, case-insensitive table of text settings with a
// plain text form: "{", one "name[:type] value" line per entry, and an end
// line ("}" by default). It is the format of config.dat, userconfig.dat and of
// the settings blocks kept inside other text files.
//
// No locking: a block has one owner at a time.
#pragma once

#include <fstream>
#include <map>

#include "libOS/LightweightString.h"
#include "libOS/iObject.h"

class Cookie;
class Dirtiable;
class IdStamp;
class PStream;
class TextFile;

// One setting: its type word (possibly empty, at most 20 characters by rule)
// and its value text. Copies share both strings.
struct ConfigEntryT
{
  LightweightString<char> type_;
  LightweightString<char> value_;
};

class configb : public iObject
{
public:
  // strcasecmp order; a null text counts as empty.
  struct caseInsensitiveCompare
  {
    // Lookups by plain text need no key string.
    using is_transparent = void;
    bool operator()(const LightweightString<char>& a, const LightweightString<char>& b) const;
    bool operator()(const char* a, const LightweightString<char>& b) const;
    bool operator()(const LightweightString<char>& a, const char* b) const;
    static int compare(const char* a, const char* b);
  };
  using Entries = std::map<LightweightString<char>, ConfigEntryT, caseInsensitiveCompare>;

  // An empty block whose changes are reported to owner (may be null).
  explicit configb(Dirtiable* owner = nullptr);
  // Reads the file if it opens; an unreadable file leaves the block empty.
  explicit configb(const char* file);
  // Reads the first of the two files that opens. Sets the class-wide failure
  // flag of config_init when neither opens or the one read has no end line.
  configb(const char* file, const char* fallback);
  // Reads from an open stream, positioned after the block's opening line
  // (which names the block), up to endString. The stream stays open unless a
  // read fails.
  configb(std::ifstream* in, const char* name, const char* endString);
  // Reads a version byte, then the packed block, as unpack() does.
  explicit configb(PStream& stream);
  // Copies everything but the open input and the owner.
  configb(const configb& other);
  // Copies the name, the end string and the entries; the input becomes null
  // and dirty and owner stay as they were.
  configb& operator=(const configb& other);
  ~configb() override;

  // Clean, no input, end string "}".
  void init();
  // Empties the table.
  void clear();
  void set_end_str(const char* endString);
  void set_config_name(const char* name);
  const LightweightString<char>& end_str() const { return endStr_; }
  const LightweightString<char>& config_name() const { return configName_; }
  // Setting true tells the owner; clearing does not.
  void set_dirty(bool dirty);
  bool get_dirty() const { return dirty_; }
  void set_owner(Dirtiable* owner) { owner_ = owner; }

  // Typed reads: 0 on success; -1 when name is null or absent, out unchanged.
  // Copies the whole value; an empty value gives "".
  int in(const char* name, char* out) const;
  // Copies at most size - 1 characters and terminates; -1 and "" for an
  // essentially empty value.
  int in(const char* name, char* out, int size) const;
  // Decimal, or "true" (1) and "false" (0); -1 for any other text.
  int in(const char* name, int& out) const;
  int in(const char* name, unsigned int& out) const;
  int in(const char* name, double& out) const;
  // "true" or "false"; other text leaves out unchanged and still gives 0.
  int in(const char* name, bool& out) const;
  // Bad text gives the invalid cookie.
  int in(const char* name, Cookie& out) const;
  // Bad text gives what the IdStamp text reader makes of it.
  int in(const char* name, IdStamp& out) const;
  int in(const char* name, ConfigEntryT& out) const;
  // The value text, "" when absent or name is null.
  LightweightString<char> in(const char* name) const;

  Entries::const_iterator find_var(const char* name) const;
  Entries::const_iterator end() const { return entries_.end(); }
  const Entries& entries() const { return entries_; }
  bool isEmpty() const { return entries_.empty(); }
  // -1 when absent; otherwise removes the entry and marks the block dirty.
  int remove(const char* name);

  // Sets a value. An existing entry keeps its type: a value of another type
  // is ignored, and an equal value changes nothing. A null value or type is
  // absent. Any change marks the block dirty.
  void set(const char* name, const char* value, const char* type);
  // Plain text, with no type.
  void set(const char* name, const char* value);
  void set(const char* name, const LightweightString<char>& value);
  void set(const char* name, const ConfigEntryT& entry);
  void set(const char* name, int value);
  void set(const char* name, double value);
  void set(const char* name, bool value);
  void set(const char* name, const Cookie& value);
  // The stamp's text form, type "IdStamp".
  void set(const char* name, const IdStamp& value);

  // Reads "{", entries and the end line from an open stream, leaving the
  // block clean. 0 when the end line was met; 1 for a null or failed stream,
  // or when the stream ended first (the entries read are kept).
  int read_from_file(std::ifstream* in);
  // read_next_item while the input is open and items read; the last result.
  int read_all();
  // Reads one entry from the input: 0 for an entry or the end line (which
  // closes the input), 1 at end of file, on a failed stream or a line of
  // 1024 characters or more, or with no input.
  int read_next_item();
  // Opens a file by wide path and reads it as read_from_file does; 1 when the
  // file does not open.
  int readFromFile(const LightweightString<wchar_t>& path);

  // Parses a block from text lines; false unless the first line is "{".
  // Stops at a line equal to the end string; a missing end line is no error.
  bool fromString(const LightweightString<char>& text);
  // "{\n", "  name[:type][ value]\n" per entry, then the end string.
  LightweightString<char> asString() const;

  // Parses a block from the lines of a text file, starting at `index`, which
  // must hold exactly "{"; false, with index unchanged, otherwise. Stops at
  // a line equal to the end string; index is then the line after it, or
  // the line count plus one when no end line came.
  bool buildFrom(const TextFile& file, unsigned int& index);
  bool buildFrom(const TextFile& file);
  // Appends the block as lines: indent blanks and "{", each entry behind
  // indent + 2 blanks, indent blanks and the end string.
  void writeTo(TextFile& file, unsigned short indent) const;

  // Writes "{", the entries whose names begin with prefix (all for a null
  // or empty prefix) without indentation, and the end line.
  void dump(std::ofstream* out, const char* prefix) const;
  // Writes the whole block to a file, replacing it; false if it cannot open.
  bool dump(const LightweightString<wchar_t>& path) const;

  // Writes the entry count (4 bytes), then name, value and type of each
  // entry in table order, as zero-terminated texts.
  void pack(PStream& stream) const;
  // Reads what pack() wrote and sets each entry over the block, which ends
  // clean; version is the caller's and not used. Stops at the first error
  // of the stream, keeping the entries read before it.
  void unpack(PStream& stream, unsigned char version);

  // Parses one line in place and sets its entry: 0, or 1 when the line is
  // the end line. Blank and comment lines set nothing and give 0.
  int parseLine(char* line);
  // "#" in the first column.
  static bool isComment(const char* line);
  // Empty or white space only.
  static bool isBlank(const char* line);

  // Reads file over the block of config_init (making it if there is none),
  // keeping entries the file does not name. -1 if the file does not open.
  static int reinit(const char* file);

  // 0 silent; above 0 reports read errors; above 1 file opening as well.
  static int debug;
  // The block of config_init, null before it or after it failed.
  static configb* pconf_;
  // Set by the two-file constructor when it read nothing complete.
  static bool initFailed_;

private:
  // -1 when the file does not open, else read_from_file's result.
  int readNamedFile(const char* file);

  LightweightString<char> endStr_;
  LightweightString<char> configName_;
  bool dirty_ = false;
  Dirtiable* owner_ = nullptr;
  Entries entries_;
  std::ifstream* file_ = nullptr;
};

// Splits one line into index ranges: the name, the value (trailing white
// space dropped) and the type (the text between the first ":" inside the
// first word and that word's end; both 0 when absent). 0 for a blank line or
// one whose first non-blank character is "#", else 1.
int tokenise(const char* line, int* nameStart, int* nameEnd, int* valueStart, int* valueEnd, int* typeStart,
             int* typeEnd);
