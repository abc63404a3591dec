// TextFile, a whole text file held in memory as a vector of lines.
//
// Lines are 8-bit strings in whatever encoding the file has, without their
// line ends; zero bytes inside a line are kept. Loading appends to the lines
// already held; saving writes the file in place with no line end after the
// last line. No locking: one thread at a time.
#pragma once

#include "Zr/Vector.h"
#include "core/LightweightString.h"

class TextFile : public Vector<LightweightString<char>>
{
public:
  // The line end that save() writes.
  enum eEOLStyle
  {
    eLF = 0,   // line feed alone; every value but eCRLF means this
    eCRLF = 1, // carriage return and line feed
  };

  // No lines, no name.
  TextFile() = default;
  // Stores the name and, with load, reads the file; a file that does not
  // load leaves no lines, which callers test.
  TextFile(const LightweightString<wchar_t>& name, bool load);
  // The same with a UTF-8 name.
  TextFile(const LightweightString<char>& name, bool load);
  ~TextFile() override = default;

  // Reads the file (the stored name when name is empty; otherwise name is
  // stored) and appends its lines behind those already held. A byte order
  // mark is skipped; CR, LF, CR LF and LF CR each end a line. eol names the
  // line end callers expect (10); the splitting above serves every file
  // regardless. keepExisting false replaces the lines instead, on success
  // only. False when the file does not open, cannot be held in memory or
  // cannot be read whole; the lines are then as they were.
  bool load(LightweightString<wchar_t> name = LightweightString<wchar_t>(), char eol = 10,
            bool keepExisting = true);
  // Writes every line, the line end of the style behind each but the last,
  // replacing the file (the stored name when name is empty; otherwise name
  // is stored). False when the file does not open or a write fails.
  bool save(LightweightString<wchar_t> name = LightweightString<wchar_t>(), eEOLStyle style = eLF);

  // 3 if the buffer holds at least 3 bytes and starts with EF BB BF, else 0.
  static unsigned int getBOMLength(const char* buffer, unsigned long length);

  // The first line from `from` on that contains the text, or 0xFFFFFFFF if
  // none does. An empty line is never found; an empty text is found in any
  // other line.
  unsigned int find(const LightweightString<char>& text, unsigned int from) const;
  // A copy of the line, or an empty string past the end (silently).
  LightweightString<char> operator[](unsigned int index) const;
  // Replaces a line. Past the end it prints the vector's bounds assertion
  // and changes nothing.
  void changeLine(unsigned int index, const LightweightString<char>& text);
  // Removes a line; nothing past the end.
  void removeLine(unsigned int index);
  void appendLine(const LightweightString<char>& text);
  void appendLines(const Vector<LightweightString<char>>& lines);
  // Replaces every line by those of the other file; the name stays.
  void copyFrom(const TextFile& other);
  // Removes every line; the name stays.
  void clear() override;

  const LightweightString<wchar_t>& name() const noexcept { return name_; }
  void setName(const LightweightString<wchar_t>& name) { name_ = name; }

  // The size of save()'s write buffer.
  static constexpr unsigned int kWriteBufferSize = 32767;

private:
  LightweightString<wchar_t> name_;
};
