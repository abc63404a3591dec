#include "libOS/posix/FilePath.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <set>

#include "libOS/Utf8.h"
#include "libOS/posix/Locations.h"

namespace posix {

std::string toUtf8(const LightweightString<wchar_t>& text)
{
  LightweightString<char> narrow = OSUtf8::toNarrow(text.c_str(), text.size());
  return std::string(narrow.c_str(), narrow.size());
}

LightweightString<wchar_t> fromUtf8(const std::string& text)
{
  return OSUtf8::toWide(text.data(), text.size());
}

namespace {

bool isAsciiLetter(wchar_t c)
{
  return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
}

// The drive letter of a Windows-style path, and where its folder part starts.
bool splitDrive(const LightweightString<wchar_t>& path, wchar_t& letter, unsigned int& rest)
{
  const wchar_t* p = path.c_str();
  if (path.size() >= 2 && isAsciiLetter(p[0]) && p[1] == L':') {
    letter = (p[0] <= L'Z') ? wchar_t(p[0] + 32) : p[0];
    rest = 2;
    return true;
  }
  if (path.size() >= 1 && p[0] == L'\\') {
    letter = L'c';
    rest = 0;
    return true;
  }
  return false;
}

} // namespace

LightweightString<wchar_t> mapWindowsPath(const LightweightString<wchar_t>& path, const std::string& drives)
{
  wchar_t letter = 0;
  unsigned int rest = 0;
  if (!splitDrive(path, letter, rest)) return path;
  const wchar_t* p = path.c_str();
  while (rest < path.size() && (p[rest] == L'\\' || p[rest] == L'/')) ++rest;
  LightweightString<wchar_t> mapped = fromUtf8(drives);
  mapped.push_back(letter);
  mapped.push_back(L'/');
  for (unsigned int i = rest; i < path.size(); ++i) mapped.push_back(p[i] == L'\\' ? L'/' : p[i]);
  return mapped;
}

std::string nativePath(const LightweightString<wchar_t>& path)
{
  wchar_t letter = 0;
  unsigned int rest = 0;
  if (!splitDrive(path, letter, rest)) return toUtf8(path);
  const std::string drives = currentRoots().drives;
  const std::string root = drives + char(letter);
  // Never destroyed: threads may still open files while the process exits.
  static std::mutex* lock = new std::mutex;
  static std::set<std::string>* made = new std::set<std::string>;
  {
    std::lock_guard<std::mutex> guard(*lock);
    if (made->count(root) == 0 && makeFolders(root)) made->insert(root);
  }
  return toUtf8(mapWindowsPath(path, drives));
}

std::string parentFolder(const std::string& path)
{
  size_t end = path.size();
  while (end > 1 && path[end - 1] == '/') --end;
  size_t slash = path.rfind('/', end - 1);
  if (slash == std::string::npos) return ".";
  while (slash > 0 && path[slash - 1] == '/') --slash;
  return slash == 0 ? std::string("/") : path.substr(0, slash);
}

bool syncFolder(const std::string& folder)
{
  int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  int rc;
  do rc = ::fsync(fd);
  while (rc != 0 && errno == EINTR);
  const bool ok = rc == 0 || errno == EINVAL || errno == EROFS;
  ::close(fd);
  return ok;
}

bool makeFolders(const std::string& path)
{
  if (path.empty()) return false;
  struct stat st;
  if (::stat(path.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
  const std::string parent = parentFolder(path);
  if (parent != path && parent != "." && parent != "/" && !makeFolders(parent)) return false;
  if (::mkdir(path.c_str(), 0777) == 0) return true;
  return errno == EEXIST && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool writeAll(int fd, const char* data, size_t size)
{
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= size_t(n);
  }
  return true;
}

} // namespace posix
