// PStream: the binary persist stream that pack and unpack take. It writes
// through a StreamFile's writers and reads through its cursor.
//
// The stream is a GrowString whose text is its error text: empty means no
// error, and each failure appends its message. Nothing throws; a reader of
// many values checks hasError() once at the end, or in each turn of a loop.
// A read past the end of the data appends "Unexpected EOF." and gives 0
// (an empty text), leaving the cursor where it was. A read that needs bytes
// of the file beyond the cached part brings them in first; a read never
// touches memory beyond the cache.
//
// Values are little-endian, in the widths of the files' original 32-bit
// builds: char, bool and the byte types take 1 byte, short 2, int 4, and the
// 64-bit integers (long and long long here) 8; float 4 and double 8. A text
// is its bytes and a zero; counted bytes are a 4-byte length and the bytes.
// A stream belongs to one thread.
#pragma once

#include <cstdint>

#include "core/LightweightString.h"
#include "streaming/StreamFile.h"
#include "text/GrowString.h"

class PStream : public GrowString
{
public:
  // Over file, which the caller keeps; null makes a stream whose writes and
  // reads fail.
  explicit PStream(StreamFile* file);

  PStream(const PStream&) = delete;
  PStream& operator=(const PStream&) = delete;

  StreamFile* file() const { return file_; }
  void setFile(StreamFile* file) { file_ = file; }
  // The stream format: 1 for a new stream; a layered reader sets it from
  // the first layer it meets.
  std::uint32_t format() const { return format_; }
  void setFormat(std::uint32_t format) { format_ = format; }
  // A word for the stream's user, 0 at first.
  std::uint32_t extra() const { return extra_; }
  void setExtra(std::uint32_t extra) { extra_ = extra; }

  bool hasError() const { return !isEmpty(); }
  const char* errorText() const { return isEmpty() ? "" : c_str(); }
  // Forgets the error.
  void clearError() { reset(); }
  // Appends "Unexpected EOF." to the error text.
  void unexpectEOF();

  // Writes n bytes of data (strlen(data) when n is 0 and data is not null):
  // counted and not raw puts a 4-byte n first; not counted and not raw puts a
  // zero byte after them; raw adds nothing. So (false, false) is a text,
  // (true, false) counted bytes, and raw the bare bytes. Null data with no
  // count and not raw writes just the zero.
  void writeBinary(const unsigned char* data, unsigned int n, bool counted, bool raw);
  void writeBinary(const char* data, unsigned int n, bool counted, bool raw)
  {
    writeBinary(reinterpret_cast<const unsigned char*>(data), n, counted, raw);
  }

  // The cursor of the file; 0 with no file.
  StreamFile::FileAddress position() const { return file_ ? file_->offset() : 0; }
  // Moves the cursor; true if the offset is inside the data.
  bool position(StreamFile::FileAddress n) { return file_ && file_->position(n); }
  // True at or past the end of the file that was opened (always, for a
  // stream being written); true with no file.
  bool eof() const { return !file_ || file_->eof(); }

  // Copies n bytes at the cursor and moves past them. Past the end: flags
  // "Unexpected EOF.", fills out with zeros, leaves the cursor and gives
  // false.
  bool readBytes(void* out, unsigned int n);
  // Moves the cursor over n bytes that must be there; else as readBytes.
  bool skip(unsigned int n);
  // Reads a zero-terminated text into out, passing over the zero. Without a
  // zero before the end: flags the error and gives an empty text.
  bool readText(LightweightString<char>& out);
  // Reads a 4-byte length and that many bytes into out.
  bool readCounted(LightweightString<char>& out);

  // Values in the widths of the table above.
  void writeChar(char value);
  void writeShort(std::int16_t value);
  void writeUnsignedShort(std::uint16_t value);
  void writeLong(std::int32_t value);
  void writeUnsignedLong(std::uint32_t value);
  void writeInt64(std::int64_t value);
  void writeUnsignedInt64(std::uint64_t value);
  void writeFloat(float value);
  void writeDouble(double value);

private:
  // Flags a failed write: no file, or memory for the cache.
  void writeFailed(bool ok);
  // Makes sure n bytes at the cursor are in the cache, bringing them from
  // the file if it has them.
  bool have(unsigned int n);

  StreamFile* file_;
  std::uint32_t format_ = 1;
  std::uint32_t extra_ = 0;
};

// Writing.
PStream& operator<<(PStream& s, char value);
PStream& operator<<(PStream& s, signed char value);
PStream& operator<<(PStream& s, unsigned char value);
PStream& operator<<(PStream& s, bool value);
PStream& operator<<(PStream& s, short value);
PStream& operator<<(PStream& s, unsigned short value);
PStream& operator<<(PStream& s, int value);
PStream& operator<<(PStream& s, unsigned int value);
PStream& operator<<(PStream& s, long value);
PStream& operator<<(PStream& s, unsigned long value);
PStream& operator<<(PStream& s, long long value);
PStream& operator<<(PStream& s, unsigned long long value);
PStream& operator<<(PStream& s, float value);
PStream& operator<<(PStream& s, double value);
// A text and its zero; null writes the zero alone.
PStream& operator<<(PStream& s, const char* text);
PStream& operator<<(PStream& s, const LightweightString<char>& text);

// Reading: past the end each gives 0 and flags the error.
PStream& operator>>(PStream& s, char& value);
PStream& operator>>(PStream& s, signed char& value);
PStream& operator>>(PStream& s, unsigned char& value);
// Any non-zero byte is true.
PStream& operator>>(PStream& s, bool& value);
PStream& operator>>(PStream& s, short& value);
PStream& operator>>(PStream& s, unsigned short& value);
PStream& operator>>(PStream& s, int& value);
PStream& operator>>(PStream& s, unsigned int& value);
PStream& operator>>(PStream& s, long& value);
PStream& operator>>(PStream& s, unsigned long& value);
PStream& operator>>(PStream& s, long long& value);
PStream& operator>>(PStream& s, unsigned long long& value);
PStream& operator>>(PStream& s, float& value);
PStream& operator>>(PStream& s, double& value);
// A zero-terminated text.
PStream& operator>>(PStream& s, LightweightString<char>& text);
