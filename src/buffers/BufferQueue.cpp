#include "buffers/BufferQueue.h"

#include <algorithm>

#include "core/Assert.h"

namespace Zr {

void BufferQueue::reset()
{
  buffers_.clear();
}

unsigned long BufferQueue::getTotalBytes() const
{
  CriticalSection::Guard guard(lock_);
  unsigned long total = 0;
  for (const auto& buffer : buffers_) total += buffer->getUsed();
  return total;
}

void BufferQueue::addBuffer(const Zr::Ptr<ByteBufferImpl>& buffer)
{
  if (buffer) buffers_.push_back(buffer);
}

Zr::Ptr<ByteBufferImpl> BufferQueue::readData(unsigned int count)
{
  CriticalSection::Guard guard(lock_);
  softAssert(count <= getTotalBytes(), "numBytes <= getTotalBytes()", "misc/BufferQueue");

  Zr::Ptr<ByteBufferImpl> out(new ByteBufferImpl);
  if (!out->alloc(count) && count != 0) return nullptr;

  unsigned int wanted = count;
  while (wanted != 0 && !buffers_.empty()) {
    ByteBufferImpl& front = *buffers_.front();
    const unsigned int take = std::min(wanted, front.getUsed());
    out->append(front.getBuffer(), take);
    front.consume(take);
    wanted -= take;
    if (front.getUsed() == 0) buffers_.pop_front();
  }
  return out;
}

} // namespace Zr
