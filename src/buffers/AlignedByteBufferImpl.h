// AlignedByteBufferImpl, a byte buffer whose data starts on a multiple of a
// page size, for devices and codecs that need aligned memory.
#pragma once

#include "buffers/ByteBufferImpl.h"

class AlignedByteBufferImpl : public ByteBufferImpl
{
public:
  AlignedByteBufferImpl() noexcept : raw_(nullptr), pageSize_(kDefaultPageSize) {}
  ~AlignedByteBufferImpl() override;

  // The page size of alloc(size) when none was given before.
  static constexpr unsigned int kDefaultPageSize = 16;

  // Frees any block and makes one of size + pageSize bytes, with the data at
  // its first multiple of pageSize. Any page size works, not only powers of
  // two; 0 counts as 1. False, with size 0, when the memory cannot be had.
  bool alloc(unsigned int size, unsigned int pageSize);
  // Allocates with the page size of the last alloc (16 at first).
  bool alloc(unsigned int size) override { return alloc(size, pageSize_); }

  unsigned int getPageSize() const noexcept { return pageSize_; }

protected:
  void freeBlock() noexcept override;

private:
  // What the allocator gave; data_ points into it.
  unsigned char* raw_;
  unsigned int pageSize_;
};
