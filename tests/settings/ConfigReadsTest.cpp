// RegistryConfig over an in-memory registry, and the free config reads over
// GlobalConfig(): overridden defaults in the log, the config_string cache,
// the config.dat files and reads at load time.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "SettingsTestSupport.h"
#include "core/Config.h"
#include "files/TextFile.h"
#include "identity/Cookie.h"
#include "libOS/iSettings.h"
#include "settings/RegistryConfig.h"

namespace {

using namespace settingstest;

const Str top;

// Values by (section, name), as the platform registry keeps them.
class MemorySettings : public iSettings
{
public:
  std::map<std::pair<std::string, std::string>, std::string> values;

  bool setValue(const Str& name, const Str& value, const Str& section) override
  {
    values[{S(section), S(name)}] = S(value);
    return true;
  }
  Str getValue(const Str& name, const Str& dflt, const Str& section) override
  {
    auto it = values.find({S(section), S(name)});
    return it == values.end() ? dflt : Str(it->second.c_str());
  }
  bool removeValue(const Str& name, const Str& section) override
  {
    return values.erase({S(section), S(name)}) > 0;
  }
  void getMultipleValues(std::vector<NameValuePair>& pairs, const Str& section) override
  {
    for (const auto& [key, value] : values)
      if (key.first == S(section)) pairs.push_back({Str(key.second.c_str()), Str(value.c_str())});
  }
  void getSections(std::vector<Str>&) override {}
  bool reload() override { return true; }
  LightweightString<wchar_t> getFileName() const override { return {}; }
};

class RegistryConfigTest : public testing::Test
{
protected:
  RegistryConfigTest() : store_(new MemorySettings), settings_(store_) {}

  // An empty text means no override file at all.
  RegistryConfig config(const std::string& overrides = "")
  {
    const std::string path = zrtest::makeTempDir("override") + "config.dat";
    if (!overrides.empty()) zrtest::writeFile(path, overrides);
    return RegistryConfig(settings_, W(path));
  }

