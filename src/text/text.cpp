#include "text/text.h"

#include <cctype>
#include <cstring>

#include "libOS/OS.h"
#include "libOS/iAllocator.h"
#include "libOS/iFileManager.h"
#include "text/isset.h"

namespace {

constexpr unsigned int kFail = buf::kFail;

// The standard classes, safe for the -1 of a look past either end.
bool alnum(unsigned int c)
{
  return c < 256 && std::isalnum(static_cast<int>(c));
}

bool blank(unsigned int c)
{
  return c == ' ';
}

// Texts above this size may have their lines estimated rather than counted.
constexpr unsigned int kExactLimit = 50000;
// An estimate stands until the cursor has moved more than this many lines.
constexpr int kEstimateDrift = 30;
// An estimate measures the bytes per line over this many lines.
constexpr int kEstimateLines = 60;

} // namespace

char* text::clipboard_ = nullptr;

text::text(unsigned int n) : buf(n) {}

text::~text() = default;

void text::setchange(int v)
{
  buf::setchange(v);
  if (v != 0) numLines_ = -1;
}

unsigned int text::forpop()
{
  unsigned int c = buf::forpop();
  if (c != kFail && isodd(c)) forbct(static_cast<char>(c));
  return c;
}

unsigned int text::backpop()
{
  unsigned int c = buf::backpop();
  if (c != kFail && isodd(c)) backbct(static_cast<char>(c));
  return c;
}

int text::resize_buf(unsigned int n)
{
  unsigned int before = getused();
  int result = buf::resize_buf(n);
  if (result == 1 && getused() < before) {
    // Text was cut off behind the cursor: count the lines that remain, and
    // drop a block that may reach past them.
    line_ = 1;
    for (const char* p = start_; p < gapStart_; ++p)
      if (*p == '\n' || static_cast<unsigned char>(*p) == 0xB2) ++line_;
    numLines_ = -1;
    clearBlock();
    blockOn_ = 0;
  }
  return result;
}

void text::clear()
{
  buf::clear();
  line_ = 1;
  blockOn_ = 0;
  clearBlock();
  blockStartLine_ = blockEndLine_ = anchorLine_ = 0;
  numLines_ = spare_ = estimateLine_ = -1;
  fileName_ = LightweightString<wchar_t>();
}

unsigned int text::insert(char c)
{
  unsigned int r = buf::insert(c);
  if (r != kFail && isodd(r)) forbct(c);
  return r;
}

unsigned int text::del()
{
  if (blockOn_) {
    blockdel(1);
    return 0;
  }
  delSoftAhead();
  return buf::del();
}

unsigned int text::rub()
{
  unsigned int c;
  // A soft break is layout's, never what the user meant to remove: rub on
  // to the byte before it.
  do {
    c = buf::rub();
    if (c == kFail) return c;
    if (isodd(c)) backbct(static_cast<char>(c));
  } while (issoft(c));
  return c;
}

int text::insert(buf* other, unsigned int n)
{
  unsigned int mark = getindex();
  unsigned int before = getused();
  int r = buf::insert(other, n);
  if (r != 1) return r;
  // Walking over the new bytes lets the line counter see their breaks.
  findindex(mark);
  findindex(mark + (getused() - before));
  return r;
}

unsigned int text::rub(unsigned int n)
{
  unsigned int before = getindex();
  if (n > before) n = before;
  for (const char* p = gapStart_ - n; p < gapStart_; ++p)
    if (isodd(static_cast<unsigned char>(*p))) backbct(*p);
  return buf::rub(n);
}

void text::forbct(char c)
{
  if (c == '\n' || static_cast<unsigned char>(c) == 0xB2) ++line_;
}

void text::backbct(char c)
{
  if (c == '\n' || static_cast<unsigned char>(c) == 0xB2) --line_;
}

