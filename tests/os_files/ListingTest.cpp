// Folder listings with wildcard patterns.
#include <gtest/gtest.h>

#include "FilesTestSupport.h"
#include "support/TestEnv.h"

namespace {

using filestest::fm;
using filestest::N;
using filestest::W;

class Listing : public testing::Test
{
protected:
  static void SetUpTestSuite()
  {
    dir_ = new std::string(zrtest::makeTempDir("listing"));
    for (const char* name : {"alpha.txt", "Beta.TXT", "gamma", "delta.tar.gz", ".hidden"})
      zrtest::writeFile(*dir_ + name, name);
    fm()->makeDirectory(W(*dir_ + "sub"), false);
    fm()->makeDirectory(W(*dir_ + "Sub2.d"), false);
  }
  static void TearDownTestSuite() { delete dir_; }

  static std::string names(const std::string& pattern, bool files, bool dirs)
  {
    std::vector<iFileManager::DirectoryItem> items;
    if (!fm()->listDirectory(W(*dir_ + pattern), files, dirs, items)) return "(failed)";
    std::string out;
    for (const auto& item : items) out += (out.empty() ? "" : " ") + N(item.name);
    return out;
  }

  static std::string* dir_;
};
std::string* Listing::dir_ = nullptr;

TEST_F(Listing, PatternsSelectNamesByWindowsRules)
{
  struct Case
  {
    const char* pattern;
    bool files, dirs;
    const char* expected;
  };
  const Case cases[] = {
      {"*", true, true, ".hidden alpha.txt Beta.TXT delta.tar.gz gamma sub Sub2.d"},
      {"*.*", true, false, ".hidden alpha.txt Beta.TXT delta.tar.gz gamma"},
      {"*.*", false, true, "sub Sub2.d"},
      {"*.txt", true, true, "alpha.txt Beta.TXT"},
      {"*.", true, true, "gamma sub"},
      {"S*", false, true, "sub Sub2.d"},
      {"nothing*", true, true, ""},
      {"*", false, false, ""},
      {"", true, true, ".hidden alpha.txt Beta.TXT delta.tar.gz gamma sub Sub2.d"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(names(c.pattern, c.files, c.dirs), c.expected) << "pattern \"" << c.pattern << "\"";
}

TEST_F(Listing, ItemsCarrySizeKindAndTimeAndAreAppended)
{
  std::vector<iFileManager::DirectoryItem> items(1);
  items[0].name = W("already here");
  ASSERT_TRUE(fm()->listDirectory(W(*dir_ + "*a*"), true, true, items));
  ASSERT_EQ(items.size(), 5u); // and alpha.txt Beta.TXT delta.tar.gz gamma
  EXPECT_EQ(N(items[0].name), "already here");
  EXPECT_EQ(N(items[1].name), "alpha.txt");
  EXPECT_EQ(items[1].size, 9u);
  EXPECT_FALSE(items[1].isDirectory);
  EXPECT_EQ(items[1].time, fm()->getFileTime(W(*dir_ + "alpha.txt"), iFile::eModified));
  items.clear();
  ASSERT_TRUE(fm()->listDirectory(W(*dir_ + "sub"), true, true, items));
  ASSERT_EQ(items.size(), 1u);
  EXPECT_TRUE(items[0].isDirectory);
  EXPECT_EQ(items[0].size, 0u);
}

TEST_F(Listing, AMissingFolderFails)
{
  std::vector<iFileManager::DirectoryItem> items;
  EXPECT_FALSE(fm()->listDirectory(W(*dir_ + "no-such-folder/*.*"), true, true, items));
  EXPECT_FALSE(fm()->listDirectory(W(*dir_ + "gamma/*"), true, true, items));
  EXPECT_TRUE(items.empty());
}

} // namespace
