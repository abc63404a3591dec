#include "streaming/PStream.h"

#include <algorithm>
#include <cstring>

namespace {

// Values are read and written in memory order, which is little-endian here
// (StreamFile checks that at compile time).
template <class Wire, class T> PStream& readValue(PStream& s, T& value)
{
  Wire wire{};
  s.readBytes(&wire, sizeof wire);
  value = static_cast<T>(wire);
  return s;
}

} // namespace

PStream::PStream(StreamFile* file) : file_(file) {}

void PStream::unexpectEOF()
{
  append("Unexpected EOF.");
}

void PStream::writeFailed(bool ok)
{
  if (!ok) append(file_ ? "Stream write failed." : "Stream has no file.");
}

void PStream::writeBinary(const unsigned char* data, unsigned int n, bool counted, bool raw)
{
  if (data && n == 0) n = unsigned(std::strlen(reinterpret_cast<const char*>(data)));
  if (!file_) {
    writeFailed(false);
    return;
  }
  bool ok = true;
  if (counted && !raw) ok = file_->setUnsignedLong(n);
  // The bytes go through write(), which also refuses a file that is not open.
  if (ok && data) ok = file_->write(data, n);
  if (ok && !counted && !raw) ok = file_->setCookedChar(0);
  writeFailed(ok);
}

bool PStream::have(unsigned int n)
{
  if (!file_) return false;
  const std::uint64_t end = std::uint64_t(file_->offset()) + n;
  if (end <= file_->cacheSize()) return true;
  if (end > file_->fileSize()) return false;
  file_->cacheForward(StreamFile::FileAddress(end));
  return end <= file_->cacheSize();
}

bool PStream::readBytes(void* out, unsigned int n)
{
  if (!have(n)) {
    unexpectEOF();
    if (n) std::memset(out, 0, n);
    return false;
  }
  if (n) std::memcpy(out, file_->cacheData() + file_->offset(), n);
  file_->position(file_->offset() + n);
  return true;
}

bool PStream::skip(unsigned int n)
{
  if (!have(n)) {
    unexpectEOF();
    return false;
  }
  file_->position(file_->offset() + n);
  return true;
}

bool PStream::readText(LightweightString<char>& out)
{
  out = LightweightString<char>();
  if (!file_ || file_->offset() > file_->cacheSize()) {
    unexpectEOF();
    return false;
  }
  const StreamFile::FileAddress start = file_->offset();
  StreamFile::FileAddress searched = start;
  for (;;) {
    const unsigned char* base = file_->cacheData();
    const StreamFile::FileAddress end = file_->cacheSize();
    const void* zero = base ? std::memchr(base + searched, 0, end - searched) : nullptr;
    if (zero) {
      const auto length = StreamFile::FileAddress(static_cast<const unsigned char*>(zero) - (base + start));
      out = LightweightString<char>(reinterpret_cast<const char*>(base + start), length);
      file_->position(start + length + 1);
      return true;
    }
    searched = end;
    // The text may go on in the part of the file not yet cached: bring in
    // more, at least doubling what is cached so that a long text costs few
    // passes.
    if (end >= file_->fileSize()) break;
    const std::uint64_t want = std::max<std::uint64_t>(std::uint64_t(end) * 2, end + 65536ull);
    file_->cacheForward(StreamFile::FileAddress(std::min<std::uint64_t>(want, file_->fileSize())));
    if (file_->cacheSize() <= end) break;
  }
  unexpectEOF();
  return false;
}

bool PStream::readCounted(LightweightString<char>& out)
{
  out = LightweightString<char>();
  std::uint32_t length = 0;
  const StreamFile::FileAddress start = position();
  if (!readBytes(&length, 4)) return false;
  if (!have(length)) {
    file_->position(start);
    unexpectEOF();
    return false;
  }
  out = LightweightString<char>(reinterpret_cast<const char*>(file_->cacheData() + file_->offset()), length);
  file_->position(file_->offset() + length);
  return true;
}

void PStream::writeChar(char value)
{
  writeFailed(file_ && file_->setCookedChar(value));
}

void PStream::writeShort(std::int16_t value)
{
  writeFailed(file_ && file_->setShort(value));
}

void PStream::writeUnsignedShort(std::uint16_t value)
{
  writeFailed(file_ && file_->setUnsignedShort(value));
}

