#include "text/GrowString.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "libOS/OS.h"
#include "libOS/iAllocator.h"

namespace {

// The largest text a 32-bit power-of-two block can hold with its terminator.
constexpr unsigned int kMaxLength = 0x7FFFFFFFu;

unsigned int lengthOf(const char* text)
{
  if (text == nullptr) return 0;
  size_t n = std::strlen(text);
  return n > kMaxLength ? kMaxLength + 1 : static_cast<unsigned int>(n);
}

} // namespace

unsigned int GrowString::sizeFor(unsigned int n)
{
  if (n == 0) return 1;
  if (n > kMaxLength) return 0;
  unsigned int size = 1;
  while (size <= n) size <<= 1;
  return size;
}

GrowString::GrowString(const char* text) { append(text); }

GrowString::GrowString(char c) { append(c); }

GrowString::GrowString(const GrowString& other)
  : hex_(other.hex_), width_(other.width_), precision_(other.precision_)
{
  appendBytes(other.text_, other.length_);
}

GrowString& GrowString::operator=(const GrowString& other)
{
  if (this != &other) {
    assignBytes(other.text_, other.length_);
    hex_ = other.hex_;
    width_ = other.width_;
    precision_ = other.precision_;
  }
  return *this;
}

GrowString::~GrowString()
{
  if (text_ != nullptr) OS()->allocator()->release(text_);
}

void GrowString::reset()
{
  if (text_ != nullptr) OS()->allocator()->release(text_);
  text_ = nullptr;
  capacity_ = 0;
  length_ = 0;
  hex_ = false;
  width_ = 0;
  precision_ = -1;
}

bool GrowString::resizeFor(unsigned int n)
{
  unsigned int size = sizeFor(n);
  if (size == 0) return false;
  if (size == capacity_) return true;
  char* block = static_cast<char*>(OS()->allocator()->allocate(size));
  if (block == nullptr) return false;
  unsigned int keep = capacity_ < size ? capacity_ : size;
  if (keep > 0) std::memcpy(block, text_, keep);
  // Blanks from one past the text to the end of the block, so that a caller
  // growing the text through data() never sees stale bytes.
  if (length_ + 1 < size) std::memset(block + length_ + 1, ' ', size - length_ - 1);
  if (text_ != nullptr) OS()->allocator()->release(text_);
  text_ = block;
  capacity_ = size;
  return true;
}

void GrowString::appendBytes(const char* bytes, unsigned int count)
{
  if (count == 0) return;
  if (count > kMaxLength - length_) return;
  unsigned int length = length_ + count;
  if (length >= capacity_ && text_ != nullptr && bytes >= text_ && bytes < text_ + capacity_) {
    // A piece of our own text: keep it alive across the new block.
    std::vector<char> copy(bytes, bytes + count);
    appendBytes(copy.data(), count);
    return;
  }
  if (length >= capacity_ && !resizeFor(length)) return;
  std::memmove(text_ + length_, bytes, count);
  length_ = length;
  text_[length_] = 0;
}

void GrowString::assignBytes(const char* bytes, unsigned int count)
{
  if (count > kMaxLength) return;
  if (count == 0) {
    // The settings stay; only the text goes.
    if (text_ != nullptr) OS()->allocator()->release(text_);
    text_ = nullptr;
    capacity_ = 0;
    length_ = 0;
    return;
  }
  if (text_ != nullptr && bytes >= text_ && bytes < text_ + capacity_) {
    // A piece of our own text: keep it alive across the new block.
    std::vector<char> copy(bytes, bytes + count);
    assignBytes(copy.data(), count);
    return;
  }
  unsigned int size = sizeFor(count);
  if (size != capacity_) {
    char* block = static_cast<char*>(OS()->allocator()->allocate(size));
    if (block == nullptr) return;
    if (text_ != nullptr) OS()->allocator()->release(text_);
    text_ = block;
    capacity_ = size;
  }
  std::memcpy(text_, bytes, count);
  std::memset(text_ + count, ' ', capacity_ - count);
  length_ = count;
  text_[length_] = 0;
}

void GrowString::append(const char* text) { appendBytes(text, lengthOf(text)); }

void GrowString::append(char c) { appendBytes(&c, 1); }

