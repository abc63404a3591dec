// Helpers of the keys tests: a string table of the test's own, and output capture.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "files/Paths.h"
#include "libzr/Strings.h"
#include "settings/ResourceStrings.h"
#include "support/TestEnv.h"

namespace keystest {

// Writes strings.txt into the language folder and loads it.
inline void useStrings(const std::string& content)
{
  zrtest::writeFile(toUTF8(getLanguageFileDir()).c_str() + std::string("strings.txt"), content);
  Zr::Language::reloadStringTable();
}

// What fn prints on standard output.
template <class Fn> std::string stdoutOf(Fn fn)
{
  testing::internal::CaptureStdout();
  fn();
  return testing::internal::GetCapturedStdout();
}

} // namespace keystest
