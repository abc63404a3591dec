#include "streaming/InputStream.h"

#include <cstring>

#include "core/Assert.h"
#include "core/Exception.h"
#include "libOS/OS.h"
#include "libOS/iAllocator.h"
#include "libOS/iFileManager.h"
#include "libzr/Strings.h"

unsigned char BufferInputStream::readUChar()
{
  return cursor_ == nullptr ? 0 : *cursor_++;
}

unsigned int BufferInputStream::readUChars(unsigned int n, unsigned char* buffer)
{
  if (cursor_ == nullptr) return 0;
  std::memcpy(buffer, cursor_, n);
  cursor_ += n;
  return n;
}

void BufferInputStream::skipBytes(unsigned int n)
{
  if (cursor_ != nullptr) cursor_ += n;
}

SimpleFileInputStream::SimpleFileInputStream(const LightweightString<char>& path)
{
  open(fromUTF8(path));
}

SimpleFileInputStream::SimpleFileInputStream(const LightweightString<wchar_t>& path)
{
  open(path);
}

SimpleFileInputStream::~SimpleFileInputStream()
{
  OS()->allocator()->release(data_);
}

void SimpleFileInputStream::open(const LightweightString<wchar_t>& path)
{
  Zr::Ptr<iFile> file = OS()->fileManager()->open(path, iFile::eRead, iFile::eOpenExisting, iFile::eShareRead);
  if (!file || !file->isOpen()) return;
  unsigned long size = file->getSize();
  Zr::softAssert(size <= 67108863, "file->getSize() < 64*1024*1024", "misc/inpstream line 63");
  if (size == 0) return;
  unsigned char* data = static_cast<unsigned char*>(OS()->allocator()->allocate(size));
  if (data == nullptr) return;
  unsigned long got = 0;
  while (got < size) {
    unsigned long want = size - got;
    unsigned int chunk = want > 0x40000000ul ? 0x40000000u : static_cast<unsigned int>(want);
    unsigned int n = file->read(data + got, chunk);
    if (n == 0) break;
    got += n;
  }
  // A file that shrank while being read keeps what was there.
  if (got == 0) {
    OS()->allocator()->release(data);
    return;
  }
  data_ = cursor_ = data;
  size_ = got;
}

void SimpleFileInputStream::checkRead(unsigned long n) const
{
  if (data_ == nullptr || size_ - static_cast<unsigned long>(cursor_ - data_) < n)
    throw Zr::Exception::LogicError("eof", "misc/inpstream", 99);
}

unsigned char SimpleFileInputStream::readUChar()
{
  checkRead(1);
  return *cursor_++;
}

unsigned int SimpleFileInputStream::readUChars(unsigned int n, unsigned char* buffer)
{
  checkRead(n);
  std::memcpy(buffer, cursor_, n);
  cursor_ += n;
  return n;
}

void SimpleFileInputStream::skipBytes(unsigned int n)
{
  checkRead(n);
  cursor_ += n;
}
