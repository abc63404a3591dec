// ByteStream: the older character stream, over a C FILE or over text in
// memory, with C-style comment stripping, escaped tokens and line wrapping.
//
// Reads past the end set the end-of-file flag and give 0 bytes; the flag is
// the only report of failure. A stream over memory grows its text as it is
// written. An unterminated comment or string ends at the end of the text.
// A stream belongs to one thread.
#pragma once

#include <cstdint>
#include <cstdio>

#include "core/LightweightString.h"
#include "text/GrowString.h"

class ByteStream
{
public:
  // Over text, which the stream takes: `text` is left empty.
  explicit ByteStream(GrowString& text);
  // Over an open file, which the caller keeps and closes.
  explicit ByteStream(FILE* file);
  // Over a copy of text.
  explicit ByteStream(const LightweightString<char>& text);

  ByteStream(const ByteStream&) = delete;
  ByteStream& operator=(const ByteStream&) = delete;

  // Sets how tokens and lines are read and written: the delimiters that end a
  // token, whether comments are stripped, the line-end character (an escape
  // when reading, written before each wrap's newline when non-zero) and the
  // wrap width (0 for none).
  void init(const char* delimiters, bool stripComments = false, char lineEnd = 0, int wrapWidth = 0);
  // Back to the start: position 0, flags cleared, no character read yet.
  void reset();
  // Moves to byte n from the start and clears the end-of-file flag; on a file
  // a failed seek sets it again.
  void position(unsigned int n);
  unsigned int position() const { return position_; }

  // One byte out, not wrapped, counted.
  void rawWrite(char c);
  // One byte in, no comment stripping. False, with c 0, at the end.
  bool rawRead(char& c);

  // One byte out, after a wrap's line end when the line is full.
  ByteStream& operator<<(char c);
  // Each byte of a zero-terminated text; null writes nothing.
  ByteStream& operator<<(const char* text);
  // The value's 8 bytes, low first.
  ByteStream& operator<<(double value);
  // n bytes out as they are, not wrapped.
  void write(const void* data, unsigned int n);

  // Puts c back to be read next. Nothing after the end-of-file flag is set,
  // nor before the first byte of memory. False if nothing was put back.
  bool unget(char c);
  // The next character (0 to 255), comments stripped when asked outside
  // double quotes; a line comment gives its newline. At the end of the text,
  // the last character read (-1 if none) with the end-of-file flag set.
  int getChar();
  // Appends characters up to a newline or a zero, neither stored.
  void getLine(GrowString& text);
  // Pushes a file's buffered bytes out.
  void flush();

  bool eof() const { return eof_; }
  // The text of a stream over memory.
  const GrowString& buffer() const { return buffer_; }
  // Bytes written since the stream was made.
  unsigned int written() const { return written_; }
  bool stripsComments() const { return stripComments_; }
  char lineEnd() const { return lineEnd_; }
  // True for a non-zero c of the delimiter set.
  bool isDelimiter(int c) const;

  // Little-endian integers and doubles, read through getChar; bytes past the
  // end read as 0.
  ByteStream& operator>>(unsigned short& value);
  ByteStream& operator>>(unsigned int& value);
  ByteStream& operator>>(unsigned long& value);
  ByteStream& operator>>(double& value);

private:
  unsigned int readByte();
  void rawUnget(char c);

  std::uint32_t position_ = 0;
  GrowString buffer_;
  bool eof_ = false;
  FILE* file_ = nullptr;
  GrowString delimiters_;
  bool stripComments_ = false;
  int lastChar_ = -1;
  char lineEnd_ = 0;
  std::uint32_t written_ = 0;
  std::int32_t wrapWidth_ = 0;
  bool inString_ = false;
};

// Reads a token into text, which is emptied first. A zero or the end ends
// it; the line-end character makes the next one literal; a delimiter ends it,
// and the delimiters after it are consumed. A delimiter first gives an empty
// token.
ByteStream& operator>>(ByteStream& stream, GrowString& text);
