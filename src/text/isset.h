// isset: a class of bytes, tested in one step through a table of 256 entries
// that every class shares, one bit per class.
//
// Eight bits allow eight classes. The seven below are made while the library
// loads; a ninth prints a message on the debug console and holds no member.
// The table is written only while the classes are made, so tests from any
// thread are safe once loading is over.
#pragma once

class isset
{
public:
  // A class of the bytes of `members`, a zero-terminated byte string.
  explicit isset(const char* members);

  isset(const isset&) = delete;
  isset& operator=(const isset&) = delete;

  // Non-zero when the low byte of c is a member. A look past either end of a
  // buffer gives -1, whose low byte 0xFF belongs to the break classes, so the
  // ends of a text count as breaks.
  int operator()(unsigned int c) const { return table_[c & 0xFFu] & mask_; }

  // This class's bit in the table; 0 for a class made after the eighth.
  unsigned char mask() const { return mask_; }

private:
  static unsigned char table_[256];
  static int count_;
  unsigned char mask_;
};

// Word breaks of the editor: line breaks, blanks, tabs, '-', '/' and '\'.
extern const isset iswordbreak;
// Newline, soft break (0xB2), form feed and the end marker 0xFF.
extern const isset islinebreak;
// Newline, form feed and the end marker: a soft break does not end a paragraph.
extern const isset isparabreak;
// Blank and tab.
extern const isset iswhite;
// The soft line break 0xB2, put in by layout, not by the user.
extern const isset issoft;
// Bytes that may move the line counter: newline and 0xB0 to 0xB7.
extern const isset isodd;
// Where a text search may stop: blanks, line ends and punctuation.
extern const isset isfindbreak;
