#include "text/buf.h"

#include <cstring>

#include "libOS/OS.h"
#include "libOS/iAllocator.h"
#include "text/isset.h"

buf::buf(unsigned int n)
{
  if (n < 2) n = 2;
  start_ = static_cast<char*>(OS()->allocator()->allocate(n + 2));
  if (start_ == nullptr) return;
  capacity_ = n;
  end_ = start_ + n;
  gapStart_ = start_;
  gapEnd_ = end_;
}

buf::~buf()
{
  OS()->allocator()->release(start_);
}

void buf::setchange(int v)
{
  changed_ = v;
}

void buf::setovertype(int v)
{
  overtype_ = v;
}

unsigned int buf::forpop()
{
  if (atend()) return kFail;
  char c = *gapEnd_++;
  *gapStart_++ = c;
  return static_cast<unsigned char>(c);
}

unsigned int buf::backpop()
{
  if (atstart()) return kFail;
  char c = *--gapStart_;
  *--gapEnd_ = c;
  return static_cast<unsigned char>(c);
}

int buf::resize_buf(unsigned int n)
{
  if (n < 2) n = 2;
  if (n == capacity_) return 0;
  toend();
  unsigned int used = getused();
  char* block = static_cast<char*>(OS()->allocator()->reallocate(start_, n + 2));
  if (block == nullptr) return -1;
  start_ = block;
  capacity_ = n;
  end_ = start_ + n;
  gapEnd_ = end_;
  gapStart_ = start_ + (n < used ? n : used);
  return 1;
}

void buf::clear()
{
  gapStart_ = start_;
  gapEnd_ = end_;
}

unsigned int buf::insert(char c)
{
  if (gapStart_ == gapEnd_) return kFail;
  if (!issoft(static_cast<unsigned char>(c))) setchange(1);
  *gapStart_++ = c;
  if (overtype_ && gapEnd_ != end_) ++gapEnd_;
  return static_cast<unsigned char>(c);
}

unsigned int buf::del()
{
  if (atend()) return kFail;
  unsigned int c = byteAt(gapEnd_);
  if (!issoft(c)) setchange(1);
  ++gapEnd_;
  return c;
}

unsigned int buf::rub()
{
  setchange(1);
  if (atstart()) return kFail;
  return byteAt(--gapStart_);
}

int buf::insert(buf* other, unsigned int n)
{
  if (other == nullptr || other == this) return -1;
  unsigned int available = other->getused();
  if (n == 0 || n > available) n = available;
  if (n > getfree()) return -1;
  if (available == 0) {
    setchange(1);
    return 1;
  }
  other->tostart();
  gapEnd_ -= n;
  std::memcpy(gapEnd_, other->gapEnd_, n);
  setchange(1);
  return 1;
}

unsigned int buf::del(unsigned int n)
{
  unsigned int after = static_cast<unsigned int>(end_ - gapEnd_);
  if (n > after) n = after;
  if (n == 0) return kFail;
  setchange(1);
  gapEnd_ += n;
  return forlook();
}

unsigned int buf::rub(unsigned int n)
{
  unsigned int before = getindex();
  if (n > before) n = before;
  if (n == 0) return kFail;
  setchange(1);
  gapStart_ -= n;
  return forlook();
}

int buf::write(Zr::Ptr<iFile> file)
{
  if (!file) return -1;
  bool wrote = false;
  for (const char* p = start_; p < gapStart_; ++p) wrote |= fputc(*p, file) != -1;
  for (const char* p = gapEnd_; p < end_; ++p) wrote |= fputc(*p, file) != -1;
  return wrote ? 1 : -1;
}

int buf::read(Zr::Ptr<iFile> file, unsigned int count, unsigned int reserve)
{
  if (!file) return -1;
  unsigned int room = getfree() > reserve ? getfree() - reserve : 0;
  if (count == 0 || count > room) count = room;
  if (count == 0) return -1;
  // Whole runs rather than single bytes: the file ends up at the same place.
  unsigned int got = 0;
  while (got < count) {
    unsigned int n = file->read(gapStart_ + got, count - got);
    if (n == 0) break;
    got += n;
  }
  if (got <= 1) return -1;
  unsigned int kept = got - 1;
  gapEnd_ -= kept;
  std::memmove(gapEnd_, gapStart_, kept);
  setchange(1);
  return static_cast<int>(kept);
}

unsigned int buf::forlook(int n) const
{
  if (n < 0 || nearend(n)) return kFail;
  return byteAt(gapEnd_ + n);
}

unsigned int buf::backlook(int n) const
{
  if (n < 0 || nearstart(n)) return kFail;
  return byteAt(gapStart_ - 1 - n);
}

void buf::toend()
{
  while (forpop() != kFail) {}
}

void buf::tostart()
{
  while (backpop() != kFail) {}
}

void buf::findmark(char* p)
{
  while (gapStart_ > p && backpop() != kFail) {}
  while (gapStart_ < p && forpop() != kFail) {}
}

void buf::findindex(unsigned int i)
{
  unsigned int used = getused();
  findmark(start_ + (i < used ? i : used));
}

void buf::setbyt(char c)
{
  // The storage has two spare bytes past its end, so a write at the end of
  // the text lands there and is not seen.
  if (gapEnd_ >= gapStart_ && gapEnd_ != nullptr) *gapEnd_ = c;
}

unsigned int buf::linecopy(char* to) const
{
  unsigned int n = 0;
  for (const char* p = gapEnd_; p < end_ && !islinebreak(byteAt(p)); ++p) to[n++] = *p;
  to[n] = 0;
  return n;
}

unsigned int buf::copyText(char* to, unsigned int limit) const
{
  unsigned int n = 0;
  for (const char* p = start_; p < gapStart_ && (limit == 0 || n < limit); ++p) to[n++] = *p;
  for (const char* p = gapEnd_; p < end_ && (limit == 0 || n < limit); ++p) to[n++] = *p;
  to[n] = 0;
  return n;
}

int strins(buf& b, const char* s)
{
  if (s == nullptr) return 0;
  int n = 0;
  for (; *s != 0; ++s, ++n)
    if (b.insert(*s) == buf::kFail) break;
  return n;
}

char* strcpy(char* to, buf& b)
{
  b.copyText(to, 0);
  return to;
}

char* strncpy(char* to, buf& b, int n)
{
  if (n < 1) return to;
  if (n == 1) {
    to[0] = 0;
    return to;
  }
  b.copyText(to, static_cast<unsigned int>(n - 1));
  return to;
}

int fputc(char c, Zr::Ptr<iFile> file)
{
  if (!file || file->write(&c, 1) != 1) return -1;
  return static_cast<unsigned char>(c);
}
