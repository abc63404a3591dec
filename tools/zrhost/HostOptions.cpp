#include "HostOptions.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cwchar>

#include "libzr/Strings.h"

namespace zrhost {

const wchar_t kOptionText[] = L"-project <dir> -objects <n> -seconds <n> -keep -quiet";
const wchar_t kPreamble[] = L"zrhost: the reference host of zrbase";

namespace {

struct Known
{
  const wchar_t* name;
  const char* value; // what its value is, null for a flag
};

// Every option zrhost answers to: the library's three, then its own.
constexpr Known kKnown[] = {
    {L"-d", nullptr},          {L"-v", nullptr},          {L"-help", nullptr}, {L"-project", "a folder"},
    {L"-objects", "a number"}, {L"-seconds", "a number"}, {L"-keep", nullptr}, {L"-quiet", nullptr},
};

std::string narrow(const wchar_t* text)
{
  return text ? std::string(toUTF8(LightweightString<wchar_t>(text)).c_str()) : std::string();
}

const Known* findKnown(const wchar_t* word)
{
  for (const Known& k : kKnown)
    if (std::wcscmp(k.name, word) == 0) return &k;
  return nullptr;
}

bool readWhole(const std::string& text, long& out)
{
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  out = std::strtol(text.c_str(), &end, 10);
  return errno == 0 && *end == 0;
}

bool readSeconds(const std::string& text, double& out)
{
  if (text.empty()) return false;
  char* end = nullptr;
  out = std::strtod(text.c_str(), &end);
  return *end == 0 && std::isfinite(out);
}

} // namespace

std::string readOptions(StartEnv& env, HostOptions& options)
{
  const LightweightString<wchar_t> problem = env.usage(kOptionText, 0, 0, kPreamble);
  if (!problem.empty()) return narrow(problem.c_str());
  const std::string usage = narrow(env.usageMsg().c_str());

  // usage() takes any piece of the option text ("-pro", "-s"), which the
  // lookups below would then miss: only whole names are accepted.
  for (int i = 1; i < env.argc(); ++i) {
    const wchar_t* word = env.argv()[i];
    if (!word || word[0] != L'-') continue;
    const Known* known = findKnown(word);
    if (!known) return "unrecognised option `" + narrow(word) + "'.\n" + usage;
    if (!known->value) continue;
    if (i + 1 == env.argc() || env.argv()[i + 1][0] == L'-')
      return "zrhost: " + narrow(word) + " needs " + known->value + ".\n" + usage;
    ++i;
  }

  const auto valueOf = [&](const wchar_t* name) { return narrow(env.optionArg(name)); };
  const std::string project = valueOf(L"-project");
  const std::string objects = valueOf(L"-objects");
  const std::string seconds = valueOf(L"-seconds");

  if (env.arg(L"-project") && project.empty()) return "zrhost: -project needs a folder.\n" + usage;
  options.project = project;
  if (env.arg(L"-objects")) {
    long n = 0;
    if (!readWhole(objects, n) || n < 1 || n > HostOptions::kMaxObjects)
      return "zrhost: -objects takes a whole number from 1 to " + std::to_string(HostOptions::kMaxObjects) +
             ", not `" + objects + "'.\n" + usage;
    options.objects = int(n);
  }
  if (env.arg(L"-seconds")) {
    double s = 0;
    if (!readSeconds(seconds, s) || s < 0 || s > HostOptions::kMaxSeconds)
      return "zrhost: -seconds takes a number from 0 to 3600, not `" + seconds + "'.\n" + usage;
    options.seconds = s;
  }
  options.keep = env.arg(L"-keep") != 0;
  options.quiet = env.arg(L"-quiet") != 0;
  options.help = env.arg(L"-help") != 0;
  return {};
}

std::string helpText(StartEnv& env)
{
  std::string text = narrow(env.usageMsg().c_str());
  const auto row = [&](const std::string& name, const std::string& help) {
    char line[160];
    std::snprintf(line, sizeof line, "  %-16s %s\n", name.c_str(), help.c_str());
    text += line;
  };
  text += "\nThe library's options:\n";
  for (int i = 0; i < StartEnv::kOptionCount; ++i) {
    const StartEnv::Option* o = StartEnv::option(i);
    row(narrow(o->name) + (o->takesValue > 0 ? " <value>" : ""), narrow(o->help));
  }
  text += "zrhost's options:\n";
  row("-project <dir>", "make <dir> the root of every location, and keep it (made if missing)");
  row("-objects <n>", "stream n objects to a file and read them back (default 3000)");
  row("-seconds <n>", "how long the co-process workers run (default 1)");
  row("-keep", "keep the temporary root made when -project is not given");
  row("-quiet", "skip the tour of the platform layer");
  return text;
}

} // namespace zrhost
