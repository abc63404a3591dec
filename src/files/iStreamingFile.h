// iStreamingFile, a file whose content arrives in blocks from elsewhere (a
// network, a running capture) and can be read before it is complete, with a
// partial file on disk that keeps the blocks held so far.
#pragma once

#include <map>
#include <utility>

#include "buffers/ByteBufferImpl.h"
#include "libOS/iFile.h"

class iStreamingFile : public iFile
{
public:
  // Blocks by their start offset in the file.
  using BlockMap = std::map<unsigned long, Zr::Ptr<ByteBufferImpl>>;

  // True when every block of the file has arrived.
  virtual bool isComplete() const = 0;
  // Bytes arrived so far.
  virtual unsigned long getBytesArrived() const = 0;
  // Wakes every reader waiting for data; their waits give no block.
  virtual void cancelWaits() = 0;
  // Where the content comes from, in the source's own terms.
  virtual LightweightString<wchar_t> getSourceName() const = 0;
  virtual bool setSourceName(const LightweightString<wchar_t>& name) = 0;

  // Writes every block held to the partial file. False if it cannot be
  // written whole.
  virtual bool saveToPartialFile() = 0;
  // Names the partial file and takes in the blocks it holds. False if there
  // is no such file or it cannot be opened.
  virtual bool loadFromPartialFile(const LightweightString<wchar_t>& name) = 0;
  // Records whether the partial file should go when the file closes.
  virtual void deleteOnClose(bool on) = 0;
  // Waits for the block that covers the range [first, second] of the file.
  // Gives an entry of the block map, or its end when the block will not
  // come.
  virtual BlockMap::iterator waitForData(std::pair<unsigned long, unsigned long> range) = 0;
};
