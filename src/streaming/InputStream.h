// Read-only byte sources: a block of memory, or a whole file read in at once.
#pragma once

#include "core/LightweightString.h"

class InputStream
{
public:
  virtual ~InputStream() = default;

  // True when there are bytes to read from.
  virtual bool isValid() = 0;
  // Back to the first byte.
  virtual void reset() = 0;
  // The next byte.
  virtual unsigned char readUChar() = 0;
  // Copies the next n bytes into buffer; gives the bytes copied.
  virtual unsigned int readUChars(unsigned int n, unsigned char* buffer) = 0;
  // Moves past the next n bytes.
  virtual void skipBytes(unsigned int n) = 0;
};

// Reads a block that the caller owns and keeps alive. It does not know the
// block's size, so the caller keeps its reads inside it. A null block reads
// as 0s and copies nothing.
class BufferInputStream : public InputStream
{
public:
  explicit BufferInputStream(const unsigned char* data) : cursor_(data), start_(data) {}

  bool isValid() override { return start_ != nullptr; }
  void reset() override { cursor_ = start_; }
  unsigned char readUChar() override;
  unsigned int readUChars(unsigned int n, unsigned char* buffer) override;
  void skipBytes(unsigned int n) override;

private:
  const unsigned char* cursor_;
  const unsigned char* start_;
};

// A whole file read into memory when it is made. Every read checks what is
// left and throws Zr::Exception::LogicError "eof" rather than reading past
// it; callers catch that. An empty or missing file gives a stream that is not
// valid and throws on every read.
class SimpleFileInputStream : public InputStream
{
public:
  // The path as UTF-8.
  explicit SimpleFileInputStream(const LightweightString<char>& path);
  explicit SimpleFileInputStream(const LightweightString<wchar_t>& path);
  ~SimpleFileInputStream() override;

  SimpleFileInputStream(const SimpleFileInputStream&) = delete;
  SimpleFileInputStream& operator=(const SimpleFileInputStream&) = delete;

  bool isValid() override { return data_ != nullptr; }
  void reset() override { cursor_ = data_; }
  unsigned char readUChar() override;
  unsigned int readUChars(unsigned int n, unsigned char* buffer) override;
  void skipBytes(unsigned int n) override;

  // The file's size in bytes; 0 when not valid.
  unsigned long size() const { return size_; }

private:
  void open(const LightweightString<wchar_t>& path);
  // Throws unless n bytes remain.
  void checkRead(unsigned long n) const;

  unsigned char* cursor_ = nullptr;
  unsigned char* data_ = nullptr;
  unsigned long size_ = 0;
};
