#include "streaming/ByteStream.h"

#include <cstring>

ByteStream::ByteStream(GrowString& text)
{
  text.transferContent(buffer_);
}

ByteStream::ByteStream(FILE* file) : file_(file) {}

ByteStream::ByteStream(const LightweightString<char>& text)
{
  buffer_ = text;
}

void ByteStream::init(const char* delimiters, bool stripComments, char lineEnd, int wrapWidth)
{
  delimiters_ = delimiters;
  stripComments_ = stripComments;
  lineEnd_ = lineEnd;
  wrapWidth_ = wrapWidth;
}

void ByteStream::reset()
{
  position(0);
  lastChar_ = -1;
  inString_ = false;
  written_ = 0;
}

void ByteStream::position(unsigned int n)
{
  position_ = n;
  eof_ = false;
  if (file_ != nullptr && std::fseek(file_, static_cast<long>(n), SEEK_SET) != 0) eof_ = true;
}

void ByteStream::rawWrite(char c)
{
  ++written_;
  if (file_ != nullptr) {
    std::fputc(c, file_);
    return;
  }
  if (position_ >= buffer_.length() && !buffer_.growTo(position_ + 1)) return;
  buffer_.data()[position_++] = c;
}

bool ByteStream::rawRead(char& c)
{
  if (file_ != nullptr) {
    int got = std::getc(file_);
    if (got == EOF) {
      eof_ = true;
      c = 0;
      return false;
    }
    c = static_cast<char>(got);
    return true;
  }
  if (position_ >= buffer_.length()) {
    eof_ = true;
    c = 0;
    return false;
  }
  c = buffer_.c_str()[position_++];
  return true;
}

void ByteStream::rawUnget(char c)
{
  if (file_ != nullptr) {
    std::ungetc(static_cast<unsigned char>(c), file_);
  } else if (position_ > 0) {
    buffer_.data()[--position_] = c;
  }
}

ByteStream& ByteStream::operator<<(char c)
{
  if (wrapWidth_ > 0) {
    unsigned int width = static_cast<unsigned int>(wrapWidth_);
    if (lineEnd_ != 0) {
      if ((written_ + 2) % (width + 2) == 0) {
        rawWrite(lineEnd_);
        rawWrite('\n');
      }
    } else if ((written_ + 1) % (width + 1) == 0) {
      rawWrite('\n');
    }
  }
  rawWrite(c);
  return *this;
}

ByteStream& ByteStream::operator<<(const char* text)
{
  for (const char* p = text; p != nullptr && *p != 0; ++p) *this << *p;
  return *this;
}

ByteStream& ByteStream::operator<<(double value)
{
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  for (int i = 0; i < 8; ++i) *this << static_cast<char>(bits >> (8 * i));
  return *this;
}

void ByteStream::write(const void* data, unsigned int n)
{
  const char* bytes = static_cast<const char*>(data);
  for (unsigned int i = 0; bytes != nullptr && i < n; ++i) rawWrite(bytes[i]);
}

bool ByteStream::unget(char c)
{
  if (eof_) return false;
  if (file_ != nullptr) {
    if (std::ungetc(static_cast<unsigned char>(c), file_) == EOF) return false;
  } else {
    if (position_ == 0 || position_ > buffer_.length()) return false;
    buffer_.data()[--position_] = c;
  }
  // The quote will be read again and toggle again: undo its first toggle.
  if (c == '"') inString_ = !inString_;
  return true;
}

int ByteStream::getChar()
{
  char c;
  for (;;) {
    if (!rawRead(c)) return lastChar_;
    if (c == '"') {
      inString_ = !inString_;
      return lastChar_ = '"';
    }
    if (!stripComments_ || inString_ || c != '/') return lastChar_ = static_cast<unsigned char>(c);
    char d;
    if (!rawRead(d)) {
      // A final "/" is a character like any other; the next read ends.
      eof_ = false;
      if (file_ != nullptr) std::clearerr(file_);
      return lastChar_ = '/';
    }
    if (d == '*') {
      char previous = 0;
      for (;;) {
        if (!rawRead(d)) return lastChar_;
        if (previous == '*' && d == '/') break;
        previous = d;
      }
      continue;
    }
    if (d == '/') {
      for (;;) {
        if (!rawRead(d)) return lastChar_;
        if (d == '\n') return lastChar_ = '\n';
      }
    }
    rawUnget(d);
    return lastChar_ = '/';
  }
}

void ByteStream::getLine(GrowString& text)
{
  for (;;) {
    int c = getChar();
    if (eof_ || c == '\n' || c == 0) return;
    text.append(static_cast<char>(c));
  }
}

void ByteStream::flush()
{
  if (file_ != nullptr) std::fflush(file_);
}

bool ByteStream::isDelimiter(int c) const
{
  if (c <= 0 || c > 255 || delimiters_.isEmpty()) return false;
  return std::memchr(delimiters_.c_str(), c, delimiters_.length()) != nullptr;
}

unsigned int ByteStream::readByte()
{
  int c = getChar();
  return eof_ ? 0u : static_cast<unsigned int>(c & 0xFF);
}

ByteStream& ByteStream::operator>>(unsigned short& value)
{
  unsigned int low = readByte();
  unsigned int high = readByte();
  value = static_cast<unsigned short>(low | (high << 8));
  return *this;
}

ByteStream& ByteStream::operator>>(unsigned int& value)
{
  unsigned short low, high;
  *this >> low >> high;
  value = static_cast<unsigned int>(low) | (static_cast<unsigned int>(high) << 16);
  return *this;
}

ByteStream& ByteStream::operator>>(unsigned long& value)
{
  unsigned int low, high;
  *this >> low >> high;
  value = static_cast<unsigned long>(low) | (static_cast<unsigned long>(high) << 32);
  return *this;
}

ByteStream& ByteStream::operator>>(double& value)
{
  unsigned long bits;
  *this >> bits;
  std::memcpy(&value, &bits, sizeof value);
  return *this;
}

ByteStream& operator>>(ByteStream& stream, GrowString& text)
{
  text = "";
  for (;;) {
    int c = stream.getChar();
    if (stream.eof() || c == 0) break;
    if (stream.lineEnd() != 0 && c == static_cast<unsigned char>(stream.lineEnd())) {
      c = stream.getChar();
      if (stream.eof() || c == 0) break;
      text.append(static_cast<char>(c));
      continue;
    }
    if (stream.isDelimiter(c)) {
      for (;;) {
        int d = stream.getChar();
        if (stream.eof()) break;
        if (!stream.isDelimiter(d)) {
          stream.unget(static_cast<char>(d));
          break;
        }
      }
      break;
    }
    text.append(static_cast<char>(c));
  }
  return stream;
}
