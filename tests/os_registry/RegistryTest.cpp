// The registry service of OS(): its two stores, registry paths, and
// processes writing one store at the same time.
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "libOS/OS.h"
#include "libOS/Utf8.h"
#include "support/TestEnv.h"

namespace {

using Str = LightweightString<char>;

LightweightString<wchar_t> W(const std::string& s)
{
  return OSUtf8::toWide(s.data(), s.size());
}
std::string N(const LightweightString<wchar_t>& s)
{
  Str n = OSUtf8::toNarrow(s.c_str(), s.size());
  return std::string(n.c_str(), n.size());
}
std::string T(const Str& s)
{
  return std::string(s.c_str(), s.size());
}

iRegistry* reg()
{
  return OS()->registry();
}
std::string registryDir()
{
  return std::getenv("ZR_REGISTRY_DIR");
}

TEST(Registry, OneStorePerTypeInTheRegistryFolder)
{
  Zr::Ptr<iSettings> user = reg()->getSettings(iSettings::eUser);
  Zr::Ptr<iSettings> shared = reg()->getSettings(iSettings::eShared);
  ASSERT_TRUE(user);
  ASSERT_TRUE(shared);
  EXPECT_TRUE(user == reg()->getSettings(iSettings::eUser));
  EXPECT_FALSE(user == shared);
  EXPECT_EQ(N(user->getFileName()), registryDir() + "user.reg");
  EXPECT_EQ(N(shared->getFileName()), registryDir() + "shared.reg");
  EXPECT_FALSE(reg()->getSettings(iSettings::eType(2)));
}

TEST(Registry, MachinePathsUseTheSharedStoreAndUserPathsTheUsersStore)
{
  ASSERT_TRUE(reg()->writeString(W("HKEY_LOCAL_MACHINE\\SOFTWARE\\Korvane\\Configuration"), W("machine.num"),
                                 "wow32", W("123")));
  ASSERT_TRUE(
      reg()->writeString(W("HKEY_CURRENT_USER\\Software\\Korvane"), W("name"), nullptr, W("\u00E9diteur")));
  LightweightString<wchar_t> value;
  ASSERT_TRUE(reg()->readString(W("HKEY_LOCAL_MACHINE\\SOFTWARE\\Korvane\\Configuration"), W("machine.num"),
                                "wow64", value));
  EXPECT_EQ(N(value), "123");
  ASSERT_TRUE(reg()->readString(W("hkey_current_user\\Software\\Korvane\\"), W("name"), nullptr, value));
  EXPECT_EQ(N(value), "\xC3\xA9"
                      "diteur");

  const Zr::Ptr<iSettings> shared = reg()->getSettings(iSettings::eShared);
  EXPECT_EQ(T(shared->getValue(Str("machine.num"), Str(""), Str("SOFTWARE\\Korvane\\Configuration"))), "123");
  EXPECT_NE(zrtest::readFile(registryDir() + "shared.reg")
                .find("[SOFTWARE\\Korvane\\Configuration]\nmachine.num=123"),
            std::string::npos);
  EXPECT_FALSE(reg()->readString(W("HKEY_CURRENT_USER\\SOFTWARE\\Korvane\\Configuration"), W("machine.num"),
                                 nullptr, value));
}

TEST(Registry, ARootAloneNamesTheTopLevelAndAnEmptyValueExists)
{
  ASSERT_TRUE(reg()->writeString(W("HKEY_CURRENT_USER"), W("top"), nullptr, W("level")));
  EXPECT_EQ(T(reg()->getSettings(iSettings::eUser)->getValue(Str("top"), Str(""), Str(""))), "level");
  ASSERT_TRUE(reg()->writeString(W("HKEY_CURRENT_USER\\E"), W("empty"), nullptr, W("")));
  LightweightString<wchar_t> value = W("x");
  EXPECT_TRUE(reg()->readString(W("HKEY_CURRENT_USER\\E"), W("empty"), nullptr, value));
  EXPECT_TRUE(value.empty());
}

TEST(Registry, OtherRootsAndMissingValuesFail)
{
  LightweightString<wchar_t> value = W("unchanged");
  EXPECT_FALSE(reg()->writeString(W("HKEY_CLASSES_ROOT\\x"), W("n"), nullptr, W("v")));
  EXPECT_FALSE(reg()->readString(W("HKEY_CLASSES_ROOT\\x"), W("n"), nullptr, value));
  EXPECT_FALSE(reg()->readString(W("HKEY_LOCAL_MACHINEX\\x"), W("n"), nullptr, value));
  EXPECT_FALSE(reg()->readString(W(""), W("n"), nullptr, value));
  EXPECT_FALSE(reg()->readString(W("HKEY_LOCAL_MACHINE\\Nothing\\Here"), W("n"), nullptr, value));
  EXPECT_EQ(N(value), "unchanged");
}

// args: prefix, go marker. Writes 200 keys to the user store once the
// marker appears, so that two children write at the same time.
ZR_CHILD_ROLE(write200)
{
  for (int i = 0; i < 20000 && access(args.at(1).c_str(), F_OK) != 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  Zr::Ptr<iSettings> store = OS()->registry()->getSettings(iSettings::eUser);
  for (int i = 0; i < 200; ++i) {
    const std::string key = args.at(0) + std::to_string(i);
    if (!store->setValue(Str(key.c_str()), Str(key.c_str()), Str("Race"))) return 2;
  }
  return 0;
}

TEST(Registry, TwoProcessesWritingAtOnceLoseNoUpdate)
{
  const std::string go = zrtest::makeTempDir("race") + "go";
  const int a = zrtest::spawnChild("write200", {"a", go});
  const int b = zrtest::spawnChild("write200", {"b", go});
  ASSERT_GT(a, 0);
  ASSERT_GT(b, 0);
  zrtest::writeFile(go, "");
  EXPECT_EQ(zrtest::waitChild(a, 240000), 0);
  EXPECT_EQ(zrtest::waitChild(b, 240000), 0);

  Zr::Ptr<iSettings> store = reg()->getSettings(iSettings::eUser);
  ASSERT_TRUE(store->reload());
  std::vector<iSettings::NameValuePair> pairs;
  store->getMultipleValues(pairs, Str("Race"));
  EXPECT_EQ(pairs.size(), 400u);
  for (const char* prefix : {"a", "b"})
    for (int i = 0; i < 200; ++i) {
      const std::string key = prefix + std::to_string(i);
      EXPECT_EQ(T(store->getValue(Str(key.c_str()), Str(""), Str("Race"))), key);
    }
}

} // namespace
