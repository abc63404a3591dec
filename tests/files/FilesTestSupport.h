// Helpers shared by the file tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "libOS/LightweightString.h"
#include "libzr/Strings.h"
#include "support/FileHelpers.h"
#include "support/SaveTrials.h"
#include "support/TestEnv.h"

namespace filetest {

using zrtest::captureStdout;
using zrtest::exists;
using zrtest::wide;

using WString = LightweightString<wchar_t>;

inline const unsigned char* bytes(const std::string& text)
{
  return reinterpret_cast<const unsigned char*>(text.data());
}

using zrtest::pattern;

} // namespace filetest
