// VirtualFileBase, the base of files whose content arrives in blocks of
// 32768 bytes and can be read before it is complete. Subclasses bring the
// blocks (insertBlock) and make readers wait for missing ones (waitForData);
// this class serves reads from the blocks held and keeps them in a partial
// file.
//
// A partial file is a run of 32800-byte records in ascending offset order:
// the block's 32768 bytes, then a little-endian trailer of version 1 (4
// bytes), 4 reserved bytes, the block's offset (8 bytes), 4 zero bytes, 4
// reserved bytes and 8 zero bytes. Reserved bytes are written as 0.
//
// The block work (readAt, read, insertBlock and the partial-file operations)
// is guarded by lock_; the position is not: one reader positions a file.
// Writes, asynchronous operations, times and truncation do nothing and give 0.
#pragma once

#include <cstdint>

#include "files/iStreamingFile.h"
#include "libOS/iSync.h"

class VirtualFileBase : public iStreamingFile
{
public:
  static constexpr unsigned int kBlockSize = 32768;
  static constexpr unsigned int kRecordSize = 32800;

  VirtualFileBase();
  ~VirtualFileBase() override;

  // Copies up to `count` bytes from `offset`, waiting for missing blocks.
  // Gives 0 when a block does not come (even if earlier blocks were
  // copied), and stops early, with the assertion "false", at a block whose
  // data ends before the offset asked for. Gives the bytes copied.
  unsigned int readAt(unsigned long offset, void* buffer, unsigned int count) override;
  // readAt at the position, which moves on by what was read.
  unsigned int read(void* buffer, unsigned int count) override;
  bool readAsync(void* buffer, unsigned int count, Zr::Ptr<iAsyncContext> context) override;
  bool readAtAsync(unsigned long offset, void* buffer, unsigned int count,
                   Zr::Ptr<iAsyncContext> context) override;

  unsigned int write(const void* buffer, unsigned int count) override;
  bool writeAsync(const void* buffer, unsigned int count, Zr::Ptr<iAsyncContext> context) override;
  unsigned int writeAt(unsigned long offset, const void* buffer, unsigned int count) override;
  bool writeAtAsync(unsigned long offset, const void* buffer, unsigned int count,
                    Zr::Ptr<iAsyncContext> context) override;

  // Any offset is accepted; reads past the data wait or give 0.
  bool positionAt(unsigned long position) override;
  unsigned long getPosition() const override { return position_; }
  unsigned long getTime(eTimeType type) const override;
  bool setTime(eTimeType type, const unsigned long& time) override;
  unsigned long getSize() const override { return size_; }
  bool truncate(unsigned long size) override;
  bool isOpen() const override { return true; }

  // Writes every block, whole, to the partial file, replacing it. False
  // when no partial file is named or a write fails.
  bool saveToPartialFile() override;
  // Names the partial file and takes in its records; a short last record
  // is dropped, the version is not looked at, and a block already held is
  // kept over the file's. False if the file is absent or will not open.
  bool loadFromPartialFile(const LightweightString<wchar_t>& name) override;
  void deleteOnClose(bool on) override { deleteOnClose_ = on; }
  bool getDeleteOnClose() const { return deleteOnClose_; }
  // Gives the end of the block map: with no source, no block comes.
  BlockMap::iterator waitForData(std::pair<unsigned long, unsigned long> range) override;

  const LightweightString<wchar_t>& getPartialFileName() const { return partialFile_; }

protected:
  // Adds a block at `offset` (a multiple of kBlockSize); its used bytes are
  // its data. A block already held there is kept and false given.
  // Thread-safe.
  bool insertBlock(unsigned long offset, const Zr::Ptr<ByteBufferImpl>& block);

  // Subclasses that block in waitForData hold lock_ there, since readAt
  // calls it under the lock: they leave it while they wait so that the
  // block can be inserted.
  Zr::Ptr<iCriticalSection> lock_;
  unsigned long position_;
  BlockMap blocks_;
  unsigned long size_;
  LightweightString<wchar_t> partialFile_;
  bool deleteOnClose_;
};
