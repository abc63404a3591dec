// Helpers shared by the settings tests: text conversions, files in the test
// folders, and captured standard output.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <string>

#include "core/configb.h"
#include "libOS/LightweightString.h"
#include "libOS/Utf8.h"
#include "support/TestEnv.h"

namespace settingstest {

using Str = LightweightString<char>;

inline std::string S(const Str& s)
{
  return std::string(s.c_str(), s.size());
}
inline LightweightString<wchar_t> W(const std::string& s)
{
  return OSUtf8::toWide(s.data(), s.size());
}

// A new file holding content, in a folder of its own.
inline std::string fileWith(const std::string& content, const std::string& name = "block.dat")
{
  const std::string path = zrtest::makeTempDir("file") + name;
  zrtest::writeFile(path, content);
  return path;
}

// Standard output written while fn runs.
inline std::string captureStdout(const std::function<void()>& fn)
{
  testing::internal::CaptureStdout();
  fn();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

// The value text or type word of name, or "<absent>".
inline std::string valueOf(const configb& block, const char* name)
{
  auto it = block.find_var(name);
  return it == block.end() ? "<absent>" : S(it->second.value_);
}
inline std::string typeOf(const configb& block, const char* name)
{
  auto it = block.find_var(name);
  return it == block.end() ? "<absent>" : S(it->second.type_);
}

// Reads a file as config_init would: the first line is skipped unexamined.
inline int readFile(configb& block, const std::string& path)
{
  std::ifstream in(path);
  return block.read_from_file(&in);
}

} // namespace settingstest
