// StreamFile: the storage behind PStream, a whole-file memory cache over an
// iFile. A file opened for reading is read into the cache at once (up to 32
// MiB; cacheForward brings in the rest), and a file being written lives only
// in the cache until flush(). That is what lets a writer seek back and patch
// the sizes of what it wrote.
//
// Writing goes to the path with ".TMP" behind it, and flush() renames that
// onto the path. The platform's rename replaces the old file atomically, with
// the data on the disk before and the folder entry after, so a crash at any
// moment leaves either the old file or the new one. flush() first waits (as
// open does) for another program to let go of the old file, but never deletes
// it: a delete before the rename would leave a moment with neither file.
//
// Integers and floats are written little-endian. A StreamFile belongs to one
// thread; the opens retry for up to 2 seconds while another program (a virus
// scanner, an indexer) holds the file.
#pragma once

#include <cstdint>

#include "libOS/LightweightString.h"
#include "libOS/Ptr.h"
#include "libOS/iFile.h"

class GrowString;

class StreamFile
{
public:
  using FileAddress = std::uint32_t;

  // The most read into the cache at open.
  static constexpr FileAddress kFirstRead = 0x2000000;
  // Open attempts, and the pause after each failed one.
  static constexpr int kOpenAttempts = 20;
  static constexpr unsigned int kRetryPauseMs = 100;

  StreamFile();
  // Closes without flushing: what was written is lost, the old file stands
  // and the ".TMP" stays behind.
  ~StreamFile();

  StreamFile(const StreamFile&) = delete;
  StreamFile& operator=(const StreamFile&) = delete;

  // Opens `path`, dropping any earlier file and cache. iFile::eOpenExisting
  // reads the file; iFile::eCreateAlways writes path + ".TMP". Any other mode
  // prints an assertion and writes. Reading gives cacheForward's result, so a
  // missing file, a failed read and an empty file (which is open all the
  // same, with eof() true) give false. Writing gives valid().
  bool create(const LightweightString<wchar_t>& path, iFile::eOpenBehaviour mode);
  // Frees the cache and lets go of the file, with no flush.
  void close();
  // Writing: writes the cache up to the cursor to ".TMP", closes it and
  // renames it onto the path. False, with the old file kept, when the write
  // fails (the torn ".TMP" is deleted) or the rename fails (the ".TMP"
  // stays). Reading: closes the file and gives true. The cache stays
  // readable either way; flush() ends writing.
  bool flush();

  // True while the file is open.
  bool valid() const;

  // Copies n bytes at the cursor, growing the cache, and moves on. False for
  // a closed file or when the cache cannot grow.
  bool write(const void* bytes, unsigned int n);

  // The cursor's offset. Reading with the cursor beyond the cache prints an
  // assertion: callers are meant to stay inside what they read.
  FileAddress position() const;
  // Moves the cursor to offset n, inside the cache or not; true if inside.
  bool position(FileAddress n);
  // The cursor's offset with no check, for readers that test it themselves.
  FileAddress offset() const { return cursor_; }
  // True when the cursor is at or past the size of the file at open (always,
  // for a file being written).
  bool eof() const;
  // Prints an assertion and gives 0: the size of a stream is its position.
  FileAddress size() const;

  // Makes the cache hold n valid bytes, keeping its contents and the cursor;
  // new bytes read as 0. The memory grows from 4096 bytes by doubling. False
  // when the size cannot be reached or allocated; a failed allocation drops
  // the whole cache.
  bool resizeCacheFor(FileAddress n);
  // Reading: brings the file's bytes up to offset n into the cache. False
  // when there was nothing to read (n within the cache) or the read came
  // short; what did come is kept.
  bool cacheForward(FileAddress n);

  // Reads n bytes at the cursor. Unless raw, a 4-byte length must come first
  // and equal n: otherwise an assertion is printed, the cursor stays behind
  // the length and the result is false. False too if the bytes are not all
  // in the cache, with the cursor before them.
  bool readBinary(void* buffer, unsigned int n, bool raw);
  // Appends to text: counted, a 4-byte length and that many bytes; else the
  // bytes up to a zero, which is passed over. False, with the cursor
  // unmoved, with no cache or when the text does not end inside it.
  bool readBinary(GrowString& text, bool counted);

  // Fixed-size values at the cursor, little-endian. They do not check that
  // the file is open (a writer patches the cache after a flush too), and
  // give true unless the cache cannot grow.
  bool setCookedChar(char value);
  bool setShort(std::int16_t value);
  bool setUnsignedShort(std::uint16_t value);
  bool setLong(std::int32_t value);
  bool setUnsignedLong(std::uint32_t value);
  bool setInt64(std::int64_t value);
  bool setUnsignedInt64(std::uint64_t value);
  bool setFloat(float value);
  bool setDouble(double value);

  // The cache for readers through the cursor: bytes [0, cacheSize()) are
  // valid. Null with no cache.
  const unsigned char* cacheData() const { return cache_; }
  FileAddress cacheSize() const { return cacheSize_; }
  FileAddress cacheCapacity() const { return cacheCapacity_; }
  // The size of the file at open; 0 for a file being written.
  FileAddress fileSize() const { return fileSize_; }
  bool usingTempFile() const { return usingTempFile_; }
  // The path given to create(), without ".TMP".
  const LightweightString<wchar_t>& path() const { return path_; }

private:
  void init();
  void freeCache();
  // Grows the cache to n valid bytes without clearing the new ones.
  bool extendTo(FileAddress n);
  // Writes n bytes at the cursor, clearing any gap the cursor left behind.
  bool put(const void* bytes, unsigned int n);
  bool openWithRetries(const LightweightString<wchar_t>& name, unsigned int access,
                       iFile::eOpenBehaviour behaviour, iFile::eShareMode share);
  bool writeCacheToFile();

  Zr::Ptr<iFile> file_;
  LightweightString<wchar_t> path_;
  unsigned char* cache_ = nullptr;
  FileAddress cursor_ = 0;
  FileAddress cacheSize_ = 0;
  FileAddress fileSize_ = 0;
  FileAddress cacheCapacity_ = 0;
  bool usingTempFile_ = false;
};
