#include "libOS/posix/File.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "libOS/posix/CompletionPort.h"

namespace posix {
namespace {

constexpr unsigned long kMaxOffset = (unsigned long)std::numeric_limits<off_t>::max();

unsigned long nanoseconds(const statx_timestamp& t)
{
  return (unsigned long)t.tv_sec * 1000000000ul + t.tv_nsec;
}

// The lock an open takes: none when others may both read and write, shared
// when this open only reads and others may read, exclusive otherwise.
int lockFor(unsigned int access, iFile::eShareMode share)
{
  const bool othersRead = share & iFile::eShareRead;
  const bool othersWrite = share & iFile::eShareWrite;
  if (othersRead && othersWrite) return 0;
  if (access == iFile::eRead && othersRead) return LOCK_SH;
  return LOCK_EX;
}

// The outcome the asynchronous forms report.
bool transferSucceeded(bool writing, unsigned int asked, unsigned int done, bool ok)
{
  if (!ok) return false;
  return writing ? done == asked : (done > 0 || asked == 0);
}

} // namespace

Zr::Ptr<PosixFile> PosixFile::open(const std::string& path, const LightweightString<wchar_t>& name,
                                   unsigned int access, eOpenBehaviour behaviour, eShareMode share)
{
  if (access == 0 || access > eReadWrite || path.empty()) return nullptr;
  const bool empties = behaviour == eOpenForNew || behaviour == eCreateAlways;
  int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  // Emptying needs a writable descriptor even when the caller only reads;
  // write() still refuses through access_.
  if (access == eReadWrite || (empties && access == eRead))
    flags |= O_RDWR;
  else
    flags |= (access == eWrite) ? O_WRONLY : O_RDONLY;
  switch (behaviour) {
  case eOpenExisting:
    break;
  case eOpenForNew:
  case eOpenAlways:
  case eCreateAlways:
    flags |= O_CREAT;
    break;
  case eCreateNew:
    flags |= O_CREAT | O_EXCL;
    break;
  default:
    return nullptr;
  }

  int fd;
  do fd = ::open(path.c_str(), flags, 0666);
  while (fd < 0 && errno == EINTR);
  if (fd < 0) return nullptr;

  // O_NONBLOCK only keeps the open itself from hanging on a FIFO; folders
  // are not files.
  struct stat st;
  if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    ::close(fd);
    return nullptr;
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);

  if (int lock = lockFor(access, share)) {
    int rc;
    do rc = ::flock(fd, lock | LOCK_NB);
    while (rc != 0 && errno == EINTR);
    if (rc != 0) {
      ::close(fd);
      return nullptr;
    }
  }
  if (empties && st.st_size != 0 && ::ftruncate(fd, 0) != 0) {
    ::close(fd);
    return nullptr;
  }
  return Zr::Ptr<PosixFile>(new PosixFile(fd, name, access));
}

PosixFile::PosixFile(int fd, const LightweightString<wchar_t>& name, unsigned int access)
    : fd_(fd), name_(name), access_(access)
{}

PosixFile::~PosixFile()
{
  ::close(fd_);
}

unsigned int PosixFile::transferAt(bool writing, unsigned long offset, void* buffer, unsigned int count,
                                   bool& ok)
{
  ok = true;
  if (count == 0) return 0;
  if (writing ? !(access_ & eWrite) : !(access_ & eRead)) {
    ok = false;
    return 0;
  }
  if (offset > kMaxOffset - count) {
    ok = false;
    return 0;
  }
  char* p = static_cast<char*>(buffer);
  unsigned int done = 0;
  while (done < count) {
    const ssize_t n = writing ? ::pwrite(fd_, p + done, count - done, off_t(offset + done))
                              : ::pread(fd_, p + done, count - done, off_t(offset + done));
    if (n < 0) {
      if (errno == EINTR) continue;
      ok = false;
      break;
    }
    if (n == 0) break; // end of file, or a device that takes no more
    done += unsigned(n);
  }
  return done;
}

bool PosixFile::performAt(bool writing, unsigned long offset, void* buffer, unsigned int count,
                          unsigned int& bytes)
{
  bool ok;
  bytes = transferAt(writing, offset, buffer, count, ok);
  return transferSucceeded(writing, count, bytes, ok);
}

unsigned int PosixFile::read(void* buffer, unsigned int count)
{
  std::lock_guard<std::mutex> guard(lock_);
  bool ok;
  const unsigned int n = transferAt(false, position_, buffer, count, ok);
  position_ += n;
  return n;
}

unsigned int PosixFile::readAt(unsigned long offset, void* buffer, unsigned int count)
{
  bool ok;
  const unsigned int n = transferAt(false, offset, buffer, count, ok);
  std::lock_guard<std::mutex> guard(lock_);
  position_ = offset + n;
  return n;
}