  MemorySettings* store_;
  Zr::Ptr<iSettings> settings_;
};

TEST_F(RegistryConfigTest, IntsReadDecimalOrHexadecimal)
{
  RegistryConfig plain = config();
  EXPECT_EQ(plain.overrides(), nullptr);
  struct Case
  {
    const char* stored;
    int expected;
  };
  for (const Case& c : {Case{"0x10", 16}, Case{"0X1f", 31}, Case{"10", 10}, Case{"-7", -7}, Case{"x", 0},
                        Case{"", 0}, Case{"12abc", 12}}) {
    store_->values[{"", "n"}] = c.stored;
    EXPECT_EQ(plain.getValue(Str("n"), 5, top), c.expected) << c.stored;
  }
  EXPECT_EQ(plain.getValue(Str("absent"), 5, top), 5);
  EXPECT_EQ(plain.getValue(Str("absent"), -123456789L, top), -123456789L);
}

TEST_F(RegistryConfigTest, TypedValuesRoundTripThroughTheRegistry)
{
  RegistryConfig plain = config();
  const Str section("Section");
  const Cookie clip(CookieTypeS, 99, 3, 17);
  EXPECT_TRUE(plain.setValue(Str("i"), -42, section));
  EXPECT_TRUE(plain.setValue(Str("b"), true, section));
  EXPECT_TRUE(plain.setValue(Str("d"), 0.1, section));
  EXPECT_TRUE(plain.setValue(Str("s"), "text", section));
  EXPECT_TRUE(plain.setValue(Str("c"), clip, section));
  EXPECT_EQ(store_->values[std::pair("Section", "i")], "-42");
  EXPECT_EQ(store_->values[std::pair("Section", "b")], "true");
  EXPECT_EQ(plain.getValue(Str("i"), 0, section), -42);
  EXPECT_TRUE(plain.getValue(Str("b"), false, section));
  EXPECT_EQ(plain.getValue(Str("d"), 0.0, section), 0.1);
  EXPECT_EQ(S(plain.getValue(Str("s"), "", section)), "text");
  EXPECT_TRUE(plain.getValue(Str("c"), Cookie(), section) == clip);
  // Nothing at top level: the section is part of the key.
  EXPECT_EQ(plain.getValue(Str("i"), 7, top), 7);

  std::vector<iSettings::NameValuePair> pairs;
  plain.getMultipleValues(pairs, section);
  ASSERT_EQ(pairs.size(), 5u);
  EXPECT_EQ(S(pairs[0].name), "b");
  EXPECT_EQ(S(pairs[0].value), "true");

  // Export appends behind what the text file holds, one "name=value" per pair.
  TextFile exported;
  exported.appendLine(Str("kept"));
  plain.exportTo(exported, section);
  ASSERT_EQ(exported.size(), 6u);
  EXPECT_EQ(S(exported[0]), "kept");
  EXPECT_EQ(S(exported[1]), "b=true");
  EXPECT_EQ(S(exported[3]), "d=" + std::string(plain.getValue(Str("d"), "", section).c_str()));
  EXPECT_FALSE(plain.importFrom(exported, section, Str("b")));
}

TEST_F(RegistryConfigTest, BoolsThatAreNeitherWordGiveTheDefault)
{
  RegistryConfig plain = config();
  store_->values[{"", "b"}] = "TRUE";
  EXPECT_TRUE(plain.getValue(Str("b"), false, top));
  store_->values[{"", "b"}] = "maybe";
  EXPECT_TRUE(plain.getValue(Str("b"), true, top));
  EXPECT_FALSE(plain.getValue(Str("b"), false, top));
}

TEST_F(RegistryConfigTest, TheOverrideFileWinsAtTopLevelOnlyAndIsNeverWritten)
{
  RegistryConfig file = config("{\nk 1\nempty\nWidth 640\n}\n");
  ASSERT_NE(file.overrides(), nullptr);
  store_->values[{"S", "k"}] = "3";
  store_->values[{"", "empty"}] = "from registry";
  EXPECT_EQ(file.getValue(Str("k"), 0, Str("S")), 3);
  EXPECT_EQ(S(file.getValue(Str("empty"), "d", top)), "from registry");
  EXPECT_EQ(file.getValue(Str("WIDTH"), 0, top), 640);

  EXPECT_TRUE(file.setValue(Str("k"), 9, top));
  EXPECT_EQ(store_->values[std::pair("", "k")], "9");
  EXPECT_EQ(file.getValue(Str("k"), 0, top), 1);
  EXPECT_TRUE(file.removeValue(Str("k"), top));
  EXPECT_FALSE(file.removeValue(Str("k"), top));
  EXPECT_EQ(file.getValue(Str("k"), 0, top), 1);
}

TEST(RegistryConfigNoStore, ANullRegistryGivesEmptyValuesAndRefusesWrites)
{
  RegistryConfig config{Zr::Ptr<iSettings>(), LightweightString<wchar_t>()};
  EXPECT_EQ(S(config.getValue(Str("k"), "d", Str())), "");
  EXPECT_FALSE(config.setValue(Str("k"), 1, Str()));
  EXPECT_FALSE(config.removeValue(Str("k"), Str()));
}

bool contains(const std::string& text, const std::string& part)
{
  return text.find(part) != std::string::npos;
}

TEST(ConfigReads, OverriddenIntsAndDoublesAreLoggedAndDefaultsAreNot)
{
  GlobalConfig().setValue(Str("reads_width"), 100, top);
  GlobalConfig().setValue(Str("reads_ratio"), 1.5, top);
  int value = 0;
  double ratio = 0;
  std::string printed = captureStdout([&] { value = config_int("reads_width", 80); });
  EXPECT_EQ(value, 100);
  EXPECT_TRUE(contains(printed, ": Default overridden: reads_width = 100 (dflt 80)\n")) << printed;
  printed = captureStdout([&] { ratio = config_double("reads_ratio", 0.25); });
  EXPECT_EQ(ratio, 1.5);
  EXPECT_TRUE(contains(printed, "Default overridden: reads_ratio = 1.500000 (dflt 0.250000)\n")) << printed;
  printed = captureStdout([&] { value = config_int("reads_absent", 80); });
  EXPECT_EQ(value, 80);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(config_int(nullptr, 3), 3);
  // Without config.dat the registry alone answers.
  EXPECT_EQ(GlobalConfig().overrides(), nullptr);
}

TEST(ConfigReads, LongBoolAndCookieReadsLogNothing)
{
  GlobalConfig().setValue(Str("reads_long"), Str("0x7fffffff"), top);
  GlobalConfig().setValue(Str("reads_flag"), true, top);
  const Cookie clip(CookieTypeV, 12, 0, 17);
  GlobalConfig().setValue(Str("reads_clip"), clip, top);
  const std::string printed = captureStdout([&] {
    EXPECT_EQ(config_long("reads_long", 1), 0x7fffffffL);
    EXPECT_TRUE(config_Bool("reads_flag", false));
    EXPECT_EQ(config_cookie("reads_clip", Cookie()), clip);
    EXPECT_FALSE(config_cookie("reads_no_clip", Cookie()).valid());
  });
  EXPECT_EQ(printed, "");
}

TEST(ConfigReads, BufferFormCopiesAtMostSizeAndTerminatesBehindIt)
{
  GlobalConfig().setValue(Str("reads_title"), Str("abcdefgh"), top);
  char buffer[8];
  std::memset(buffer, 'Z', sizeof buffer);
  std::string printed = captureStdout([&] { config_string("reads_title", buffer, 4, "dflt"); });
  EXPECT_STREQ(buffer, "abcd");
  EXPECT_EQ(buffer[5], 'Z');
  EXPECT_TRUE(contains(printed, "Default overridden: reads_title = abcdefgh (dflt dflt)\n")) << printed;
  printed = captureStdout([&] { config_string("reads_no_title", buffer, 7, "dflt"); });
  EXPECT_EQ(printed, "");
  EXPECT_STREQ(buffer, "dflt");
}

TEST(ConfigReads, TheDefaultInForceIsReturnedItselfAndNotCached)
{
  static const char dflt[] = "the default";
  EXPECT_EQ(config_string("reads_no_such_text", dflt), dflt);
  EXPECT_EQ(config_string(nullptr, dflt), dflt);
  GlobalConfig().setValue(Str("reads_no_such_text"), Str("set later"), top);
  EXPECT_STREQ(config_string("reads_no_such_text", dflt), "set later");
}

TEST(ConfigReads, AnOverriddenTextIsCachedForTheWholeRun)
{
  GlobalConfig().setValue(Str("reads_cached"), Str("first"), top);
  const char* first = config_string("reads_cached", "d");
  EXPECT_STREQ(first, "first");
  GlobalConfig().setValue(Str("reads_cached"), Str("second"), top);
  // The cache grows; texts it handed out stay where they were.
  for (int i = 0; i < 20; ++i) {
    const std::string name = "reads_filler" + std::to_string(i);
    GlobalConfig().setValue(Str(name.c_str()), Str("x"), top);
    config_string(name.c_str(), "d");
  }
  // Whatever its case, the name finds the cached text.
  EXPECT_EQ(config_string("READS_Cached", "d"), first);
  EXPECT_STREQ(first, "first");
}

// config.dat must exist before the library loads: these run in children.
#define CHECK(condition)                                                                                     \
  if (!(condition)) return __LINE__

// A file in the application folder, where config.dat lives.
std::string appDirFile(const char* name)
{
  const std::string dir = std::getenv("ZR_APP_DIR");
  return dir + (dir.empty() || dir.back() == '/' ? "" : "/") + name;
}

// Set in the parent before it starts the child that reads at load time.
const char* const kLoadTimeVariable = "ZR_SETTINGS_TEST_LOAD_TIME";
// A read made while the library's own load-time objects run.
const int loadTimeValue = std::getenv(kLoadTimeVariable) ? config_int("load_time_width", 80) : -1;

ZR_CHILD_ROLE(settings_overrides)
{
  CHECK(config_int("child_width", 80) == 120);
  CHECK(std::strcmp(config_string("child_name", "none"), "from file") == 0);
  // The registry still answers in sections and for names the file lacks.
  GlobalConfig().setValue(Str("child_width"), 7, Str("Section"));
  CHECK(GlobalConfig().getValue(Str("child_width"), 0, Str("Section")) == 7);
  CHECK(UserConfig().getValue(Str("child_user"), 0, top) == 5);
  CHECK(UserConfig().getValue(Str("child_width"), 80, top) == 80);
  CHECK(GlobalConfig().overrides() != nullptr && UserConfig().overrides() != nullptr);
  return 0;
}

ZR_CHILD_ROLE(settings_load_time)
{
  return loadTimeValue == 90 ? 0 : 2;
}

TEST(ConfigFiles, ConfigDatOverridesTheRegistryForTheWholeProcessFromLoadTimeOn)
{
  const std::string global = appDirFile("config.dat");
  const std::string user = appDirFile("userconfig.dat");
  zrtest::writeFile(global, "{\nchild_width 120\nchild_name from file\nload_time_width 90\n}\n");
  zrtest::writeFile(user, "{\nchild_user 5\n}\n");
  EXPECT_EQ(zrtest::runChild("settings_overrides"), 0);
  setenv(kLoadTimeVariable, "1", 1);
  EXPECT_EQ(zrtest::runChild("settings_load_time"), 0);
  unsetenv(kLoadTimeVariable);
  std::remove(global.c_str());
  std::remove(user.c_str());
}

} // namespace
