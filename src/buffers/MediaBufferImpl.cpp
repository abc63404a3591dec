#include "buffers/MediaBufferImpl.h"

#include "core/Assert.h"
#include "libOS/OS.h"

namespace {

constexpr unsigned int kMediaAlignment = 16;

Zr::Ptr<iThreadEvent> makeEvent(bool initiallySet)
{
  return OS()->threadMgr()->createEvent(true, initiallySet, nullptr);
}

iWaitable::eWaitResult waitOn(const Zr::Ptr<iThreadEvent>& event, unsigned int milliseconds)
{
  return event ? event->wait(milliseconds) : iWaitable::eWaitFailed;
}

} // namespace

MediaBufferImpl::MediaBufferImpl()
    : flags_(0), type_(1), timeStamp_(0), writeEvent_(makeEvent(true)), readEvent_(makeEvent(false)),
      lock_("MediaBufferImpl")
{}

MediaBufferImpl::MediaBufferImpl(unsigned int size) : MediaBufferImpl()
{
  data_ = new AlignedByteBufferImpl;
  data_->alloc(size, kMediaAlignment);
}

MediaBufferImpl::~MediaBufferImpl() = default;

unsigned char* MediaBufferImpl::getBuffer() const
{
  CriticalSection::Guard guard(lock_);
  return data_ ? data_->getBuffer() : nullptr;
}

unsigned int MediaBufferImpl::getSize() const
{
  CriticalSection::Guard guard(lock_);
  return data_ ? data_->getSize() : 0;
}

unsigned int MediaBufferImpl::getUsed() const
{
  CriticalSection::Guard guard(lock_);
  return data_ ? data_->getUsed() : 0;
}

bool MediaBufferImpl::setUsed(unsigned int used)
{
  CriticalSection::Guard guard(lock_);
  return data_ ? data_->setUsed(used) : used == 0;
}

iWaitable::eWaitResult MediaBufferImpl::waitForRead(unsigned int milliseconds)
{
  return waitOn(readEvent_, milliseconds);
}

iWaitable::eWaitResult MediaBufferImpl::waitForWrite(unsigned int milliseconds)
{
  return waitOn(writeEvent_, milliseconds);
}

void MediaBufferImpl::signalRead()
{
  // Clearing before setting: a producer that saw the write event still set
  // would otherwise fill the buffer again before the consumer had it.
  if (writeEvent_) writeEvent_->reset();
  if (readEvent_) readEvent_->set();
}

void MediaBufferImpl::signalWrite()
{
  if (readEvent_) readEvent_->reset();
  if (writeEvent_) writeEvent_->set();
}

void MediaBufferImpl::setTimeStamp(uint64_t stamp)
{
  CriticalSection::Guard guard(lock_);
  timeStamp_ = stamp;
}

uint64_t MediaBufferImpl::getTimeStamp() const
{
  CriticalSection::Guard guard(lock_);
  return timeStamp_;
}

unsigned int MediaBufferImpl::getFlags() const
{
  CriticalSection::Guard guard(lock_);
  return flags_;
}

void MediaBufferImpl::setFlags(unsigned int flags)
{
  CriticalSection::Guard guard(lock_);
  flags_ = flags;
}

unsigned int MediaBufferImpl::getType() const
{
  CriticalSection::Guard guard(lock_);
  return type_;
}

void MediaBufferImpl::setType(unsigned int type)
{
  CriticalSection::Guard guard(lock_);
  type_ = type;
}

bool MediaBufferImpl::getAllocationSize(unsigned int* size) const
{
  if (!size) return false;
  *size = getSize();
  return true;
}

bool MediaBufferImpl::lockBuffer(unsigned char** data, unsigned int* size)
{
  CriticalSection::Guard guard(lock_);
  if (data) *data = data_ ? data_->getBuffer() : nullptr;
  if (size) *size = data_ ? data_->getSize() : 0;
  return true;
}

bool MediaBufferImpl::unlockBuffer(unsigned int offset, unsigned int used)
{
  Zr::softAssert(offset == 0, "cbOffset == 0", "misc/MediaBuffer");
  setUsed(used);
  return true;
}

void MediaBufferImpl::freeMemory(void* block)
{
  OS()->allocator()->release(block);
}
