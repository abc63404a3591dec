// Helpers shared by the file tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "libOS/LightweightString.h"
#include "libzr/Strings.h"
#include "support/SaveTrials.h"
#include "support/TestEnv.h"

namespace filetest {

using WString = LightweightString<wchar_t>;

inline WString wide(const std::string& path)
{
  return fromUTF8(path.c_str(), unsigned(path.size()));
}

inline bool exists(const std::string& path)
{
  return ::access(path.c_str(), F_OK) == 0;
}

inline std::string captureStdout(const std::function<void()>& fn)
{
  testing::internal::CaptureStdout();
  fn();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

inline const unsigned char* bytes(const std::string& text)
{
  return reinterpret_cast<const unsigned char*>(text.data());
}

using zrtest::pattern;

} // namespace filetest
