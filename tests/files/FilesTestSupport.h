// Helpers shared by the file tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "libOS/LightweightString.h"
#include "libzr/Strings.h"
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

// `size` bytes of a repeating pattern that starts at `seed`.
inline std::string pattern(size_t size, unsigned char seed)
{
  std::string out(size, '\0');
  for (size_t i = 0; i < size; ++i) out[i] = char(seed + i * 7 + (i >> 9));
  return out;
}

} // namespace filetest
