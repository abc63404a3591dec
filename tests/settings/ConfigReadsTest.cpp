// The free config reads over GlobalConfig(): overridden defaults in the log,
// the config_string cache, the config.dat files and reads at load time, all
// in child processes, which make their settings objects afresh.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "SettingsTestSupport.h"
#include "core/Config.h"
#include "identity/Cookie.h"
#include "settings/RegistryConfig.h"
#include "support/TestEnv.h"

namespace {

using namespace settingstest;

const Str top;

// Set in the parent before it starts the child that reads at load time.
const char* const kLoadTimeVariable = "ZR_SETTINGS_TEST_LOAD_TIME";

// A read made while the library's own load-time objects run.
const int loadTimeValue = std::getenv(kLoadTimeVariable) ? config_int("load_time_width", 80) : -1;

bool contains(const std::string& text, const std::string& part)
{
  return text.find(part) != std::string::npos;
}

// Child roles return the line of the first failed check, 0 when all hold.
#define CHECK(condition)                                                                                     \
  if (!(condition)) return __LINE__

ZR_CHILD_ROLE(reads_int)
{
  GlobalConfig().setValue(Str("reads_width"), 100, top);
  int value = 0;
  std::string printed = captureStdout([&] { value = config_int("reads_width", 80); });
  CHECK(value == 100);
  CHECK(contains(printed, ": Default overridden: reads_width = 100 (dflt 80)\n"));
  printed = captureStdout([&] { value = config_int("reads_absent", 80); });
  CHECK(value == 80);
  CHECK(printed.empty());
  CHECK(config_int(nullptr, 3) == 3);
  return 0;
}

ZR_CHILD_ROLE(reads_double)
{
  GlobalConfig().setValue(Str("reads_ratio"), 1.5, top);
  double value = 0;
  const std::string printed = captureStdout([&] { value = config_double("reads_ratio", 0.25); });
  CHECK(value == 1.5);
  CHECK(contains(printed, "Default overridden: reads_ratio = 1.500000 (dflt 0.250000)\n"));
  return 0;
}

ZR_CHILD_ROLE(reads_quiet)
{
  GlobalConfig().setValue(Str("reads_long"), Str("0x7fffffff"), top);
  GlobalConfig().setValue(Str("reads_flag"), true, top);
  const Cookie clip(CookieTypeV, 12, 0, 17);
  GlobalConfig().setValue(Str("reads_clip"), clip, top);
  long number = 0;
  bool flag = false;
  Cookie read, none = clip;
  const std::string printed = captureStdout([&] {
    number = config_long("reads_long", 1);
    flag = config_Bool("reads_flag", false);
    read = config_cookie("reads_clip", Cookie());
    none = config_cookie("reads_no_clip", Cookie());
  });
  CHECK(number == 0x7fffffffL);
  CHECK(flag);
  CHECK(read == clip);
  CHECK(!none.valid());
  CHECK(printed.empty());
  return 0;
}

ZR_CHILD_ROLE(reads_buffer)
{
  GlobalConfig().setValue(Str("reads_title"), Str("abcdefgh"), top);
  char buffer[8];
  std::memset(buffer, 'Z', sizeof buffer);
  std::string printed = captureStdout([&] { config_string("reads_title", buffer, 4, "dflt"); });
  CHECK(std::strcmp(buffer, "abcd") == 0);
  CHECK(buffer[5] == 'Z');
  CHECK(contains(printed, "Default overridden: reads_title = abcdefgh (dflt dflt)\n"));
  printed = captureStdout([&] { config_string("reads_no_title", buffer, 7, "dflt"); });
  CHECK(printed.empty());
  CHECK(std::strcmp(buffer, "dflt") == 0);
  return 0;
}

ZR_CHILD_ROLE(reads_default_pointer)
{
  static const char dflt[] = "the default";
  CHECK(config_string("reads_no_such_text", dflt) == dflt);
  CHECK(config_string(nullptr, dflt) == dflt);
  // Not cached: a value set later is seen.
  GlobalConfig().setValue(Str("reads_no_such_text"), Str("set later"), top);
  CHECK(std::strcmp(config_string("reads_no_such_text", dflt), "set later") == 0);
  return 0;
}

ZR_CHILD_ROLE(reads_cache)
{
  GlobalConfig().setValue(Str("reads_cached"), Str("first"), top);
  const char* first = config_string("reads_cached", "d");
  CHECK(std::strcmp(first, "first") == 0);
  GlobalConfig().setValue(Str("reads_cached"), Str("second"), top);
  // The cache grows; texts it handed out stay where they were.
  for (int i = 0; i < 20; ++i) {
    const std::string name = "reads_filler" + std::to_string(i);
    GlobalConfig().setValue(Str(name.c_str()), Str("x"), top);
    config_string(name.c_str(), "d");
  }
  // Whatever its case, the name finds the cached text.
  CHECK(config_string("READS_Cached", "d") == first);
  CHECK(std::strcmp(first, "first") == 0);
  return 0;
}

// Each read runs in a child: this process made its settings objects while it
// loaded, before the test roots existed.
TEST(ConfigReads, AnOverriddenIntIsLoggedAndADefaultIsNot)
{
  EXPECT_EQ(zrtest::runChild("reads_int"), 0);
}

TEST(ConfigReads, AnOverriddenDoubleIsLogged)
{
  EXPECT_EQ(zrtest::runChild("reads_double"), 0);
}

TEST(ConfigReads, LongBoolAndCookieReadsLogNothing)
{
  EXPECT_EQ(zrtest::runChild("reads_quiet"), 0);
}

TEST(ConfigReads, BufferFormCopiesAtMostSizeAndTerminatesBehindIt)
{
  EXPECT_EQ(zrtest::runChild("reads_buffer"), 0);
}

TEST(ConfigReads, TheDefaultInForceIsReturnedItself)
{
  EXPECT_EQ(zrtest::runChild("reads_default_pointer"), 0);
}

TEST(ConfigReads, AnOverriddenTextIsCachedForTheWholeRun)
{
  EXPECT_EQ(zrtest::runChild("reads_cache"), 0);
}

// The settings objects of a child are made after the parent wrote its files.
ZR_CHILD_ROLE(settings_overrides)
{
  if (config_int("child_width", 80) != 120) return 2;
  if (std::strcmp(config_string("child_name", "none"), "from file") != 0) return 3;
  // The registry still answers in sections and for names the file lacks.
  GlobalConfig().setValue(Str("child_width"), 7, Str("Section"));
  if (GlobalConfig().getValue(Str("child_width"), 0, Str("Section")) != 7) return 4;
  if (UserConfig().getValue(Str("child_user"), 0, top) != 5) return 5;
  if (UserConfig().getValue(Str("child_width"), 80, top) != 80) return 6;
  if (GlobalConfig().overrides() == nullptr || UserConfig().overrides() == nullptr) return 7;
  return 0;
}

TEST(ConfigFiles, ConfigDatOverridesTheRegistryForTheWholeProcess)
{
  const std::string global = appDir() + "config.dat";
  const std::string user = appDir() + "userconfig.dat";
  zrtest::writeFile(global, "{\nchild_width 120\nchild_name from file\n}\n");
  zrtest::writeFile(user, "{\nchild_user 5\n}\n");
  EXPECT_EQ(zrtest::runChild("settings_overrides"), 0);
  std::remove(global.c_str());
  std::remove(user.c_str());
}

ZR_CHILD_ROLE(settings_registry_only)
{
  if (GlobalConfig().overrides() != nullptr) return 2;
  GlobalConfig().setValue(Str("child_only"), 11, top);
  return config_int("child_only", 1) == 11 ? 0 : 3;
}

TEST(ConfigFiles, WithoutConfigDatTheRegistryAloneAnswers)
{
  EXPECT_EQ(zrtest::runChild("settings_registry_only"), 0);
}

ZR_CHILD_ROLE(settings_load_time)
{
  return loadTimeValue == 90 ? 0 : 2;
}

TEST(ConfigFiles, ReadsWorkAtLoadTime)
{
  const std::string global = appDir() + "config.dat";
  zrtest::writeFile(global, "{\nload_time_width 90\n}\n");
  setenv(kLoadTimeVariable, "1", 1);
  EXPECT_EQ(zrtest::runChild("settings_load_time"), 0);
  unsetenv(kLoadTimeVariable);
  std::remove(global.c_str());
}

} // namespace
