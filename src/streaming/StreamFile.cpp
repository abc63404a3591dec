#include "streaming/StreamFile.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "core/Assert.h"
#include "libOS/OS.h"
#include "text/GrowString.h"

static_assert(std::endian::native == std::endian::little, "values are stored in memory order");

namespace {

LightweightString<wchar_t> tempName(const LightweightString<wchar_t>& path)
{
  return path + L".TMP";
}

iAllocator& memory()
{
  return *OS()->allocator();
}

} // namespace

StreamFile::StreamFile()
{
  init();
}

StreamFile::~StreamFile()
{
  close();
}

void StreamFile::init()
{
  cache_ = nullptr;
  cursor_ = 0;
  cacheSize_ = 0;
  fileSize_ = 0;
  cacheCapacity_ = 0;
}

void StreamFile::freeCache()
{
  if (cache_) memory().release(cache_);
  init();
}

bool StreamFile::valid() const
{
  return file_ && file_->isOpen();
}

bool StreamFile::openWithRetries(const LightweightString<wchar_t>& name, unsigned int access,
                                 iFile::eOpenBehaviour behaviour, iFile::eShareMode share)
{
  iFileManager* files = OS()->fileManager();
  for (int attempt = 1; attempt <= kOpenAttempts; ++attempt) {
    file_ = files->open(name, access, behaviour, share);
    if (file_) return true;
    // No pause after the last attempt: nothing follows it.
    if (attempt < kOpenAttempts) OS()->threadMgr()->sleep(kRetryPauseMs);
  }
  return false;
}

bool StreamFile::create(const LightweightString<wchar_t>& path, iFile::eOpenBehaviour mode)
{
  close();
  bool writing = true;
  if (mode == iFile::eOpenExisting)
    writing = false;
  else
    Zr::softAssert(mode == iFile::eCreateAlways, "open == iFile::eCreateAlways", "misc/StreamFile line 92");
  usingTempFile_ = writing;
  path_ = path;

  if (writing) {
    openWithRetries(tempName(path), iFile::eWrite, iFile::eCreateAlways, iFile::eShareNone);
    return valid();
  }
  if (!OS()->fileManager()->exists(path)) return false;
  if (!openWithRetries(path, iFile::eRead, iFile::eOpenExisting, iFile::eShareRead)) return false;
  const unsigned long size = file_->getSize();
  // Offsets are 32-bit: a larger file is seen up to 4 GiB less one byte.
  fileSize_ = FileAddress(std::min<unsigned long>(size, 0xFFFFFFFFul));
  return cacheForward(std::min(fileSize_, kFirstRead));
}

void StreamFile::close()
{
  freeCache();
  file_ = Zr::Ptr<iFile>();
}

bool StreamFile::writeCacheToFile()
{
  FileAddress done = 0;
  while (done < cursor_) {
    // The cursor may stand beyond the valid bytes; what lies between reads as 0.
    const FileAddress end = std::min(cursor_, cacheSize_);
    if (done >= end) {
      static const unsigned char zeros[4096] = {};
      const unsigned int n = unsigned(std::min<FileAddress>(cursor_ - done, sizeof zeros));
      if (file_->write(zeros, n) != n) return false;
      done += n;
      continue;
    }
    const unsigned int wrote = file_->write(cache_ + done, end - done);
    if (wrote == 0) return false;
    done += wrote;
  }
  return true;
}

bool StreamFile::flush()
{
  if (!usingTempFile_) {
    file_ = Zr::Ptr<iFile>();
    return true;
  }
  usingTempFile_ = false;
  // With no open ".TMP" there is nothing of ours to publish or to clean up:
  // a ".TMP" on disk then belongs to whoever kept us from opening it.
  if (!valid()) return false;
  const bool wrote = writeCacheToFile();
  file_ = Zr::Ptr<iFile>();
  iFileManager* files = OS()->fileManager();
  const LightweightString<wchar_t> temp = tempName(path_);
  if (!wrote) {
    // A torn ".TMP" is of no use to anyone; the old file stands.
    files->deleteFile(temp);
    return false;
  }
  // Waits for another program to let go of the old file, as open does. The
  // old file is not deleted: the rename replaces it in one step.
  if (files->exists(path_)) {
    for (int attempt = 1; attempt <= kOpenAttempts; ++attempt) {
      if (files->open(path_, iFile::eRead, iFile::eOpenExisting, iFile::eShareNone)) break;
      if (attempt < kOpenAttempts) OS()->threadMgr()->sleep(kRetryPauseMs);
    }
  }
  if (files->rename(temp, path_)) return true;
  OS()->threadMgr()->sleep(1);
  // The new data did not reach its name: the caller must not think it saved.
  return false;
}

bool StreamFile::extendTo(FileAddress n)
{
  if (n <= cacheSize_) return true;
  if (n <= cacheCapacity_) {
    cacheSize_ = n;
    return true;
  }
  FileAddress capacity = 4096;
  while (capacity != 0 && capacity < n) capacity <<= 1;
  if (capacity == 0) {
    Zr::softAssert(false, "false", "misc/StreamFile line 235");
    return false;
  }
  // Reallocation keeps the contents; for large blocks it moves pages rather
  // than copying bytes.
  auto* block = static_cast<unsigned char*>(cache_ ? memory().reallocate(cache_, capacity)
                                                   : memory().allocate(capacity));
  if (!block) {
    freeCache();
    return false;
  }
  cache_ = block;
  cacheCapacity_ = capacity;
  cacheSize_ = n;
  return true;
}

