// StringList, an Array of text records, with the splitting of a memory
// block into lines that the text files use.
//
// The list owns its records. No locking: one thread at a time.
#pragma once

#include "core/Array.h"
#include "core/LightweightString.h"

class StringRec : public ArrayRec
{
public:
  StringRec() = default;
  explicit StringRec(const LightweightString<char>& text) : text_(text) {}
  ~StringRec() override = default;

  // Orders by text, byte by byte (strcmp).
  int compare(const ArrayRec& other) const override;
  // Appends the text.
  void printOn(GrowString& text) const override;

  const LightweightString<char>& text() const noexcept { return text_; }
  void setText(const LightweightString<char>& text) { text_ = text; }

private:
  LightweightString<char> text_;
};

class StringList : public Array
{
public:
  enum SortMode
  {
    eCaseSensitive = 0,   // the records' own compare
    eCaseInsensitive = 1, // strcasecmp
  };

  StringList() : Array(true) {}

  // eCaseInsensitive orders by strcasecmp; any other mode goes back to the
  // records' compare. A sorted list is sorted again.
  void setSortMode(int mode);
  // The first record whose text is exactly this one (a linear scan), or null.
  StringRec* findRec(const LightweightString<char>& text) const;
  bool contains(const LightweightString<char>& text) const { return findRec(text) != nullptr; }
  // Removes the first record of exactly this text; false if none.
  bool remove(const LightweightString<char>& text);
  // Removes the record at index; false past the end.
  bool removeIdx(unsigned int index) { return Array::remove(index); }
  // Adds a record of the text (in order when sorted); its index, or -1.
  int add(const LightweightString<char>& text);
  using Array::add;
  // Replaces the text at index; false past the end.
  bool set(unsigned int index, const LightweightString<char>& text);
  // The text at index, or empty past the end.
  LightweightString<char> get(unsigned int index) const;
  // Adds a record of the bytes from first to last, both included. A last
  // before first stores an empty line. The index, or -1.
  int storeText(const char* first, const char* last);
  // Splits a block at CR and LF and stores each line. A CR LF or LF CR pair
  // is one break; two equal ones are two, the second giving an empty line.
  // Text after the last break is a line of its own; a block that ends in a
  // break gives no empty last line. Zero bytes are kept inside lines. A null
  // block or length 0 adds nothing.
  void buildFromBuffer(const char* text, unsigned int length);
  // The splitting of buildFromBuffer without the records: calls
  // line(first, byteCount) for each line, in order.
  template <class LineFn> static void forEachLine(const char* text, unsigned int length, LineFn&& line)
  {
    if (!text || length == 0) return;
    const char* end = text + length;
    const char* start = text;
    const char* p = text;
    while (p < end) {
      if (*p != '\r' && *p != '\n') {
        ++p;
        continue;
      }
      line(start, unsigned(p - start));
      // Two unlike line-end bytes make one break; two alike make two.
      if (p + 1 < end && (p[1] == '\r' || p[1] == '\n') && p[1] != *p)
        p += 2;
      else
        p += 1;
      start = p;
    }
    if (start < end) line(start, unsigned(end - start));
  }

private:
  int storeBytes(const char* first, unsigned int n);
};
