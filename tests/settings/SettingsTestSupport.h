// Helpers shared by the settings tests: text conversions, files in the test
// folders, and captured standard output.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "core/configb.h"
#include "libOS/LightweightString.h"

namespace settingstest {

using Str = LightweightString<char>;

std::string S(const Str& s);
LightweightString<wchar_t> W(const std::string& s);

// A new empty folder for one test, with a trailing slash.
std::string freshDir(const std::string& name);
// The application folder of the test process (config.dat lives there).
std::string appDir();

// Standard output written while fn runs.
std::string captureStdout(const std::function<void()>& fn);

// The value text of name, or "<absent>".
std::string valueOf(const configb& block, const char* name);
// The type word of name, or "<absent>".
std::string typeOf(const configb& block, const char* name);

// Reads a file as config_init would: first line "{" is skipped unexamined.
int readFile(configb& block, const std::string& path);

} // namespace settingstest
