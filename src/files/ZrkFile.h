// ZrkFile, a file with crash-safe writing. A file opened for writing (access
// 2) keeps everything written in memory and goes to the disk only at
// close(): in one write to the name with ".TMP" behind it, then a rename
// onto the final name. Until the rename the final file is untouched; a
// process that dies leaves it as it was, with a ".TMP" beside it. Other
// access modes read and write the file directly.
//
// The write cache grows from 4096 bytes by doubling. Its logical size grows
// only with writes and positioning; bytes that positioning skips over read
// as 0. Reads of a writing file come from the cache.
//
// reads, writes, reset() and close() take the file's lock; positionAt(),
// size() and getPosition() do not: one thread positions a file.
#pragma once

#include <cstdint>

#include "libOS/LightweightString.h"
#include "libOS/iFile.h"
#include "libOS/iSync.h"

class GrowString;

class ZrkFile
{
public:
  ZrkFile();
  // Opens at once, as create() does; check valid().
  ZrkFile(const LightweightString<wchar_t>& name, unsigned int access, iFile::eOpenBehaviour behaviour,
          iFile::eShareMode share);
  // Destroying a writing file without close() discards what was written:
  // the final file stays as it was and the ".TMP" goes.
  virtual ~ZrkFile();

  ZrkFile(const ZrkFile&) = delete;
  ZrkFile& operator=(const ZrkFile&) = delete;

  // Opens `name` (name + ".TMP" when access is 2) through the OS file
  // manager, dropping any cache of an earlier use. Gives valid().
  bool create(const LightweightString<wchar_t>& name, unsigned int access, iFile::eOpenBehaviour behaviour,
              iFile::eShareMode share);

  // Writes the cache in one call, releases the file and, for a writing file,
  // renames ".TMP" onto the final name. False if the write is refused or
  // short (a full disk), in which case the rename is not made, the ".TMP"
  // is deleted and the old file stays; false also if a cache failed to grow
  // since create() or reset(), or if the rename fails. The rename flushes
  // the data before and the folder after.
  bool close();

  // True while the OS file is open.
  bool valid() const;
  // The logical size of a writing file, else the file's size; 0 if not valid.
  unsigned long size() const;
  // Writing: grows the file to `position` if it is shorter, then moves
  // there. Reading from a cache: moves there, and gives whether that is
  // inside the data. Otherwise the OS file's positioning.
  bool positionAt(unsigned int position);
  unsigned long getPosition() const;
  // Asks the OS file even when not valid, after the assertion "valid()".
  unsigned long getFileTime(iFile::eTimeType type) const;
  // The name given to create(), without ".TMP".
  const LightweightString<wchar_t>& getFilename() const { return filename_; }
  // Writing: empties the file, keeping the cache's memory. Otherwise
  // truncates the OS file to 0. False if not valid.
  bool reset();

  // From the cache: true only when all `count` bytes were copied (the copy
  // is made all the same). From the OS file: true when any byte came, so a
  // short read succeeds there.
  bool read(unsigned char* data, unsigned int count);
  // The same into a text grown to at least `count` bytes first.
  bool read(GrowString& text, unsigned int count);
  // A read at an offset. On the OS file, a failed move fails the read,
  // except for the offset 0xFFFFFFFF.
  bool readAt(unsigned int offset, unsigned char* data, unsigned int count);
  bool readAt(unsigned int offset, GrowString& text, unsigned int count);
  // Writing: into the cache at the position (or offset), which moves past
  // the data. False if the cache cannot grow; it is then dropped, and
  // close() will not replace the file. Otherwise to the OS file; false
  // unless every byte was written.
  bool write(const unsigned char* data, unsigned int count);
  bool writeAt(unsigned int offset, const unsigned char* data, unsigned int count);

  // Makes the logical size at least `size`, growing the cache to 4096
  // doubled until it holds it; new bytes are 0. On failure the cache is
  // dropped and the three cache numbers are 0.
  bool resizeWriteCacheFor(unsigned int size);

  // The cache's allocated bytes; 0 without a cache.
  unsigned int cacheCapacity() const { return cacheCapacity_; }

private:
  bool internalWrite(unsigned int offset, bool useOffset, const unsigned char* data, unsigned int count);
  bool internalRead(unsigned int offset, bool useOffset, unsigned char* data, unsigned int count);
  // Grows the logical size to `size`, zeroing only the new bytes below
  // `zeroUpTo`: a write that follows fills the rest itself.
  bool growCache(unsigned int size, unsigned int zeroUpTo);
  void dropCache() noexcept;

  Zr::Ptr<iFile> file_;
  LightweightString<wchar_t> filename_;
  Zr::Ptr<iCriticalSection> lock_;
  unsigned char* cache_;
  uint32_t cachePos_;
  uint32_t cacheSize_;
  bool writing_;
  uint32_t cacheCapacity_;
  bool replaceOnClose_;
  // A cache failed to grow and its data is gone: close must not publish.
  bool lostData_;
};
