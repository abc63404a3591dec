// Durable replace and copy. A power cut at any point leaves either the old
// file or the complete new one under the target name.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "libOS/posix/FileOps.h"
#include "libOS/posix/FilePath.h"

namespace posix {
namespace {

int retryOpen(const char* path, int flags)
{
  int fd;
  do fd = ::open(path, flags, 0666);
  while (fd < 0 && errno == EINTR);
  return fd;
}

// fsync, where "not supported here" is not a failure.
bool syncDescriptor(int fd)
{
  int rc;
  do rc = ::fsync(fd);
  while (rc != 0 && errno == EINTR);
  return rc == 0 || errno == EINVAL || errno == EROFS;
}

bool syncFile(const std::string& path)
{
  const int fd = retryOpen(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) return false;
  const bool ok = syncDescriptor(fd);
  ::close(fd);
  return ok;
}

bool copyContent(int in, int out, off_t size)
{
  // copy_file_range lets the file system share or offload the data; where
  // it cannot be used (older kernels, some file systems), or the file grew
  // meanwhile, the rest is copied by reading to the end.
  off_t done = 0;
  while (done < size) {
    const ssize_t n = ::copy_file_range(in, nullptr, out, nullptr, size_t(size - done), 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += n;
  }
  if (::lseek(in, done, SEEK_SET) != done || ::lseek(out, done, SEEK_SET) != done) return false;
  std::vector<char> buffer(done == size ? 4096 : 1 << 20);
  for (;;) {
    const ssize_t n = ::read(in, buffer.data(), buffer.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    if (!writeAll(out, buffer.data(), size_t(n))) return false;
  }
}

// Moves the finished copy onto its name.
bool publish(const std::string& temp, const std::string& to, bool failIfExists)
{
  if (!failIfExists) return ::rename(temp.c_str(), to.c_str()) == 0;
  if (::renameat2(AT_FDCWD, temp.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // File systems without the no-replace rename still refuse to link onto an
  // existing name.
  if (::link(temp.c_str(), to.c_str()) != 0) return false;
  ::unlink(temp.c_str());
  return true;
}

} // namespace

bool copyRegularFile(const std::string& from, const std::string& to, bool failIfExists)
{
  struct stat st;
  if (failIfExists && ::lstat(to.c_str(), &st) == 0) return false;
  const int in = retryOpen(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (in < 0) return false;
  if (::fstat(in, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(in);
    return false;
  }

  const std::string folder = parentFolder(to);
  const size_t slash = to.rfind('/');
  // A hidden name beside the target, with mkostemp's six-character template.
  std::string temp =
      folder + "/." + to.substr(slash == std::string::npos ? 0 : slash + 1) + "." + std::string(6, 'X');
  const int out = ::mkostemp(temp.data(), O_CLOEXEC);
  if (out < 0) {
    ::close(in);
    return false;
  }
  const timespec times[2] = {st.st_atim, st.st_mtim};
  bool ok = copyContent(in, out, st.st_size) && ::fchmod(out, st.st_mode & 07777) == 0 &&
            ::futimens(out, times) == 0 && syncDescriptor(out);
  ::close(in);
  if (::close(out) != 0) ok = false;
  ok = ok && publish(temp, to, failIfExists);
  if (!ok) {
    ::unlink(temp.c_str());
    return false;
  }
  syncFolder(folder);
  return true;
}

bool durableRename(const std::string& from, const std::string& to)
{
  struct stat st;
  if (::lstat(from.c_str(), &st) != 0) return false;
  // Flushing the data first keeps a crash just after the rename from
  // leaving an empty or partial file under the final name.
  if (S_ISREG(st.st_mode) && !syncFile(from)) return false;
  if (::rename(from.c_str(), to.c_str()) == 0) {
    const std::string toFolder = parentFolder(to);
    const std::string fromFolder = parentFolder(from);
    syncFolder(toFolder);
    if (fromFolder != toFolder) syncFolder(fromFolder);
    return true;
  }
  if (errno != EXDEV || !S_ISREG(st.st_mode)) return false;
  if (!copyRegularFile(from, to, false)) return false;
  if (::unlink(from.c_str()) != 0) return false;
  syncFolder(parentFolder(from));
  return true;
}

} // namespace posix
