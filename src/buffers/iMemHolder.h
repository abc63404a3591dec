// iMemHolder, the interface of a counted block of bytes: file data, media
// data, compressed blocks.
#pragma once

#include "libOS/iObject.h"

class iMemHolder : public iObject
{
public:
  // The first byte a reader should see; null when there is no block.
  virtual unsigned char* getBuffer() const = 0;
  // Bytes allocated.
  virtual unsigned int getSize() const = 0;
  // Bytes that hold data.
  virtual unsigned int getUsed() const = 0;

  ~iMemHolder() override = default;

  // Sets how many bytes hold data. False when that is more than the block holds.
  virtual bool setUsed(unsigned int used) = 0;
};