unsigned int PosixFile::write(const void* buffer, unsigned int count)
{
  std::lock_guard<std::mutex> guard(lock_);
  bool ok;
  const unsigned int n = transferAt(true, position_, const_cast<void*>(buffer), count, ok);
  position_ += n;
  return n;
}

unsigned int PosixFile::writeAt(unsigned long offset, const void* buffer, unsigned int count)
{
  bool ok;
  const unsigned int n = transferAt(true, offset, const_cast<void*>(buffer), count, ok);
  std::lock_guard<std::mutex> guard(lock_);
  position_ = offset + n;
  return n;
}

bool PosixFile::startAsync(bool writing, bool atPosition, unsigned long offset, void* buffer,
                           unsigned int count, Zr::Ptr<iAsyncContext> context)
{
  Zr::Ptr<CompletionQueue> port;
  {
    std::lock_guard<std::mutex> guard(lock_);
    port = port_;
    if (port && atPosition) {
      offset = position_;
      position_ += count;
    }
  }
  if (port) {
    CompletionQueue::Operation op;
    op.file = Zr::Ptr<PosixFile>(this);
    op.writing = writing;
    op.offset = offset;
    op.buffer = buffer;
    op.count = count;
    op.context = std::move(context);
    return port->submit(std::move(op));
  }
  unsigned int n = 0;
  bool ok;
  if (atPosition) {
    // As read and write do: the position moves by what was transferred.
    std::lock_guard<std::mutex> guard(lock_);
    ok = performAt(writing, position_, buffer, count, n);
    position_ += n;
  } else {
    ok = performAt(writing, offset, buffer, count, n);
  }
  if (context) context->completed(n, ok);
  return ok;
}

bool PosixFile::readAsync(void* buffer, unsigned int count, Zr::Ptr<iAsyncContext> context)
{
  return startAsync(false, true, 0, buffer, count, std::move(context));
}

bool PosixFile::readAtAsync(unsigned long offset, void* buffer, unsigned int count,
                            Zr::Ptr<iAsyncContext> context)
{
  return startAsync(false, false, offset, buffer, count, std::move(context));
}

bool PosixFile::writeAsync(const void* buffer, unsigned int count, Zr::Ptr<iAsyncContext> context)
{
  return startAsync(true, true, 0, const_cast<void*>(buffer), count, std::move(context));
}

bool PosixFile::writeAtAsync(unsigned long offset, const void* buffer, unsigned int count,
                             Zr::Ptr<iAsyncContext> context)
{
  return startAsync(true, false, offset, const_cast<void*>(buffer), count, std::move(context));
}

bool PosixFile::positionAt(unsigned long position)
{
  if (position > kMaxOffset) return false;
  std::lock_guard<std::mutex> guard(lock_);
  position_ = position;
  return true;
}

unsigned long PosixFile::getPosition() const
{
  std::lock_guard<std::mutex> guard(lock_);
  return position_;
}

unsigned long PosixFile::getTime(eTimeType type) const
{
  struct statx sx;
  if (::statx(fd_, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0) return 0;
  switch (type) {
  case eCreated:
    return nanoseconds((sx.stx_mask & STATX_BTIME) ? sx.stx_btime : sx.stx_ctime);
  case eAccessed:
    return nanoseconds(sx.stx_atime);
  case eModified:
    return nanoseconds(sx.stx_mtime);
  }
  return 0;
}

bool PosixFile::setTime(eTimeType type, const unsigned long& time)
{
  if (type != eAccessed && type != eModified) return false;
  timespec times[2] = {};
  times[0].tv_nsec = times[1].tv_nsec = UTIME_OMIT;
  timespec& t = times[type == eAccessed ? 0 : 1];
  t.tv_sec = time_t(time / 1000000000ul);
  t.tv_nsec = long(time % 1000000000ul);
  return ::futimens(fd_, times) == 0;
}

unsigned long PosixFile::getSize() const
{
  struct stat st;
  return ::fstat(fd_, &st) == 0 ? (unsigned long)st.st_size : 0;
}

bool PosixFile::truncate(unsigned long size)
{
  if (!(access_ & eWrite) || size > kMaxOffset) return false;
  int rc;
  do rc = ::ftruncate(fd_, off_t(size));
  while (rc != 0 && errno == EINTR);
  return rc == 0;
}

unsigned int PosixFile::getCaps() const
{
  std::lock_guard<std::mutex> guard(lock_);
  return port_ ? eCapAsyncPort : 0;
}

bool PosixFile::attachTo(const Zr::Ptr<CompletionQueue>& port)
{
  std::lock_guard<std::mutex> guard(lock_);
  if (port_ && port_ != port) return false;
  port_ = port;
  return true;
}

} // namespace posix
