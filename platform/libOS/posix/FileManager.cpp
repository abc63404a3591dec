// The file manager of OS() over POSIX calls. Windows-style paths are mapped
// onto the drive folders; everything else is used as it is.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "libOS/posix/File.h"
#include "libOS/posix/FileOps.h"
#include "libOS/posix/FilePath.h"
#include "libOS/posix/Locations.h"
#include "libOS/posix/Services.h"

namespace posix {
namespace {

unsigned long nanoseconds(const statx_timestamp& t)
{
  return (unsigned long)t.tv_sec * 1000000000ul + t.tv_nsec;
}

bool statPath(const std::string& path, struct stat& st)
{
  return ::stat(path.c_str(), &st) == 0;
}

class PosixFileManager final : public iFileManager
{
public:
  Zr::Ptr<iFile> open(const LightweightString<wchar_t>& name, unsigned int access,
                      iFile::eOpenBehaviour behaviour, iFile::eShareMode share) override
  {
    return PosixFile::open(nativePath(name), name, access, behaviour, share);
  }

  bool rename(const LightweightString<wchar_t>& from, const LightweightString<wchar_t>& to) override
  {
    return durableRename(nativePath(from), nativePath(to));
  }

  bool exists(const LightweightString<wchar_t>& path) override
  {
    struct stat st;
    return statPath(nativePath(path), st);
  }

  bool isDirectory(const LightweightString<wchar_t>& path) override
  {
    struct stat st;
    return statPath(nativePath(path), st) && S_ISDIR(st.st_mode);
  }

  bool makeDirectory(const LightweightString<wchar_t>& path, bool recursive) override
  {
    std::string native = nativePath(path);
    while (native.size() > 1 && native.back() == '/') native.pop_back();
    if (recursive) return makeFolders(native);
    if (::mkdir(native.c_str(), 0777) == 0) return true;
    struct stat st;
    return errno == EEXIST && statPath(native, st) && S_ISDIR(st.st_mode);
  }

  bool removeDirectory(const LightweightString<wchar_t>& path) override
  {
    return ::rmdir(nativePath(path).c_str()) == 0;
  }

  bool copyFile(const LightweightString<wchar_t>& from, const LightweightString<wchar_t>& to,
                bool failIfExists) override
  {
    return copyRegularFile(nativePath(from), nativePath(to), failIfExists);
  }

  bool deleteFile(const LightweightString<wchar_t>& path) override
  {
    return ::unlink(nativePath(path).c_str()) == 0;
  }

  bool listDirectory(const LightweightString<wchar_t>& pattern, bool wantFiles, bool wantDirs,
                     std::vector<DirectoryItem>& items) override
  {
    const std::string native = nativePath(pattern);
    const size_t slash = native.rfind('/');
    std::string folder = ".";
    std::string names = native;
    if (slash != std::string::npos) {
      folder = slash == 0 ? std::string("/") : native.substr(0, slash);
      names = native.substr(slash + 1);
    }
    // A bare folder ("dir/") lists everything in it.
    const LightweightString<wchar_t> match =
        names.empty() ? LightweightString<wchar_t>(L"*") : fromUtf8(names);
    return listFolder(folder, match, wantFiles, wantDirs, items);
  }

  unsigned long getFileTime(const LightweightString<wchar_t>& path, iFile::eTimeType type) override
  {
    struct statx sx;
    const std::string native = nativePath(path);
    if (::statx(AT_FDCWD, native.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0) return 0;
    switch (type) {
    case iFile::eCreated:
      return nanoseconds((sx.stx_mask & STATX_BTIME) ? sx.stx_btime : sx.stx_ctime);
    case iFile::eAccessed:
      return nanoseconds(sx.stx_atime);
    case iFile::eModified:
      return nanoseconds(sx.stx_mtime);
    }
    return 0;
  }

  bool setFileTime(const LightweightString<wchar_t>& path, iFile::eTimeType type, unsigned long time) override
  {
    if (type != iFile::eAccessed && type != iFile::eModified) return false;
    timespec times[2] = {};
    times[0].tv_nsec = times[1].tv_nsec = UTIME_OMIT;
    timespec& t = times[type == iFile::eAccessed ? 0 : 1];
    t.tv_sec = time_t(time / 1000000000ul);
    t.tv_nsec = long(time % 1000000000ul);
    return ::utimensat(AT_FDCWD, nativePath(path).c_str(), times, 0) == 0;
  }

  unsigned long getFileSize(const LightweightString<wchar_t>& path) override
  {
    struct stat st;
    if (!statPath(nativePath(path), st) || S_ISDIR(st.st_mode)) return 0;
    return (unsigned long)st.st_size;
  }

  wchar_t pathSeparator() const override { return L'/'; }

  LightweightString<wchar_t> getApplicationPath() override { return fromUtf8(currentRoots().application); }

  LightweightString<wchar_t> getApplicationDataFolderName() override
  {
    return fromUtf8(currentRoots().dataFolderName);
  }

  LightweightString<wchar_t> mapPath(const LightweightString<wchar_t>& path) override
  {
    return mapWindowsPath(path, currentRoots().drives);
  }

  LightweightString<wchar_t> getCurrentDirectory() override
  {
    std::vector<char> buf(4096);
    while (!::getcwd(buf.data(), buf.size())) {
      if (errno != ERANGE) return {};
      buf.resize(buf.size() * 2);
    }
    std::string cwd(buf.data());
    if (cwd.empty() || cwd.back() != '/') cwd += '/';
    return fromUtf8(cwd);
  }
};

} // namespace

iFileManager* fileManager()
{
  static PosixFileManager* manager = new PosixFileManager;
  return manager;
}

} // namespace posix
