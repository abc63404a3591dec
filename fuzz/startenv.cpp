// Runs a command line made from arbitrary bytes through StartEnv: the first
// byte picks the argument limits, the first line is the host's option text
// and the lines after it are the words of argv. Checks that the walks agree
// with each other and never point outside argv.
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/StartEnv.h"
#include "libOS/Utf8.h"

namespace {

void check(bool condition)
{
  if (!condition) std::abort();
}

bool isArgvWord(const StartEnv& env, const wchar_t* word)
{
  for (int i = 0; i < env.argc(); ++i)
    if (env.argv()[i] == word) return true;
  return false;
}

// Plain arguments counted by nargs() are exactly those arg(n) gives.
void checkWalks(StartEnv& env)
{
  const int count = env.nargs();
  check(count >= 0 && count < env.argc());
  for (int n = 1; n <= count; ++n) {
    const wchar_t* w = env.arg(static_cast<unsigned int>(n));
    check(w && isArgvWord(env, w) && w[0] != L'-');
  }
  check(env.arg(static_cast<unsigned int>(count + 1)) == nullptr);
  for (int i = 1; i < env.argc(); ++i) {
    const wchar_t* w = env.argv()[i];
    const int found = env.arg(w);
    check(found >= 1 && found <= i && std::wcscmp(env.argv()[found], w) == 0);
    if (const wchar_t* value = env.optionArg(w)) check(isArgvWord(env, value) && value[0] != L'-');
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  if (size == 0) return 0;
  const int minArgs = data[0] & 0x7;
  const int maxArgs = (data[0] >> 3) & 0x7;
  const bool withPreamble = data[0] & 0x40;

  std::vector<std::wstring> lines(1);
  for (size_t i = 1; i < size; ++i) {
    if (data[i] == '\n') {
      lines.emplace_back();
      continue;
    }
    size_t end = i;
    while (end < size && data[end] != '\n') ++end;
    const LightweightString<wchar_t> wide = OSUtf8::toWide(reinterpret_cast<const char*>(data + i), end - i);
    lines.back().append(wide.c_str(), wide.size());
    i = end - 1;
  }
  if (lines.size() > 64) lines.resize(64);

  const std::wstring optionText = lines[0];
  std::vector<std::wstring> words(lines.begin() + 1, lines.end());
  if (words.empty()) words.emplace_back(L"prog");
  std::vector<wchar_t*> argv;
  for (std::wstring& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);

  StartEnv env(static_cast<int>(words.size()), argv.data());
  try {
    env.init();
  } catch (const std::invalid_argument&) {
  } catch (const std::out_of_range&) {
  }
  checkWalks(env);

  const LightweightString<wchar_t> problem =
      env.usage(optionText.c_str(), minArgs, maxArgs, withPreamble ? L"preamble" : nullptr);
  if (!problem.empty()) check(env.usageMsg().size() <= problem.size());
  checkWalks(env);
  return 0;
}