void GrowString::append(const GrowString& other) { appendBytes(other.text_, other.length_); }

void GrowString::appendSegment(const char* text, int offset, unsigned int count)
{
  if (text == nullptr || offset < 0) return;
  const char* from = text + offset;
  appendBytes(from, static_cast<unsigned int>(strnlen(from, count)));
}

GrowString& GrowString::operator=(const char* text)
{
  assignBytes(text, lengthOf(text));
  return *this;
}

GrowString& GrowString::operator=(char c)
{
  assignBytes(&c, 1);
  return *this;
}

GrowString& GrowString::operator=(const LightweightString<char>& text)
{
  assignBytes(text.c_str(), static_cast<unsigned int>(text.size()));
  return *this;
}

bool GrowString::operator==(const char* text) const
{
  if (text == nullptr || *text == 0) return length_ == 0;
  return length_ != 0 && std::strcmp(text_, text) == 0;
}

bool GrowString::operator==(const GrowString& other) const
{
  return length_ == other.length_ && (length_ == 0 || std::memcmp(text_, other.text_, length_) == 0);
}

char& GrowString::operator[](unsigned int i)
{
  if (i >= length_) {
    appendBytes(" ", 1);
    if (length_ == 0) {
      // Out of memory with nothing to point at: give a scratch byte rather
      // than a null reference.
      static thread_local char scratch;
      scratch = 0;
      return scratch;
    }
    return text_[length_ - 1];
  }
  return text_[i];
}

void GrowString::appendFormatted(const char* format, ...)
{
  char small[128];
  va_list args;
  va_start(args, format);
  int n = std::vsnprintf(small, sizeof small, format, args);
  va_end(args);
  if (n < 0) return;
  if (static_cast<size_t>(n) < sizeof small) {
    appendBytes(small, static_cast<unsigned int>(n));
    return;
  }
  std::vector<char> large(static_cast<size_t>(n) + 1);
  va_start(args, format);
  std::vsnprintf(large.data(), large.size(), format, args);
  va_end(args);
  appendBytes(large.data(), static_cast<unsigned int>(n));
}

// A width of 0 in "%*" is the same as no width, so one format serves both
// of the forms the text takes with and without a width.
GrowString& GrowString::operator<<(unsigned int value)
{
  if (hex_)
    appendFormatted("%08X", value);
  else
    appendFormatted("%*lu", width_, static_cast<unsigned long>(value));
  return *this;
}

GrowString& GrowString::operator<<(int value)
{
  if (hex_)
    appendFormatted("%08X", static_cast<unsigned int>(value));
  else
    appendFormatted("%*ld", width_, static_cast<long>(value));
  return *this;
}

GrowString& GrowString::operator<<(unsigned short value)
{
  if (hex_)
    appendFormatted("%04X", static_cast<unsigned int>(value));
  else
    appendFormatted("%*d", width_, static_cast<int>(value & 0xFFFF));
  return *this;
}

GrowString& GrowString::operator<<(double value)
{
  if (precision_ < 0)
    appendFormatted("%*g", width_, value);
  else
    appendFormatted("%*.*f", width_, precision_, value);
  return *this;
}

GrowString& GrowString::operator<<(float value)
{
  appendFormatted("%lf", static_cast<double>(value));
  return *this;
}

GrowString& GrowString::operator<<(bool value)
{
  append(value ? "true" : "false");
  return *this;
}

void GrowString::transferContent(GrowString& other)
{
  if (&other == this) return;
  if (other.text_ != nullptr) OS()->allocator()->release(other.text_);
  other.text_ = text_;
  other.capacity_ = capacity_;
  other.length_ = length_;
  other.hex_ = hex_;
  other.width_ = width_;
  other.precision_ = precision_;
  text_ = nullptr;
  reset();
}

bool GrowString::growTo(unsigned int length)
{
  if (length <= length_) return true;
  if (length > kMaxLength) return false;
  if (length >= capacity_ && !resizeFor(length)) return false;
  std::memset(text_ + length_, ' ', length - length_);
  length_ = length;
  text_[length_] = 0;
  return true;
}

GrowString& endl(GrowString& text)
{
  text.append('\n');
  return text;
}