bool StreamFile::resizeCacheFor(FileAddress n)
{
  const FileAddress old = cacheSize_;
  if (!extendTo(n)) return false;
  if (n > old) std::memset(cache_ + old, 0, n - old);
  return true;
}

bool StreamFile::put(const void* bytes, unsigned int n)
{
  const std::uint64_t end = std::uint64_t(cursor_) + n;
  if (end > 0xFFFFFFFFull) return false;
  const FileAddress old = cacheSize_;
  if (!extendTo(FileAddress(end))) return false;
  // Only the gap between the old end and the cursor needs clearing; the rest
  // is about to be written.
  if (cursor_ > old) std::memset(cache_ + old, 0, cursor_ - old);
  if (n) std::memcpy(cache_ + cursor_, bytes, n);
  cursor_ = FileAddress(end);
  return true;
}

bool StreamFile::write(const void* bytes, unsigned int n)
{
  if (!valid()) return false;
  return put(bytes, n);
}

bool StreamFile::setCookedChar(char value)
{
  return put(&value, 1);
}

bool StreamFile::setShort(std::int16_t value)
{
  return put(&value, 2);
}

bool StreamFile::setUnsignedShort(std::uint16_t value)
{
  return put(&value, 2);
}

bool StreamFile::setLong(std::int32_t value)
{
  return put(&value, 4);
}

bool StreamFile::setUnsignedLong(std::uint32_t value)
{
  return put(&value, 4);
}

bool StreamFile::setInt64(std::int64_t value)
{
  return put(&value, 8);
}

bool StreamFile::setUnsignedInt64(std::uint64_t value)
{
  return put(&value, 8);
}

bool StreamFile::setFloat(float value)
{
  return put(&value, 4);
}

bool StreamFile::setDouble(double value)
{
  return put(&value, 8);
}

StreamFile::FileAddress StreamFile::position() const
{
  if (!usingTempFile_ && cursor_ > cacheSize_)
    Zr::assertionFailed(
        "usingTempFile_ || (cachePos_ >= cache_ && (FileAddress)(cachePos_ - cache_) <= cacheSize_)",
        "misc/StreamFile line 450");
  return cursor_;
}

bool StreamFile::position(FileAddress n)
{
  cursor_ = n;
  return n <= cacheSize_;
}

bool StreamFile::eof() const
{
  return position() >= fileSize_;
}

StreamFile::FileAddress StreamFile::size() const
{
  Zr::softAssert(false, "false", "misc/StreamFile line 275");
  return 0;
}

bool StreamFile::cacheForward(FileAddress n)
{
  if (n <= cacheSize_) return false;
  if (!valid()) return false;
  const FileAddress old = cacheSize_;
  if (!extendTo(n)) return false;
  FileAddress got = 0;
  while (old + got < n) {
    const unsigned int read = file_->readAt(old + got, cache_ + old + got, n - old - got);
    if (read == 0) break;
    got += read;
  }
  cacheSize_ = old + got;
  return cacheSize_ == n;
}

bool StreamFile::readBinary(void* buffer, unsigned int n, bool raw)
{
  if (!cache_) return false;
  FileAddress at = cursor_;
  if (!raw) {
    if (at > cacheSize_ || cacheSize_ - at < 4) return false;
    std::uint32_t length;
    std::memcpy(&length, cache_ + at, 4);
    at += 4;
    cursor_ = at;
    if (length != n) {
      Zr::softAssert(false, "false", "misc/StreamFile line 388");
      return false;
    }
  }
  if (at > cacheSize_ || cacheSize_ - at < n) return false;
  if (n) std::memcpy(buffer, cache_ + at, n);
  cursor_ = at + n;
  return true;
}

bool StreamFile::readBinary(GrowString& text, bool counted)
{
  if (!cache_ || cursor_ > cacheSize_) return false;
  const unsigned char* at = cache_ + cursor_;
  const FileAddress left = cacheSize_ - cursor_;
  if (counted) {
    if (left < 4) return false;
    std::uint32_t length;
    std::memcpy(&length, at, 4);
    if (length > left - 4) return false;
    const unsigned int old = text.length();
    if (length) {
      if (old + std::uint64_t(length) >= 0x80000000ull || !text.growTo(old + length)) return false;
      std::memcpy(text.data() + old, at + 4, length);
    }
    cursor_ += 4 + length;
    return true;
  }
  const void* zero = std::memchr(at, 0, left);
  if (!zero) return false;
  const FileAddress length = FileAddress(static_cast<const unsigned char*>(zero) - at);
  if (length) {
    const unsigned int old = text.length();
    if (old + std::uint64_t(length) >= 0x80000000ull || !text.growTo(old + length)) return false;
    std::memcpy(text.data() + old, at, length);
  }
  cursor_ += length + 1;
  return true;
}
