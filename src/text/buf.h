// buf: a gap buffer, the storage and cursor of the editor's text engine.
//
// The text is the bytes before the gap and the bytes from the gap's end on;
// the cursor is the gap, so typing at one place costs one byte copy and moving
// the cursor costs one byte copy per byte moved. Storage comes from the OS
// allocator with room for capacity + 2 bytes, and never grows by itself: an
// insert into a full buffer fails and the caller calls resize_buf.
//
// Character operations give the byte (0 to 255) or -1 as an unsigned value on
// failure. A "mark" is the gap start as a pointer, and an index counts from
// the start of storage: both name a place in the text only while the cursor
// stands still, and findmark and findindex move the cursor back to them.
// A buf belongs to one thread.
#pragma once

#include <cstdint>

#include "libOS/Ptr.h"
#include "libOS/iFile.h"

class buf
{
public:
  // The failed result of a character operation.
  static constexpr unsigned int kFail = 0xFFFFFFFFu;

  // An empty buffer of capacity n; n under 2 gives capacity 2. If the memory
  // is not there the capacity is 0 and every insert fails.
  explicit buf(unsigned int n);
  virtual ~buf();

  buf(const buf&) = delete;
  buf& operator=(const buf&) = delete;

  // Sets the changed flag to v.
  virtual void setchange(int v);
  // Overtype mode: a typed byte replaces the one after the cursor.
  virtual void setovertype(int v);
  // Moves the cursor one byte forward; the byte passed, or -1 at the end.
  virtual unsigned int forpop();
  // Moves the cursor one byte back; the byte passed, or -1 at the start.
  virtual unsigned int backpop();
  // Makes the capacity n (2 at least). Text past n is lost and the cursor ends
  // at the end of the text. 0 if the capacity is already n, -1 with nothing
  // changed but the cursor if the memory is not there, else 1.
  virtual int resize_buf(unsigned int n);
  // Empties the text.
  virtual void clear();
  // Puts c before the cursor; -1 when the buffer is full.
  virtual unsigned int insert(char c);
  // Removes the byte after the cursor and gives it; -1 at the end.
  virtual unsigned int del();
  // Removes the byte before the cursor and gives it; -1 at the start. Sets the
  // changed flag even then.
  virtual unsigned int rub();
  // Copies n bytes of other (0: all of it) after the cursor, moving other's
  // cursor to its start. -1 if they do not fit, else 1.
  virtual int insert(buf* other, unsigned int n);
  // Removes up to n bytes after the cursor; the byte now after it, or -1 for
  // n 0 or nothing to remove.
  virtual unsigned int del(unsigned int n);
  // Removes up to n bytes before the cursor; the byte after it, or -1 for n 0
  // or nothing to remove.
  virtual unsigned int rub(unsigned int n);
  // Writes the text to file byte by byte; 1 if anything was written, else -1.
  virtual int write(Zr::Ptr<iFile> file);
  // Reads up to count bytes of file (0 or too many: all that fits, keeping
  // reserve bytes free) after the cursor. The last byte read is dropped, so a
  // file's closing byte never reaches the text; reading one byte or none
  // fails with -1. Otherwise gives the bytes kept and sets the changed flag.
  virtual int read(Zr::Ptr<iFile> file, unsigned int count, unsigned int reserve);

  bool atstart() const { return gapStart_ == start_; }
  bool atend() const { return gapEnd_ == end_; }
  // True when at most n bytes lie before (after) the cursor.
  bool nearstart(int n) const { return gapStart_ - start_ <= n; }
  bool nearend(int n) const { return end_ - gapEnd_ <= n; }
  // The byte after (before) the cursor, or -1 at the end (start).
  unsigned int forlook() const { return atend() ? kFail : byteAt(gapEnd_); }
  unsigned int backlook() const { return atstart() ? kFail : byteAt(gapStart_ - 1); }
  // The byte n places after (before) the one forlook (backlook) gives, or -1
  // past the end (start) or for a negative n.
  unsigned int forlook(int n) const;
  unsigned int backlook(int n) const;

  // A place in the storage as an index from its start, and back.
  unsigned int toindex(char* p) const { return static_cast<unsigned int>(p - start_); }
  char* topointer(unsigned int i) const { return start_ + i; }

  // Storage size, bytes of text, room left.
  unsigned int getmax() const { return static_cast<unsigned int>(end_ - start_); }
  unsigned int getused() const
  {
    return static_cast<unsigned int>((gapStart_ - start_) + (end_ - gapEnd_));
  }
  unsigned int getfree() const { return capacity_ - getused(); }
  // The cursor as a mark, and as the count of bytes before it.
  char* getmark() const { return gapStart_; }
  unsigned int getindex() const { return static_cast<unsigned int>(gapStart_ - start_); }
  int getchanged() const { return changed_; }
  int getovertype() const { return overtype_; }

  // Cursor to the end (start) of the text.
  void toend();
  void tostart();
  // Moves the cursor until the gap starts at p (clipped to the text).
  void findmark(char* p);
  void findindex(unsigned int i);
  // Overwrites the byte after the cursor.
  void setbyt(char c);
  // Copies the bytes from the cursor up to the next line break (or the end)
  // into to, zero-terminated, and gives their count. The cursor stays.
  unsigned int linecopy(char* to) const;

  // Copies the whole text into `to` (room for getused() + 1 bytes) and adds a
  // zero; at most `limit` bytes with limit 0 meaning no limit. Gives the count.
  unsigned int copyText(char* to, unsigned int limit) const;

protected:
  static unsigned int byteAt(const char* p) { return static_cast<unsigned char>(*p); }

  char* start_ = nullptr;
  char* gapStart_ = nullptr;
  char* gapEnd_ = nullptr;
  char* end_ = nullptr;
  std::uint32_t capacity_ = 0;
  std::int32_t overtype_ = 0;
  std::int32_t changed_ = 0;
};

// Inserts each byte of s through b.insert, stopping at the first failure;
// gives the bytes inserted. A null s gives 0.
int strins(buf& b, const char* s);
// Copies the text of b into to, with a zero after it; gives to.
char* strcpy(char* to, buf& b);
// Copies at most n - 1 bytes of the text of b into to and always ends it with
// a zero (nothing for n under 1); gives to.
char* strncpy(char* to, buf& b, int n);
// Writes one byte; gives it (0 to 255), or -1 if the file took nothing.
int fputc(char c, Zr::Ptr<iFile> file);
