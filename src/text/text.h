// text: the editor's text engine, a buf that also keeps the cursor's line,
// a marked block, a line count and a file name, with moves and deletes by
// word, line and paragraph.
//
// Lines are counted through the cursor: moving over a newline or a soft
// break (0xB2, a break that layout put in, not the user) moves the line
// number, so it is always right without a scan. The line count is cached and
// forgotten by any change; on big texts getnumlines can estimate it.
// The block is three marks (start, end and the anchor where marking began);
// like every mark they name places only while the text before them stays.
// The clipboard is one for all texts of the process and is not guarded: like
// a text, it belongs to the thread that edits.
#pragma once

#include <cstdint>

#include "core/LightweightString.h"
#include "text/buf.h"

class text : public buf
{
public:
  // An empty text of capacity n, on line 1, with no block.
  explicit text(unsigned int n);
  ~text() override;

  void setchange(int v) override;
  unsigned int forpop() override;
  unsigned int backpop() override;
  int resize_buf(unsigned int n) override;
  // Empties the text and forgets the block, the line count and the file name.
  void clear() override;
  unsigned int insert(char c) override;
  // With a block, deletes it to the clipboard and gives 0. Otherwise deletes
  // any soft breaks ahead and then one byte.
  unsigned int del() override;
  // Rubs one byte; a soft break behind takes the byte before it too.
  unsigned int rub() override;
  // Copies n bytes of other (0: all) in and leaves the cursor after them.
  int insert(buf* other, unsigned int n) override;
  unsigned int rub(unsigned int n) override;
  using buf::del;
  using buf::insert;
  using buf::rub;

  // The line counter's step for a byte passed forward (backward).
  virtual void forbct(char c);
  virtual void backbct(char c);
  // 1 starts a block at the cursor, 0 drops it, -1 flips.
  virtual void setblock(int flag);
  // Moves to the start of line n (0: this line); stops at the last line.
  virtual void findline(int n);
  // To the same column on the line above (below), clipped by its end; stays
  // put on the first (last) line.
  virtual void crsup();
  virtual void crsdown();
  // Word, line and paragraph moves.
  virtual void wordfwd();
  virtual void wordback();
  virtual void linefwd();
  virtual void lineback();
  virtual void parafwd();
  virtual void paraback();
  // Deletes from the cursor to where the matching move goes.
  virtual void worddel();
  virtual void wordrub();
  virtual void linedel();
  virtual void linerub();
  // Deletes the whole line and its newline.
  virtual void linekill();
  virtual void paradel();
  virtual void pararub();
  // Swaps the bytes each side of the cursor; -1 at the start of the text.
  virtual int exchange();
  // Deletes the block, to the clipboard when copy is true, then any soft
  // breaks ahead. 1 if there was a block, else 0.
  virtual int blockdel(int copy);
  // Inserts the clipboard at the cursor; gives the bytes inserted.
  virtual int paste();

  // The cursor's line, from 1.
  int getline() const { return line_; }
  int getblock() const { return blockOn_; }
  char* getblockstart() const { return blockStart_; }
  char* getblockend() const { return blockEnd_; }
  unsigned int getblocksize() const { return static_cast<unsigned int>(blockEnd_ - blockStart_); }
  int getblockstartline() const { return blockStartLine_; }
  int getblockendline() const { return blockEndLine_; }
  // Moves the cursor to the block's anchor and makes the old place the anchor.
  void flipblock();
  const LightweightString<wchar_t>& getfilename() const { return fileName_; }
  void setfilename(const LightweightString<wchar_t>& name) { fileName_ = name; }
  // The shared clipboard, or null when empty.
  static const char* getclipboard();
  // Stretches the block from its anchor to the cursor.
  void noteblock();
  // The number of lines. With estimate true, a text of more than 50000 bytes
  // is counted from its first 60 lines, and the figure stands until the cursor
  // has moved more than 30 lines from where it was made.
  int getnumlines(bool estimate);
  // Reads a file in at the cursor, keeping 10 bytes free; 1 or -1.
  int merge(const LightweightString<wchar_t>& name);
  // Replaces the text by a file and takes its name; 1 or -1.
  int load(const LightweightString<wchar_t>& name);
  // Writes the text to a file, made afresh; write's result.
  int save(const LightweightString<wchar_t>& name);

private:
  void clearBlock();
  void delSoftAhead();
  void backOverSoft();
  // Deletes from the block start to the block end, which the caller set.
  void deleteMarked();

  std::int32_t numLines_ = -1;
  std::int32_t spare_ = -1;
  std::int32_t estimateLine_ = -1;
  LightweightString<wchar_t> fileName_;
  std::int32_t line_ = 1;
  std::int32_t blockOn_ = 0;
  char* blockStart_ = nullptr;
  char* blockEnd_ = nullptr;
  char* anchor_ = nullptr;
  std::int32_t blockStartLine_ = 0;
  std::int32_t blockEndLine_ = 0;
  std::int32_t anchorLine_ = 0;

  static char* clipboard_;
};
