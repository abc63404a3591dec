#include "Tool.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/stat.h>

namespace zrtool {

int usageError(const char* command, const std::string& message)
{
  std::fprintf(stderr, "zrtool %s: %s\nRun 'zrtool %s --help' for its usage.\n", command, message.c_str(),
               command);
  return eUsage;
}

int cannotRead(const std::string& file, const std::string& reason)
{
  std::fprintf(stderr, "zrtool: cannot read %s: %s\n", file.c_str(), reason.c_str());
  return eBadData;
}

int cannotWrite(const std::string& file, const std::string& reason)
{
  std::fprintf(stderr, "zrtool: cannot write %s: %s\n", file.c_str(), reason.c_str());
  return eBadData;
}

bool isReadableFile(const std::string& path, std::string& reason)
{
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    reason = std::strerror(errno);
    return false;
  }
  // fopen accepts a directory and only the first read fails: say it plainly.
  if (S_ISDIR(st.st_mode)) {
    reason = std::strerror(EISDIR);
    return false;
  }
  std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (!f) {
    reason = std::strerror(errno);
    return false;
  }
  return true;
}

bool readWholeFile(const std::string& path, std::string& data, std::string& reason)
{
  if (!isReadableFile(path, reason)) return false;
  std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (!f) {
    reason = std::strerror(errno);
    return false;
  }
  data.clear();
  char chunk[65536];
  size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, f.get())) > 0) data.append(chunk, got);
  if (std::ferror(f.get())) {
    reason = std::strerror(errno);
    return false;
  }
  return true;
}

bool writeWholeFile(const std::string& path, const std::string& data, std::string& reason)
{
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) {
    reason = std::strerror(errno);
    return false;
  }
  const bool wrote = std::fwrite(data.data(), 1, data.size(), f) == data.size();
  const int writeErrno = errno;
  if (std::fclose(f) != 0 || !wrote) {
    reason = std::strerror(wrote ? errno : writeErrno);
    return false;
  }
  return true;
}

} // namespace zrtool
