// iMediaSample, what a media framework asks of one sample: its bytes, a time
// stamp, flags and a type whose meanings the framework gives, and a
// lock/unlock pair around direct access to the memory.
#pragma once

#include <cstdint>

#include "buffers/iMemHolder.h"

class iMediaSample : public iMemHolder
{
public:
  virtual void setTimeStamp(uint64_t stamp) = 0;
  virtual uint64_t getTimeStamp() const = 0;
  virtual unsigned int getFlags() const = 0;
  virtual void setFlags(unsigned int flags) = 0;
  virtual unsigned int getType() const = 0;
  virtual void setType(unsigned int type) = 0;

  // Bytes allocated for the sample. False for a null argument.
  virtual bool getAllocationSize(unsigned int* size) const = 0;
  // The data pointer and the allocation size, for a caller that writes the
  // memory directly. Null arguments are skipped.
  virtual bool lockBuffer(unsigned char** data, unsigned int* size) = 0;
  // Ends direct access, recording how many bytes now hold data. Only
  // offset 0 is supported.
  virtual bool unlockBuffer(unsigned int offset, unsigned int used) = 0;
  // Gives back a block that came from the OS allocator, for frameworks that
  // hand a sample's caller memory to free; null does nothing.
  virtual void freeMemory(void* block) = 0;
};
