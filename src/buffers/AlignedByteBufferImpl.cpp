#include "buffers/AlignedByteBufferImpl.h"

#include <cstdint>

#include "core/Assert.h"
#include "libOS/OS.h"

AlignedByteBufferImpl::~AlignedByteBufferImpl()
{
  AlignedByteBufferImpl::freeBlock();
}

void AlignedByteBufferImpl::freeBlock() noexcept
{
  OS()->allocator()->release(raw_);
  raw_ = nullptr;
  data_ = nullptr;
  size_ = offset_ = used_ = 0;
}

bool AlignedByteBufferImpl::alloc(unsigned int size, unsigned int pageSize)
{
  freeBlock();
  pageSize_ = pageSize ? pageSize : 1;
  raw_ = static_cast<unsigned char*>(OS()->allocator()->allocate(size_t(size) + pageSize_));
  if (!raw_) return false;
  const uintptr_t start = reinterpret_cast<uintptr_t>(raw_);
  const uintptr_t misalign = start % pageSize_;
  data_ = raw_ + (misalign ? pageSize_ - misalign : 0);
  size_ = size;
  Zr::softAssert((reinterpret_cast<size_t>(getBuffer()) % pageSize_) == 0,
                 "( (size_t)getBuffer() % pageSize ) == 0", "misc/ByteBuffer");
  return true;
}
