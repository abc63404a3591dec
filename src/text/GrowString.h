// GrowString: a growing 8-bit text that also carries a stream's error text.
//
// The block is always a power of two bigger than the text, so the terminator
// fits, and it follows the text down as well as up: assigning a shorter text
// gives memory back. An empty string owns no block and converts to a null
// pointer, not to "". A failed allocation leaves the string as it was.
// Lengths are 32-bit; a text of 2 GiB or more cannot be held and an append
// that would reach it does nothing.
#pragma once

#include <cstdint>

#include "core/LightweightString.h"

class GrowString
{
public:
  GrowString() = default;
  GrowString(const char* text);
  explicit GrowString(char c);
  GrowString(const GrowString& other);
  GrowString& operator=(const GrowString& other);
  ~GrowString();

  // Frees the text and sets every field back to its start: precision -1.
  void reset();

  void append(const char* text);
  void append(char c);
  void append(const GrowString& other);
  // Appends at most `count` bytes of `text` from `offset` on, stopping at a
  // zero byte. A null text or a negative offset appends nothing.
  void appendSegment(const char* text, int offset, unsigned int count);

  GrowString& operator=(const char* text);
  GrowString& operator=(char c);
  GrowString& operator=(const LightweightString<char>& text);

  // An empty string equals both "" and a null pointer.
  bool operator==(const char* text) const;
  bool operator==(const GrowString& other) const;

  // The text, or null when empty.
  operator const char*() const { return text_; }
  const char* c_str() const { return text_; }
  // A writable view of the text; null when empty.
  char* data() { return text_; }

  // The character at i, or 0 past the end.
  char operator[](unsigned int i) const { return i < length_ ? text_[i] : 0; }
  // The character at i. Past the end the text grows by one blank only,
  // whatever i is, and the last character is given.
  char& operator[](unsigned int i);

  // Numbers as text, by the hex mode, width and precision below.
  GrowString& operator<<(unsigned int value);
  GrowString& operator<<(int value);
  GrowString& operator<<(unsigned short value);
  GrowString& operator<<(double value);
  GrowString& operator<<(float value);
  GrowString& operator<<(bool value);
  GrowString& operator<<(GrowString& (*manipulator)(GrowString&)) { return manipulator(*this); }

  // Hands this string's text and settings to `other`, whose own text is
  // freed, and leaves this string empty.
  void transferContent(GrowString& other);

  // Makes the text at least `length` bytes long, the new bytes blanks, so a
  // caller can fill it through data(). False if the memory is not there.
  bool growTo(unsigned int length);

  unsigned int length() const { return length_; }
  unsigned int capacity() const { return capacity_; }
  bool isEmpty() const { return length_ == 0; }

  // Hex mode writes integers as "%08X" ("%04X" for unsigned short); width
  // pads integers and doubles; a negative precision writes doubles by "%g".
  void setHex(bool on) { hex_ = on; }
  bool hex() const { return hex_; }
  void setWidth(int width) { width_ = width; }
  int width() const { return width_; }
  void setPrecision(int precision) { precision_ = precision; }
  int precision() const { return precision_; }

  // The block size for a text of n bytes: 1 for 0, else the smallest power
  // of two above n. 0 when n is too large to hold.
  static unsigned int sizeFor(unsigned int n);

private:
  bool resizeFor(unsigned int n);
  void appendBytes(const char* bytes, unsigned int count);
  void assignBytes(const char* bytes, unsigned int count);
  void appendFormatted(const char* format, ...) __attribute__((format(printf, 2, 3)));

  char* text_ = nullptr;
  std::uint32_t capacity_ = 0;
  std::uint32_t length_ = 0;
  bool hex_ = false;
  std::int32_t width_ = 0;
  std::int32_t precision_ = -1;
};

// Appends a newline.
GrowString& endl(GrowString& text);
