// ByteBufferImpl, a counted block of bytes from the OS allocator with a used
// count and a read offset, so that a reader consumes from the front without
// moving bytes.
//
// The invariant is offset + used <= size. No lock: one thread at a time, or
// the caller's lock (BufferQueue holds its own).
#pragma once

#include "buffers/iMemHolder.h"

class ByteBufferImpl : public iMemHolder
{
public:
  ByteBufferImpl() noexcept;
  // A block of `size` bytes; check getBuffer() for a failed allocation.
  explicit ByteBufferImpl(unsigned int size);
  ~ByteBufferImpl() override;

  ByteBufferImpl(const ByteBufferImpl&) = delete;
  ByteBufferImpl& operator=(const ByteBufferImpl&) = delete;

  // The data pointer plus the read offset.
  unsigned char* getBuffer() const override;
  unsigned int getSize() const override { return size_; }
  unsigned int getUsed() const override { return used_; }
  // Above the size: prints the assertion "0", sets used to the size and
  // gives false.
  bool setUsed(unsigned int used) override;

  // Frees any block and makes a new one of `size` bytes, holding no data at
  // offset 0 (a stale count would point past a smaller block). False, with
  // size 0, when the memory cannot be had.
  virtual bool alloc(unsigned int size);

  // Sets the read offset back to 0.
  void clear() noexcept { offset_ = 0; }
  // Fills the whole block with `value` and sets the read offset to 0.
  void flush(unsigned int value);
  // Counts `count` more bytes as data, as setUsed(used + count) does.
  bool append(unsigned int count);
  // Copies `count` bytes behind the data. False, with the assertion "false"
  // and nothing copied, when they do not fit behind the read offset and the
  // data.
  bool append(const unsigned char* bytes, unsigned int count);
  // The address behind the data, where the next append goes. Null, with the
  // assertion "false", when the block is full.
  unsigned char* getBufferAtEnd() const;

  // Drops up to `count` bytes from the front of the data by moving the read
  // offset. Returns the bytes dropped.
  unsigned int consume(unsigned int count) noexcept;
  unsigned int getReadOffset() const noexcept { return offset_; }

protected:
  // Gives the block back to the allocator and zeroes the fields.
  virtual void freeBlock() noexcept;
  // The failure of setUsed: the assertion, used set to the size, false.
  bool clampUsed() noexcept;

  unsigned char* data_;
  unsigned int size_;
  unsigned int offset_;
  unsigned int used_;
};
