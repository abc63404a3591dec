#include "buffers/ByteBufferImpl.h"

#include <cstdint>
#include <cstring>

#include "core/Assert.h"
#include "libOS/OS.h"

namespace {
constexpr const char* kPlace = "misc/ByteBuffer";
}

ByteBufferImpl::ByteBufferImpl() noexcept : data_(nullptr), size_(0), offset_(0), used_(0) {}

ByteBufferImpl::ByteBufferImpl(unsigned int size) : ByteBufferImpl()
{
  alloc(size);
}

ByteBufferImpl::~ByteBufferImpl()
{
  // Virtual calls do not reach a derived class from here: each class frees
  // its own block in its own destructor.
  ByteBufferImpl::freeBlock();
}

void ByteBufferImpl::freeBlock() noexcept
{
  OS()->allocator()->release(data_);
  data_ = nullptr;
  size_ = offset_ = used_ = 0;
}

unsigned char* ByteBufferImpl::getBuffer() const
{
  return data_ ? data_ + offset_ : nullptr;
}

bool ByteBufferImpl::setUsed(unsigned int used)
{
  if (used > size_) return clampUsed();
  used_ = used;
  return true;
}

bool ByteBufferImpl::clampUsed() noexcept
{
  Zr::assertionFailed("0", kPlace);
  used_ = size_;
  return false;
}

bool ByteBufferImpl::alloc(unsigned int size)
{
  freeBlock();
  data_ = static_cast<unsigned char*>(OS()->allocator()->allocate(size));
  if (!data_) return false;
  size_ = size;
  return true;
}

void ByteBufferImpl::flush(unsigned int value)
{
  if (data_) std::memset(data_, int(value & 0xFF), size_);
  clear();
}

bool ByteBufferImpl::append(unsigned int count)
{
  // Compared this way round, since used + count may not fit 32 bits.
  if (count > size_ - used_) return clampUsed();
  return setUsed(used_ + count);
}

bool ByteBufferImpl::append(const unsigned char* bytes, unsigned int count)
{
  // The copy lands behind the offset as well as the data, so the room is
  // what lies behind both; with offset 0 that is size less used.
  if (count > size_ - offset_ - used_) {
    Zr::assertionFailed("false", kPlace);
    return false;
  }
  if (count) std::memcpy(data_ + offset_ + used_, bytes, count);
  used_ += count;
  return true;
}

unsigned char* ByteBufferImpl::getBufferAtEnd() const
{
  if (!data_ || uint64_t(used_) + offset_ >= size_) {
    Zr::assertionFailed("false", kPlace);
    return nullptr;
  }
  return data_ + offset_ + used_;
}

unsigned int ByteBufferImpl::consume(unsigned int count) noexcept
{
  if (count > used_) count = used_;
  used_ -= count;
  offset_ += count;
  return count;
}
