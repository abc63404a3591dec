#include "files/ZrkFile.h"

#include <algorithm>
#include <cstring>

#include "core/Assert.h"
#include "libOS/OS.h"
#include "text/GrowString.h"

namespace {

constexpr unsigned int kFirstCapacity = 4096;
constexpr uint64_t kMaxCapacity = 0x80000000u;
// A read at this offset is taken to mean "here", and a failed move does not
// fail it.
constexpr unsigned int kCurrentOffset = 0xFFFFFFFFu;

const wchar_t kTempSuffix[] = L".TMP";

// Holds the file's lock, if it has one yet, for the guard's life.
class Locked
{
public:
  explicit Locked(const Zr::Ptr<iCriticalSection>& section) : section_(section.get())
  {
    if (section_) section_->enter();
  }
  ~Locked()
  {
    if (section_) section_->leave();
  }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

private:
  iCriticalSection* section_;
};

} // namespace

ZrkFile::ZrkFile()
    : cache_(nullptr), cachePos_(0), cacheSize_(0), writing_(false), cacheCapacity_(0),
      replaceOnClose_(false), lostData_(false)
{}

ZrkFile::ZrkFile(const LightweightString<wchar_t>& name, unsigned int access, iFile::eOpenBehaviour behaviour,
                 iFile::eShareMode share)
    : ZrkFile()
{
  create(name, access, behaviour, share);
}

ZrkFile::~ZrkFile()
{
  Locked locked(lock_);
  dropCache();
  if (file_ && replaceOnClose_) {
    file_ = nullptr;
    OS()->fileManager()->deleteFile(filename_ + kTempSuffix);
  }
}

void ZrkFile::dropCache() noexcept
{
  OS()->allocator()->release(cache_);
  cache_ = nullptr;
  cachePos_ = cacheSize_ = cacheCapacity_ = 0;
}

bool ZrkFile::create(const LightweightString<wchar_t>& name, unsigned int access,
                     iFile::eOpenBehaviour behaviour, iFile::eShareMode share)
{
  dropCache();
  lostData_ = false;
  writing_ = replaceOnClose_ = access == iFile::eWrite;
  file_ = OS()->fileManager()->open(writing_ ? name + kTempSuffix : name, access, behaviour, share);
  lock_ = OS()->threadMgr()->createCriticalSection("ZrkFile");
  filename_ = name;
  return valid();
}

bool ZrkFile::valid() const
{
  return file_ && file_->isOpen();
}

bool ZrkFile::close()
{
  Locked locked(lock_);
  bool ok = !lostData_;
  if (valid() && writing_ && cache_ && cacheSize_ != 0)
    ok = file_->write(cache_, cacheSize_) == cacheSize_ && ok;
  dropCache();
  if (!file_) return false;
  file_ = nullptr;
  if (replaceOnClose_) {
    replaceOnClose_ = false;
    const LightweightString<wchar_t> temp = filename_ + kTempSuffix;
    // A torn ".TMP" must not reach the final name; it is only taking space,
    // which a full disk needs back.
    if (!ok) {
      OS()->fileManager()->deleteFile(temp);
      return false;
    }
    return OS()->fileManager()->rename(temp, filename_);
  }
  return ok;
}

unsigned long ZrkFile::size() const
{
  if (!valid()) return 0;
  return cache_ ? cacheSize_ : file_->getSize();
}

bool ZrkFile::positionAt(unsigned int position)
{
  if (!file_) return false;
  if (writing_) {
    if (!resizeWriteCacheFor(position)) return false;
    cachePos_ = position;
    return true;
  }
  if (cache_) {
    cachePos_ = position;
    return position < cacheSize_;
  }
  return file_->positionAt(position);
}

unsigned long ZrkFile::getPosition() const
{
  if (cache_) return cachePos_;
  return file_ ? file_->getPosition() : 0;
}

unsigned long ZrkFile::getFileTime(iFile::eTimeType type) const
{
  Zr::softAssert(valid(), "valid()", "misc/zrkfile line 513");
  return file_ ? file_->getTime(type) : 0;
}