void text::setblock(int flag)
{
  if (flag == -1) flag = !blockOn_;
  blockOn_ = flag != 0;
  if (blockOn_) {
    anchor_ = getmark();
    noteblock();
  } else {
    clearBlock();
  }
}

void text::findline(int n)
{
  if (n != 0) {
    while (line_ < n && forpop() != kFail) {}
    while (line_ > n && backpop() != kFail) {}
  }
  while (!islinebreak(backlook())) backpop();
}

void text::crsup()
{
  char* home = getmark();
  int column = 0;
  while (!islinebreak(backlook())) {
    backpop();
    ++column;
  }
  if (atstart()) {
    findmark(home);
    return;
  }
  backpop();
  findline(line_);
  for (int i = 0; i < column && !islinebreak(forlook()); ++i) forpop();
  backOverSoft();
}

void text::crsdown()
{
  char* home = getmark();
  int column = 0;
  while (!islinebreak(backlook())) {
    backpop();
    ++column;
  }
  unsigned int c;
  do
    c = forpop();
  while (c != kFail && !islinebreak(c));
  if (c == kFail) {
    findmark(home);
    return;
  }
  for (int i = 0; i < column && !islinebreak(forlook()); ++i) forpop();
  backOverSoft();
}

void text::wordfwd()
{
  if (!alnum(forlook())) {
    while (!atend() && !alnum(forlook()) && !blank(forlook())) forpop();
    if (blank(forlook())) {
      while (blank(forlook())) forpop();
      return;
    }
  }
  while (alnum(forlook())) forpop();
  while (blank(forlook())) forpop();
}

void text::wordback()
{
  // A loop rather than the recursion it reads as, so a long run of
  // punctuation and blanks cannot go deep, and the start of the text ends it.
  while (!atstart()) {
    unsigned int c = backlook();
    if (alnum(c)) {
      while (alnum(backlook())) backpop();
      return;
    }
    if (blank(c)) {
      while (blank(backlook())) backpop();
      continue;
    }
    while (!atstart() && !alnum(backlook()) && !blank(backlook())) backpop();
    if (alnum(backlook())) return;
  }
}

void text::linefwd()
{
  while (!islinebreak(forlook())) forpop();
  backOverSoft();
}

void text::lineback()
{
  if (!atstart() && islinebreak(backlook())) backpop();
  findline(line_);
}

void text::parafwd()
{
  unsigned int c;
  do
    c = forpop();
  while (c != kFail && !isparabreak(c));
  if (blockOn_ && c != kFail) backpop();
}

void text::paraback()
{
  while (iswhite(backlook())) backpop();
  while (!isparabreak(backlook())) backpop();
}

void text::worddel()
{
  blockOn_ = 1;
  blockStart_ = getmark();
  wordfwd();
  blockEnd_ = getmark();
  deleteMarked();
}

void text::wordrub()
{
  blockOn_ = 1;
  blockEnd_ = getmark();
  wordback();
  blockStart_ = getmark();
  deleteMarked();
}

void text::linedel()
{
  blockOn_ = 1;
  blockStart_ = getmark();
  linefwd();
  blockEnd_ = getmark();
  deleteMarked();
}

void text::linerub()
{
  blockOn_ = 1;
  blockEnd_ = getmark();
  if (backlook() != '\n') lineback();
  blockStart_ = getmark();
  deleteMarked();
}

void text::linekill()
{
  linerub();
  linedel();
  del();
  setchange(1);
}

void text::paradel()
{
  blockOn_ = 1;
  blockStart_ = getmark();
  parafwd();
  blockEnd_ = getmark();
  deleteMarked();
}

void text::pararub()
{
  backpop();
  blockOn_ = 1;
  blockEnd_ = getmark();
  paraback();
  blockStart_ = getmark();
  deleteMarked();
}

int text::exchange()
{
  unsigned int c = rub();
  if (c == kFail) return -1;
  forpop();
  insert(static_cast<char>(c));
  backpop();
  setchange(1);
  return 0;
}

