#include "files/VirtualFileBase.h"

#include <algorithm>
#include <cstring>

#include "core/Assert.h"
#include "libOS/OS.h"

namespace {

constexpr unsigned int kVersionAt = 32768;
constexpr unsigned int kOffsetAt = 32776;

void putLittleEndian(unsigned char* p, uint64_t value, unsigned int bytes)
{
  for (unsigned int i = 0; i < bytes; ++i) p[i] = uint8_t(value >> (8 * i));
}

uint64_t getLittleEndian(const unsigned char* p, unsigned int bytes)
{
  uint64_t value = 0;
  for (unsigned int i = 0; i < bytes; ++i) value |= uint64_t(p[i]) << (8 * i);
  return value;
}

// Reads until `count` bytes came or the file ends.
unsigned int readFully(iFile& file, unsigned char* buffer, unsigned int count)
{
  unsigned int done = 0;
  while (done < count) {
    const unsigned int n = file.read(buffer + done, count - done);
    if (n == 0) break;
    done += n;
  }
  return done;
}

class Locked
{
public:
  explicit Locked(const Zr::Ptr<iCriticalSection>& section) : section_(section) { section_->enter(); }
  ~Locked() { section_->leave(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

private:
  const Zr::Ptr<iCriticalSection>& section_;
};

} // namespace

VirtualFileBase::VirtualFileBase()
    : lock_(OS()->threadMgr()->createCriticalSection("VirtualFileBase")), position_(0), size_(0),
      deleteOnClose_(false)
{}

VirtualFileBase::~VirtualFileBase() = default;

unsigned int VirtualFileBase::readAt(unsigned long offset, void* buffer, unsigned int count)
{
  Locked locked(lock_);
  if (count == 0) return 0;
  auto* out = static_cast<unsigned char*>(buffer);
  const unsigned int totalBytesToRead = count;
  unsigned int bytesRead = 0;
  while (bytesRead < totalBytesToRead) {
    const unsigned long at = offset + bytesRead;
    const unsigned long blockStart = at - at % kBlockSize;
    auto it = blocks_.find(blockStart);
    if (it == blocks_.end()) {
      if (waitForData({blockStart, blockStart + kBlockSize - 1}) == blocks_.end()) return 0;
      it = blocks_.find(blockStart);
      // A wait that claims success without bringing the block counts as failure.
      if (it == blocks_.end()) return 0;
    }
    const ByteBufferImpl& block = *it->second;
    const unsigned int inBlock = unsigned(at - blockStart);
    if (inBlock >= block.getUsed()) {
      Zr::assertionFailed("false", "misc/VirtualFileBase line 55");
      return bytesRead;
    }
    const unsigned int n = std::min(totalBytesToRead - bytesRead, block.getUsed() - inBlock);
    std::memcpy(out + bytesRead, block.getBuffer() + inBlock, n);
    bytesRead += n;
  }
  Zr::softAssert(bytesRead == totalBytesToRead, "bytesRead == totalBytesToRead",
                 "misc/VirtualFileBase line 71");
  return bytesRead;
}

unsigned int VirtualFileBase::read(void* buffer, unsigned int count)
{
  const unsigned int n = readAt(position_, buffer, count);
  position_ += n;
  return n;
}

bool VirtualFileBase::readAsync(void*, unsigned int, Zr::Ptr<iAsyncContext>)
{
  return false;
}

bool VirtualFileBase::readAtAsync(unsigned long, void*, unsigned int, Zr::Ptr<iAsyncContext>)
{
  return false;
}

unsigned int VirtualFileBase::write(const void*, unsigned int)
{
  return 0;
}

bool VirtualFileBase::writeAsync(const void*, unsigned int, Zr::Ptr<iAsyncContext>)
{
  return false;
}

unsigned int VirtualFileBase::writeAt(unsigned long, const void*, unsigned int)
{
  return 0;
}

bool VirtualFileBase::writeAtAsync(unsigned long, const void*, unsigned int, Zr::Ptr<iAsyncContext>)
{
  return false;
}

bool VirtualFileBase::positionAt(unsigned long position)
{
  position_ = position;
  return true;
}

unsigned long VirtualFileBase::getTime(eTimeType) const
{
  return 0;
}

bool VirtualFileBase::setTime(eTimeType, const unsigned long&)
{
  return false;
}

bool VirtualFileBase::truncate(unsigned long)
{
  return false;
}

VirtualFileBase::BlockMap::iterator VirtualFileBase::waitForData(std::pair<unsigned long, unsigned long>)
{
  return blocks_.end();
}

bool VirtualFileBase::insertBlock(unsigned long offset, const Zr::Ptr<ByteBufferImpl>& block)
{
  if (!block) return false;
  Locked locked(lock_);
  return blocks_.emplace(offset, block).second;
}

bool VirtualFileBase::saveToPartialFile()
{
  Locked locked(lock_);
  if (partialFile_.size() == 0) return false;
  Zr::Ptr<iFile> file =
      OS()->fileManager()->open(partialFile_, iFile::eWrite, iFile::eCreateAlways, iFile::eShareNone);
  if (!file) return false;
  ByteBufferImpl record(kRecordSize);
  if (!record.getBuffer()) return false;
  unsigned char* bytes = record.getBuffer();
  for (const auto& [offset, block] : blocks_) {
    // A block is written whole, whatever its data size; bytes the block
    // does not have are written as 0 rather than read from past its end.
    std::memset(bytes, 0, kRecordSize);
    const unsigned int held = std::min(block->getSize() - block->getReadOffset(), kBlockSize);
    if (held) std::memcpy(bytes, block->getBuffer(), held);
    putLittleEndian(bytes + kVersionAt, 1, 4);
    putLittleEndian(bytes + kOffsetAt, offset, 8);
    if (file->write(bytes, kRecordSize) != kRecordSize) return false;
  }
  return true;
}

bool VirtualFileBase::loadFromPartialFile(const LightweightString<wchar_t>& name)
{
  partialFile_ = name;
  Locked locked(lock_);
  iFileManager* files = OS()->fileManager();
  if (!files->exists(name)) return false;
  Zr::Ptr<iFile> file = files->open(name, iFile::eRead, iFile::eOpenExisting, iFile::eShareNone);
  if (!file) return false;
  for (;;) {
    Zr::Ptr<ByteBufferImpl> record(new ByteBufferImpl);
    if (!record->alloc(kRecordSize)) return false;
    if (readFully(*file, record->getBuffer(), kRecordSize) != kRecordSize) return true;
    record->setUsed(kBlockSize);
    blocks_.emplace(getLittleEndian(record->getBuffer() + kOffsetAt, 8), record);
  }
}