bool ZrkFile::reset()
{
  if (!valid()) return false;
  Locked locked(lock_);
  if (writing_) {
    cacheSize_ = cachePos_ = 0;
    lostData_ = false;
    return true;
  }
  return file_->positionAt(0) && file_->truncate(0);
}

bool ZrkFile::read(unsigned char* data, unsigned int count)
{
  return internalRead(0, false, data, count);
}

bool ZrkFile::read(GrowString& text, unsigned int count)
{
  if (!text.growTo(count)) return false;
  return internalRead(0, false, reinterpret_cast<unsigned char*>(text.data()), count);
}

bool ZrkFile::readAt(unsigned int offset, unsigned char* data, unsigned int count)
{
  return internalRead(offset, true, data, count);
}

bool ZrkFile::readAt(unsigned int offset, GrowString& text, unsigned int count)
{
  if (!text.growTo(count)) return false;
  return internalRead(offset, true, reinterpret_cast<unsigned char*>(text.data()), count);
}

bool ZrkFile::write(const unsigned char* data, unsigned int count)
{
  return internalWrite(0, false, data, count);
}

bool ZrkFile::writeAt(unsigned int offset, const unsigned char* data, unsigned int count)
{
  return internalWrite(offset, true, data, count);
}

bool ZrkFile::internalRead(unsigned int offset, bool useOffset, unsigned char* data, unsigned int count)
{
  if (!valid()) return false;
  Locked locked(lock_);
  if (useOffset) {
    if (cache_)
      cachePos_ = offset;
    else if (!file_->positionAt(offset) && offset != kCurrentOffset)
      return false;
  }
  if (cache_) {
    const unsigned int left = cachePos_ < cacheSize_ ? cacheSize_ - cachePos_ : 0;
    const unsigned int n = std::min(count, left);
    if (n) std::memcpy(data, cache_ + cachePos_, n);
    cachePos_ += n;
    return n == count;
  }
  return file_->read(data, count) != 0;
}

bool ZrkFile::internalWrite(unsigned int offset, bool useOffset, const unsigned char* data,
                            unsigned int count)
{
  if (!valid()) return false;
  Locked locked(lock_);
  if (!writing_) {
    const unsigned int written = useOffset ? file_->writeAt(offset, data, count) : file_->write(data, count);
    return written == count;
  }
  if (useOffset)
    cachePos_ = offset;
  else
    offset = cachePos_;
  const uint64_t end = uint64_t(offset) + count;
  if (end > 0xFFFFFFFFu) return false;
  if (!growCache(unsigned(end), offset)) return false;
  if (count) std::memcpy(cache_ + cachePos_, data, count);
  cachePos_ += count;
  return true;
}

bool ZrkFile::resizeWriteCacheFor(unsigned int size)
{
  return growCache(size, size);
}

bool ZrkFile::growCache(unsigned int size, unsigned int zeroUpTo)
{
  if (cacheSize_ >= size) return true;
  // Bytes between the old end and the new were never written here, or are
  // left from before a reset: both must read as 0.
  const auto zeroNewBytes = [&] {
    if (zeroUpTo > cacheSize_) std::memset(cache_ + cacheSize_, 0, std::min(zeroUpTo, size) - cacheSize_);
    cacheSize_ = size;
  };
  if (cacheCapacity_ >= size) {
    zeroNewBytes();
    return true;
  }
  uint64_t capacity = kFirstCapacity;
  while (capacity < size) capacity *= 2;
  void* grown = capacity <= kMaxCapacity ? OS()->allocator()->reallocate(cache_, capacity) : nullptr;
  if (!grown) {
    // What was written is gone; close must not publish the rest.
    dropCache();
    lostData_ = true;
    return false;
  }
  cache_ = static_cast<unsigned char*>(grown);
  cacheCapacity_ = uint32_t(capacity);
  zeroNewBytes();
  return true;
}
