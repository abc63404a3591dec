// Small helpers of the suites that read and write files through the library.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "libOS/LightweightString.h"
#include "libzr/Strings.h"

namespace zrtest {

// A UTF-8 path as the library's wide string.
inline LightweightString<wchar_t> wide(const std::string& path)
{
  return fromUTF8(path.c_str(), unsigned(path.size()));
}

inline bool exists(const std::string& path)
{
  return ::access(path.c_str(), F_OK) == 0;
}

// What fn prints on standard output.
inline std::string captureStdout(const std::function<void()>& fn)
{
  testing::internal::CaptureStdout();
  fn();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

} // namespace zrtest
