// Small helpers shared by the file tests.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "libOS/OS.h"
#include "libOS/Utf8.h"

namespace filestest {

inline LightweightString<wchar_t> W(const std::string& utf8)
{
  return OSUtf8::toWide(utf8.data(), utf8.size());
}

inline std::string N(const LightweightString<wchar_t>& wide)
{
  LightweightString<char> s = OSUtf8::toNarrow(wide.c_str(), wide.size());
  return std::string(s.c_str(), s.size());
}

inline iFileManager* fm()
{
  return OS()->fileManager();
}

inline Zr::Ptr<iFile> openFile(const std::string& path, unsigned int access, iFile::eOpenBehaviour behaviour,
                               iFile::eShareMode share = iFile::eShareNone)
{
  return fm()->open(W(path), access, behaviour, share);
}

inline std::string readAll(iFile& file)
{
  std::string out(file.getSize(), '\0');
  const unsigned int n = file.readAt(0, out.data(), unsigned(out.size()));
  out.resize(n);
  return out;
}

inline bool pathExists(const std::string& path)
{
  struct stat st;
  return ::stat(path.c_str(), &st) == 0;
}

// Polls for a file that another process makes; false after `ms`.
inline bool waitForFile(const std::string& path, int ms = 20000)
{
  for (int waited = 0; waited < ms; waited += 5) {
    if (pathExists(path)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

} // namespace filestest
