// Folder listings with Windows wildcard rules.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "libOS/posix/FileOps.h"
#include "libOS/posix/FilePath.h"
#include "libOS/posix/Wildcard.h"

namespace posix {
namespace {

bool nameLess(const iFileManager::DirectoryItem& a, const iFileManager::DirectoryItem& b)
{
  const wchar_t* x = a.name.c_str();
  const wchar_t* y = b.name.c_str();
  for (;; ++x, ++y) {
    const wchar_t fx = foldCase(*x), fy = foldCase(*y);
    if (fx != fy) return unsigned(fx) < unsigned(fy);
    if (!*x) break;
  }
  return a.name < b.name;
}

} // namespace

bool listFolder(const std::string& folder, const LightweightString<wchar_t>& pattern, bool wantFiles,
                bool wantDirs, std::vector<iFileManager::DirectoryItem>& items)
{
  DIR* dir = ::opendir(folder.c_str());
  if (!dir) return false;
  const int fd = ::dirfd(dir);
  std::vector<iFileManager::DirectoryItem> found;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(dir);
    if (!entry) break;
    const char* raw = entry->d_name;
    if (raw[0] == '.' && (raw[1] == 0 || (raw[1] == '.' && raw[2] == 0))) continue;
    iFileManager::DirectoryItem item;
    item.name = fromUtf8(raw);
    if (!wildcardMatch(item.name.c_str(), item.name.size(), pattern.c_str(), pattern.size())) continue;
    // Links are listed as what they point to; a broken one as itself.
    struct stat st;
    if (::fstatat(fd, raw, &st, 0) != 0 && ::fstatat(fd, raw, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
    item.isDirectory = S_ISDIR(st.st_mode);
    if (item.isDirectory ? !wantDirs : !wantFiles) continue;
    item.size = item.isDirectory ? 0 : (unsigned long)st.st_size;
    item.time = (unsigned long)st.st_mtim.tv_sec * 1000000000ul + (unsigned long)st.st_mtim.tv_nsec;
    found.push_back(std::move(item));
  }
  const bool ok = errno == 0;
  ::closedir(dir);
  if (!ok) return false;
  std::sort(found.begin(), found.end(), nameLess);
  items.insert(items.end(), found.begin(), found.end());
  return true;
}

} // namespace posix
