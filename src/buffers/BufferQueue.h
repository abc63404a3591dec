// Zr::BufferQueue, a first-in first-out run of byte buffers read as one
// stream of bytes, across buffer boundaries.
//
// readData and getTotalBytes take the queue's lock. addBuffer and reset take
// none: they belong to moments when no reader runs (filling the queue before
// handing it over, emptying it after), and must not overlap a read.
#pragma once

#include <deque>

#include "buffers/ByteBufferImpl.h"
#include "libzr/CriticalSection.h"

namespace Zr {

class BufferQueue
{
public:
  BufferQueue() : lock_("BufferQueue") {}
  BufferQueue(const BufferQueue&) = delete;
  BufferQueue& operator=(const BufferQueue&) = delete;

  // Releases every buffer. Not locked.
  void reset();
  // The data bytes of all buffers. Thread-safe.
  unsigned long getTotalBytes() const;
  // Queues a buffer behind the others; the queue keeps a handle and reads
  // from the buffer's read offset. A null handle is ignored. Not locked.
  void addBuffer(const Zr::Ptr<ByteBufferImpl>& buffer);
  // A new buffer of `count` bytes holding the oldest `count` bytes of the
  // queue, which are consumed; emptied buffers leave the queue. Asking for
  // more than the queue holds prints the assertion "numBytes <=
  // getTotalBytes()" and gives what there is. Null only when the memory
  // cannot be had. Thread-safe.
  Zr::Ptr<ByteBufferImpl> readData(unsigned int count);

private:
  mutable CriticalSection lock_;
  std::deque<Zr::Ptr<ByteBufferImpl>> buffers_;
};

} // namespace Zr