void PStream::writeLong(std::int32_t value)
{
  writeFailed(file_ && file_->setLong(value));
}

void PStream::writeUnsignedLong(std::uint32_t value)
{
  writeFailed(file_ && file_->setUnsignedLong(value));
}

void PStream::writeInt64(std::int64_t value)
{
  writeFailed(file_ && file_->setInt64(value));
}

void PStream::writeUnsignedInt64(std::uint64_t value)
{
  writeFailed(file_ && file_->setUnsignedInt64(value));
}

void PStream::writeFloat(float value)
{
  writeFailed(file_ && file_->setFloat(value));
}

void PStream::writeDouble(double value)
{
  writeFailed(file_ && file_->setDouble(value));
}

PStream& operator<<(PStream& s, char value)
{
  s.writeChar(value);
  return s;
}

PStream& operator<<(PStream& s, signed char value)
{
  s.writeChar(char(value));
  return s;
}

PStream& operator<<(PStream& s, unsigned char value)
{
  s.writeChar(char(value));
  return s;
}

PStream& operator<<(PStream& s, bool value)
{
  s.writeChar(value ? 1 : 0);
  return s;
}

PStream& operator<<(PStream& s, short value)
{
  s.writeShort(value);
  return s;
}

PStream& operator<<(PStream& s, unsigned short value)
{
  s.writeUnsignedShort(value);
  return s;
}

PStream& operator<<(PStream& s, int value)
{
  s.writeLong(value);
  return s;
}

PStream& operator<<(PStream& s, unsigned int value)
{
  s.writeUnsignedLong(value);
  return s;
}

PStream& operator<<(PStream& s, long value)
{
  s.writeInt64(value);
  return s;
}

PStream& operator<<(PStream& s, unsigned long value)
{
  s.writeUnsignedInt64(value);
  return s;
}

PStream& operator<<(PStream& s, long long value)
{
  s.writeInt64(value);
  return s;
}

PStream& operator<<(PStream& s, unsigned long long value)
{
  s.writeUnsignedInt64(value);
  return s;
}

PStream& operator<<(PStream& s, float value)
{
  s.writeFloat(value);
  return s;
}

PStream& operator<<(PStream& s, double value)
{
  s.writeDouble(value);
  return s;
}

PStream& operator<<(PStream& s, const char* text)
{
  s.writeBinary(text, 0, false, false);
  return s;
}

PStream& operator<<(PStream& s, const LightweightString<char>& text)
{
  // An empty text has no bytes to measure: only its zero is written.
  if (text.empty())
    s.writeBinary(static_cast<const char*>(nullptr), 0, false, false);
  else
    s.writeBinary(text.c_str(), text.size(), false, false);
  return s;
}

PStream& operator>>(PStream& s, char& value)
{
  return readValue<char>(s, value);
}

PStream& operator>>(PStream& s, signed char& value)
{
  return readValue<signed char>(s, value);
}

PStream& operator>>(PStream& s, unsigned char& value)
{
  return readValue<unsigned char>(s, value);
}

PStream& operator>>(PStream& s, bool& value)
{
  unsigned char byte = 0;
  s.readBytes(&byte, 1);
  value = byte != 0;
  return s;
}

PStream& operator>>(PStream& s, short& value)
{
  return readValue<std::int16_t>(s, value);
}

PStream& operator>>(PStream& s, unsigned short& value)
{
  return readValue<std::uint16_t>(s, value);
}

PStream& operator>>(PStream& s, int& value)
{
  return readValue<std::int32_t>(s, value);
}

PStream& operator>>(PStream& s, unsigned int& value)
{
  return readValue<std::uint32_t>(s, value);
}

PStream& operator>>(PStream& s, long& value)
{
  return readValue<std::int64_t>(s, value);
}

PStream& operator>>(PStream& s, unsigned long& value)
{
  return readValue<std::uint64_t>(s, value);
}

PStream& operator>>(PStream& s, long long& value)
{
  return readValue<std::int64_t>(s, value);
}

PStream& operator>>(PStream& s, unsigned long long& value)
{
  return readValue<std::uint64_t>(s, value);
}

PStream& operator>>(PStream& s, float& value)
{
  return readValue<float>(s, value);
}

PStream& operator>>(PStream& s, double& value)
{
  return readValue<double>(s, value);
}

PStream& operator>>(PStream& s, LightweightString<char>& text)
{
  s.readText(text);
  return s;
}
