// RegistryConfig over an in-memory registry: the typed text forms, the
// override file at top level only, and writes that never reach the file.
#include <gtest/gtest.h>

#include <map>
#include <utility>

#include "SettingsTestSupport.h"
#include "identity/Cookie.h"
#include "libOS/iSettings.h"
#include "settings/RegistryConfig.h"
#include "support/TestEnv.h"

namespace {

using namespace settingstest;

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

  RegistryConfig withOverride(const std::string& text)
  {
    const std::string path = freshDir("override") + "config.dat";
    zrtest::writeFile(path, text);
    return RegistryConfig(settings_, W(path));
  }
  std::string stored(const std::string& section, const std::string& name)
  {
    return store_->values[{section, name}];
  }
  RegistryConfig plain() { return RegistryConfig(settings_, W(freshDir("nooverride") + "config.dat")); }

  MemorySettings* store_;
  Zr::Ptr<iSettings> settings_;
  const Str top_;
};

TEST_F(RegistryConfigTest, IntsReadDecimalOrHexadecimal)
{
  RegistryConfig config = plain();
  struct Case
  {
    const char* stored;
    int expected;
  };
  for (const Case& c : {Case{"0x10", 16}, Case{"0X1f", 31}, Case{"10", 10}, Case{"-7", -7}, Case{"x", 0},
                        Case{"", 0}, Case{"12abc", 12}}) {
    SCOPED_TRACE(c.stored);
    store_->values[{"", "n"}] = c.stored;
    EXPECT_EQ(config.getValue(Str("n"), 5, top_), c.expected);
  }
  EXPECT_EQ(config.getValue(Str("absent"), 5, top_), 5);
  EXPECT_EQ(config.getValue(Str("absent"), -123456789L, top_), -123456789L);
}

TEST_F(RegistryConfigTest, TypedValuesRoundTripThroughTheRegistry)
{
  RegistryConfig config = plain();
  const Str section("Section");
  EXPECT_TRUE(config.setValue(Str("i"), -42, section));
  EXPECT_TRUE(config.setValue(Str("b"), true, section));
  EXPECT_TRUE(config.setValue(Str("d"), 0.1, section));
  EXPECT_TRUE(config.setValue(Str("s"), "text", section));
  const Cookie clip(CookieTypeS, 99, 3, 17);
  EXPECT_TRUE(config.setValue(Str("c"), clip, section));
  EXPECT_EQ(stored("Section", "i"), "-42");
  EXPECT_EQ(stored("Section", "b"), "true");
  EXPECT_EQ(config.getValue(Str("i"), 0, section), -42);
  EXPECT_TRUE(config.getValue(Str("b"), false, section));
  EXPECT_EQ(config.getValue(Str("d"), 0.0, section), 0.1);
  EXPECT_EQ(S(config.getValue(Str("s"), "", section)), "text");
  EXPECT_TRUE(config.getValue(Str("c"), Cookie(), section) == clip);
  // Nothing at top level: the section is part of the key.
  EXPECT_EQ(config.getValue(Str("i"), 7, top_), 7);
}

TEST_F(RegistryConfigTest, BoolsThatAreNeitherWordGiveTheDefault)
{
  RegistryConfig config = plain();
  store_->values[{"", "b"}] = "TRUE";
  EXPECT_TRUE(config.getValue(Str("b"), false, top_));
  store_->values[{"", "b"}] = "maybe";
  EXPECT_TRUE(config.getValue(Str("b"), true, top_));
  EXPECT_FALSE(config.getValue(Str("b"), false, top_));
}

TEST_F(RegistryConfigTest, TheOverrideFileWinsAtTopLevelOnly)
{
  RegistryConfig config = withOverride("{\nk 1\nempty\nWidth 640\n}\n");
  ASSERT_NE(config.overrides(), nullptr);
  store_->values[{"", "k"}] = "2";
  store_->values[{"S", "k"}] = "3";
  store_->values[{"", "empty"}] = "from registry";
  EXPECT_EQ(config.getValue(Str("k"), 0, top_), 1);
  EXPECT_EQ(config.getValue(Str("k"), 0, Str("S")), 3);
  EXPECT_EQ(S(config.getValue(Str("empty"), "d", top_)), "from registry");
  EXPECT_EQ(config.getValue(Str("WIDTH"), 0, top_), 640);
}

TEST_F(RegistryConfigTest, WritesNeverReachTheOverrideFile)
{
  RegistryConfig config = withOverride("{\nk 1\n}\n");
  EXPECT_TRUE(config.setValue(Str("k"), 9, top_));
  EXPECT_EQ(stored("", "k"), "9");
  EXPECT_EQ(config.getValue(Str("k"), 0, top_), 1);
  EXPECT_TRUE(config.removeValue(Str("k"), top_));
  EXPECT_FALSE(config.removeValue(Str("k"), top_));
  EXPECT_EQ(config.getValue(Str("k"), 0, top_), 1);
}

TEST_F(RegistryConfigTest, WithoutAFileTheRegistryAloneAnswers)
{
  RegistryConfig config = plain();
  EXPECT_EQ(config.overrides(), nullptr);
  store_->values[{"", "k"}] = "2";
  EXPECT_EQ(config.getValue(Str("k"), 0, top_), 2);
}

TEST_F(RegistryConfigTest, MultipleValuesComeFromTheRegistry)
{
  RegistryConfig config = withOverride("{\nk 1\n}\n");
  config.setValue(Str("a"), "1", Str("S"));
  config.setValue(Str("b"), "2", Str("S"));
  config.setValue(Str("c"), "3", Str("T"));
  std::vector<iSettings::NameValuePair> pairs;
  config.getMultipleValues(pairs, Str("S"));
  ASSERT_EQ(pairs.size(), 2u);
  EXPECT_EQ(S(pairs[0].name), "a");
  EXPECT_EQ(S(pairs[1].value), "2");
}

TEST(RegistryConfigNoStore, ANullRegistryGivesEmptyValuesAndRefusesWrites)
{
  RegistryConfig config{Zr::Ptr<iSettings>(), LightweightString<wchar_t>()};
  EXPECT_EQ(S(config.getValue(Str("k"), "d", Str())), "");
  EXPECT_FALSE(config.setValue(Str("k"), 1, Str()));
  EXPECT_FALSE(config.removeValue(Str("k"), Str()));
}

} // namespace
