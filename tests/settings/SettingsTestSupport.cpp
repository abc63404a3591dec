#include "SettingsTestSupport.h"

#include <cstdlib>
#include <fstream>

#include "libOS/Utf8.h"
#include "support/TestEnv.h"

namespace settingstest {

std::string S(const Str& s)
{
  return std::string(s.c_str(), s.size());
}

LightweightString<wchar_t> W(const std::string& s)
{
  return OSUtf8::toWide(s.data(), s.size());
}

std::string freshDir(const std::string& name)
{
  return zrtest::makeTempDir(name);
}

std::string appDir()
{
  std::string dir = std::getenv("ZR_APP_DIR");
  if (!dir.empty() && dir.back() != '/') dir += '/';
  return dir;
}

std::string captureStdout(const std::function<void()>& fn)
{
  testing::internal::CaptureStdout();
  fn();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

std::string valueOf(const configb& block, const char* name)
{
  auto it = block.find_var(name);
  return it == block.end() ? "<absent>" : S(it->second.value_);
}

std::string typeOf(const configb& block, const char* name)
{
  auto it = block.find_var(name);
  return it == block.end() ? "<absent>" : S(it->second.type_);
}

int readFile(configb& block, const std::string& path)
{
  std::ifstream in(path);
  return block.read_from_file(&in);
}

} // namespace settingstest