int text::blockdel(int copy)
{
  int had = blockOn_;
  if (blockOn_) {
    char* from = blockStart_;
    unsigned int size = blockEnd_ > blockStart_ ? getblocksize() : 0;
    findmark(from);
    unsigned int after = static_cast<unsigned int>(end_ - gapEnd_);
    if (size > after) size = after;
    if (copy) {
      char* block = static_cast<char*>(OS()->allocator()->allocate(size + 1));
      if (block != nullptr) {
        std::memcpy(block, gapEnd_, size);
        block[size] = 0;
        OS()->allocator()->release(clipboard_);
        clipboard_ = block;
      }
    }
    buf::del(size);
    blockOn_ = 0;
    clearBlock();
  }
  delSoftAhead();
  return had ? 1 : 0;
}

int text::paste()
{
  if (clipboard_ == nullptr) return 0;
  int n = strins(*this, clipboard_);
  setchange(1);
  return n;
}

void text::flipblock()
{
  if (!blockOn_) return;
  char* other = anchor_;
  anchor_ = getmark();
  anchorLine_ = line_;
  findmark(other);
  noteblock();
}

const char* text::getclipboard()
{
  return clipboard_;
}

void text::noteblock()
{
  char* mark = getmark();
  if (mark == anchor_) {
    blockStart_ = blockEnd_ = anchor_ = mark;
    blockStartLine_ = blockEndLine_ = anchorLine_ = line_;
  } else if (mark > anchor_) {
    blockStart_ = anchor_;
    blockStartLine_ = anchorLine_;
    blockEnd_ = mark;
    blockEndLine_ = line_;
  } else {
    blockStart_ = mark;
    blockStartLine_ = line_;
    blockEnd_ = anchor_;
    blockEndLine_ = anchorLine_;
  }
}

int text::getnumlines(bool estimate)
{
  bool small = getused() <= kExactLimit;
  if (numLines_ != -1) {
    if (!estimate || small) return numLines_;
    if (line_ - estimateLine_ <= kEstimateDrift) return numLines_;
  } else if (getused() == 0) {
    numLines_ = 0;
    return 0;
  }
  unsigned int home = getindex();
  if (estimate && !small) {
    if (line_ < kEstimateLines) findline(kEstimateLines);
    estimateLine_ = line_;
    unsigned int perLine = getindex() / static_cast<unsigned int>(line_);
    if (perLine > 0) numLines_ = static_cast<std::int32_t>(getused() / perLine);
  }
  // An exact count, also when the first lines are too short to measure.
  if (numLines_ == -1) {
    toend();
    numLines_ = line_;
  }
  findindex(home);
  return numLines_;
}

int text::merge(const LightweightString<wchar_t>& name)
{
  Zr::Ptr<iFile> file = OS()->fileManager()->open(name, iFile::eRead, iFile::eOpenExisting, iFile::eShareRead);
  if (!file || !file->isOpen()) return -1;
  return read(file, 0, 10) == -1 ? -1 : 1;
}

int text::load(const LightweightString<wchar_t>& name)
{
  clear();
  if (merge(name) == -1) return -1;
  fileName_ = name;
  buf::setchange(0);
  return 1;
}

int text::save(const LightweightString<wchar_t>& name)
{
  Zr::Ptr<iFile> file =
    OS()->fileManager()->open(name, iFile::eWrite, iFile::eCreateAlways, iFile::eShareNone);
  if (!file || !file->isOpen()) return -1;
  int result = write(file);
  if (result == 1) buf::setchange(0);
  return result;
}

void text::clearBlock()
{
  blockStart_ = blockEnd_ = anchor_ = nullptr;
}

void text::delSoftAhead()
{
  while (!atend() && issoft(forlook())) buf::del();
}

void text::backOverSoft()
{
  while (!atstart() && issoft(backlook())) backpop();
}

void text::deleteMarked()
{
  blockdel(0);
}
