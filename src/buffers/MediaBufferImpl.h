// MediaBufferImpl, a media sample over a 16-byte aligned buffer, with a time
// stamp, flags, type and two events through which one producer and one
// consumer take turns.
//
// Every operation is thread-safe: the fields are guarded by a critical
// section, and the data buffer is reached through it. The events make the
// hand-over: the write event is set while the buffer is free for the
// producer, the read event while it holds data for the consumer.
#pragma once

#include "buffers/AlignedByteBufferImpl.h"
#include "buffers/iMediaSample.h"
#include "libOS/iSync.h"
#include "libzr/CriticalSection.h"

class MediaBufferImpl : public iMediaSample
{
public:
  // A sample with no memory yet: getBuffer() is null and getSize() 0.
  MediaBufferImpl();
  // A sample of `size` bytes aligned on 16. Check getBuffer() for a failed
  // allocation.
  explicit MediaBufferImpl(unsigned int size);
  ~MediaBufferImpl() override;

  MediaBufferImpl(const MediaBufferImpl&) = delete;
  MediaBufferImpl& operator=(const MediaBufferImpl&) = delete;

  unsigned char* getBuffer() const override;
  unsigned int getSize() const override;
  unsigned int getUsed() const override;
  bool setUsed(unsigned int used) override;

  // Wait up to `milliseconds` (iWaitable::kInfinite: for ever) for data to
  // read, or for the buffer to be free to write.
  iWaitable::eWaitResult waitForRead(unsigned int milliseconds);
  iWaitable::eWaitResult waitForWrite(unsigned int milliseconds);
  // The producer is done: sets the read event and clears the write event,
  // so that the producer's next waitForWrite waits for the consumer.
  void signalRead();
  // The consumer is done: sets the write event and clears the read event.
  void signalWrite();

  void setTimeStamp(uint64_t stamp) override;
  uint64_t getTimeStamp() const override;
  unsigned int getFlags() const override;
  void setFlags(unsigned int flags) override;
  // 1 until set.
  unsigned int getType() const override;
  void setType(unsigned int type) override;

  bool getAllocationSize(unsigned int* size) const override;
  // Always true; a sample with no memory gives null and 0.
  bool lockBuffer(unsigned char** data, unsigned int* size) override;
  // Prints the assertion "cbOffset == 0" for another offset, then sets used
  // all the same. Always true.
  bool unlockBuffer(unsigned int offset, unsigned int used) override;
  void freeMemory(void* block) override;

private:
  Zr::Ptr<AlignedByteBufferImpl> data_;
  unsigned int flags_;
  unsigned int type_;
  uint64_t timeStamp_;
  Zr::Ptr<iThreadEvent> writeEvent_;
  Zr::Ptr<iThreadEvent> readEvent_;
  mutable CriticalSection lock_;
};
