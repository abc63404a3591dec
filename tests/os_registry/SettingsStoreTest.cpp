// Registry stores over their files: persistence, merging of concurrent
// writers, garbled files and unwritable folders.
#include "libOS/posix/Registry.h"

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "libOS/Utf8.h"

#include "support/TestEnv.h"

namespace {

using Str = LightweightString<char>;

Str S(const std::string& s)
{
  return Str(s.data(), unsigned(s.size()));
}
std::string T(const Str& s)
{
  return std::string(s.c_str(), s.size());
}

bool exists(const std::string& path)
{
  struct stat st;
  return ::stat(path.c_str(), &st) == 0;
}

class Store : public testing::Test
{
protected:
  std::string dir_ = zrtest::makeTempDir("store");
  std::string path_ = dir_ + "user.reg";

  Zr::Ptr<posix::SettingsStore> open(const std::string& path = "") const
  {
    return Zr::Ptr<posix::SettingsStore>(new posix::SettingsStore(path.empty() ? path_ : path));
  }
  static std::string get(iSettings& s, const std::string& name, const std::string& section = "")
  {
    return T(s.getValue(S(name), S("(absent)"), S(section)));
  }
};

TEST_F(Store, AMissingFileIsAnEmptyStoreMadeAtTheFirstWrite)
{
  Zr::Ptr<posix::SettingsStore> s = open();
  EXPECT_EQ(get(*s, "anything"), "(absent)");
  EXPECT_FALSE(exists(path_));
  ASSERT_TRUE(s->setValue(S("first"), S("1"), S("")));
  EXPECT_TRUE(exists(path_));
  EXPECT_FALSE(exists(path_ + ".TMP"));
  EXPECT_NE(zrtest::readFile(path_).find("\nfirst=1\n"), std::string::npos);
}

TEST_F(Store, AwkwardValuesSurviveAReload)
{
  const std::string awkward[] = {" spaced ",
                                 "a=b",
                                 "[x]",
                                 ";c",
                                 "50%",
                                 "two\nlines",
                                 "C:\\ZRPROJ",
                                 "\xFF\xFE",
                                 std::string("nul\0byte", 8),
                                 ""};
  {
    Zr::Ptr<posix::SettingsStore> writer = open();
    for (const std::string& section : awkward)
      for (const std::string& name : awkward)
        ASSERT_TRUE(writer->setValue(S(name), S(name + "=" + section), S(section)));
  }
  Zr::Ptr<posix::SettingsStore> reader = open();
  for (const std::string& section : awkward)
    for (const std::string& name : awkward) EXPECT_EQ(get(*reader, name, section), name + "=" + section);
}

TEST_F(Store, OrderOfFirstStoringIsKept)
{
  Zr::Ptr<posix::SettingsStore> s = open();
  for (const char* name : {"zeta", "alpha", "mid"}) s->setValue(S(name), S("v"), S("Sec"));
  s->setValue(S("later"), S("v"), S("Another"));
  s->setValue(S("top"), S("v"), S(""));
  s->setValue(S("zeta"), S("changed"), S("Sec"));
  Zr::Ptr<posix::SettingsStore> back = open();
  std::vector<iSettings::NameValuePair> pairs;
  back->getMultipleValues(pairs, S("Sec"));
  ASSERT_EQ(pairs.size(), 3u);
  EXPECT_EQ(T(pairs[0].name), "zeta");
  EXPECT_EQ(T(pairs[0].value), "changed");
  EXPECT_EQ(T(pairs[1].name), "alpha");
  EXPECT_EQ(T(pairs[2].name), "mid");
  back->getMultipleValues(pairs, S("Unknown"));
  EXPECT_EQ(pairs.size(), 3u); // appends, and an unknown section adds nothing
  std::vector<Str> sections;
  back->getSections(sections);
  ASSERT_EQ(sections.size(), 3u);
  EXPECT_EQ(T(sections[0]), "");
  EXPECT_EQ(T(sections[1]), "Sec");
  EXPECT_EQ(T(sections[2]), "Another");
}

TEST_F(Store, RemoveValueReportsWhetherItWasThereAndMergesWithAnotherWriter)
{
  Zr::Ptr<posix::SettingsStore> s = open(), other = open();
  EXPECT_EQ(get(*other, "x", "S"), "(absent)"); // other has loaded the empty file
  s->setValue(S("x"), S("1"), S("S"));
  s->setValue(S("stays"), S("2"), S("S"));
  EXPECT_TRUE(other->removeValue(S("x"), S("S"))); // not in its copy, but on disk
  EXPECT_FALSE(s->removeValue(S("x"), S("S")));    // s sees the removal as it merges
  EXPECT_FALSE(s->removeValue(S("stays"), S("Other")));
  Zr::Ptr<posix::SettingsStore> back = open();
  EXPECT_EQ(get(*back, "x", "S"), "(absent)");
  EXPECT_EQ(get(*back, "stays", "S"), "2");
}

TEST_F(Store, WritersWithStaleCopiesDoNotLoseEachOthersValues)
{
  Zr::Ptr<posix::SettingsStore> a = open(), b = open();
  get(*a, "load");
  get(*b, "load");
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(a->setValue(S("a" + std::to_string(i)), S("A"), S("")));
    ASSERT_TRUE(b->setValue(S("b" + std::to_string(i)), S("B"), S("")));
  }
  Zr::Ptr<posix::SettingsStore> c = open();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(get(*c, "a" + std::to_string(i)), "A");
    EXPECT_EQ(get(*c, "b" + std::to_string(i)), "B");
  }
  // b took a's values in while merging; a sees b's after a reload.
  EXPECT_EQ(get(*b, "a19"), "A");
  EXPECT_EQ(get(*a, "b19"), "(absent)");
  EXPECT_TRUE(a->reload());
  EXPECT_EQ(get(*a, "b19"), "B");
}

TEST_F(Store, AHandEditIsMergedAtTheNextWrite)
{
  Zr::Ptr<posix::SettingsStore> s = open();
  ASSERT_TRUE(s->setValue(S("mine"), S("1"), S("")));
  std::string text = zrtest::readFile(path_);
  text += "[Edited]\nby=hand\n";
  zrtest::writeFile(path_, text);
  ASSERT_TRUE(s->setValue(S("mine"), S("2"), S("")));
  Zr::Ptr<posix::SettingsStore> back = open();
  EXPECT_EQ(get(*back, "by", "Edited"), "hand");
  EXPECT_EQ(get(*back, "mine"), "2");
}

TEST_F(Store, ThreadsSharingAStoreLoseNothing)
{
  Zr::Ptr<posix::SettingsStore> s = open();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&s, t] {
      for (int i = 0; i < 25; ++i) {
        const std::string key = "t" + std::to_string(t) + "k" + std::to_string(i);
        s->setValue(S(key), S(key), S("Threads"));
        s->getValue(S(key), S(""), S("Threads"));
      }
    });
  for (std::thread& t : threads) t.join();
  std::vector<iSettings::NameValuePair> pairs;
  open()->getMultipleValues(pairs, S("Threads"));
  EXPECT_EQ(pairs.size(), 100u);
}

const char kGarbled[] = "; settings\n"
                        "kept=1\n"
                        "this line has no equals sign\n"
                        "[Section]\n"
                        "also=2\n"
                        "broken=%G1\n"
                        "\x01\x02 binary\n";

TEST_F(Store, AGarbledFileKeepsItsReadableValuesAndLogsOneLine)
{
  zrtest::writeFile(path_, kGarbled);
  Zr::Ptr<posix::SettingsStore> s = open();
  testing::internal::CaptureStderr();
  const std::string kept = get(*s, "kept");
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(kept, "1");
  EXPECT_EQ(get(*s, "also", "Section"), "2");
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  EXPECT_NE(err.find(path_), std::string::npos) << err;
  EXPECT_NE(err.find(" 3 "), std::string::npos) << err;
  // Reading alone never replaces or copies the file.
  EXPECT_EQ(zrtest::readFile(path_), kGarbled);
  EXPECT_FALSE(exists(path_ + ".garbled"));
}

TEST_F(Store, TheFirstWriteKeepsTheGarbledOriginalBesideEarlierCopies)
{
  zrtest::writeFile(path_, kGarbled);
  testing::internal::CaptureStderr();
  ASSERT_TRUE(open()->setValue(S("new"), S("3"), S("")));
  EXPECT_EQ(zrtest::readFile(path_ + ".garbled"), kGarbled);
  Zr::Ptr<posix::SettingsStore> back = open();
  EXPECT_EQ(get(*back, "kept"), "1");
  EXPECT_EQ(get(*back, "also", "Section"), "2");
  EXPECT_EQ(get(*back, "new"), "3");
  // The rewritten file is clean: later writes keep no more copies.
  ASSERT_TRUE(back->setValue(S("newer"), S("4"), S("")));
  EXPECT_FALSE(exists(path_ + ".garbled.1"));

  // A file garbled again never overwrites the earlier copy.
  zrtest::writeFile(path_, std::string(kGarbled) + "again\n");
  ASSERT_TRUE(open()->setValue(S("x"), S("y"), S("")));
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(zrtest::readFile(path_ + ".garbled"), kGarbled);
  EXPECT_EQ(zrtest::readFile(path_ + ".garbled.1"), std::string(kGarbled) + "again\n");
}

TEST_F(Store, AnUnwritableFolderKeepsValuesInMemoryUntilAWriteSucceeds)
{
  // A file where the folder should be stops every write, even for root.
  const std::string blocked = dir_ + "blocked";
  zrtest::writeFile(blocked, "not a folder");
  Zr::Ptr<posix::SettingsStore> s = open(blocked + "/user.reg");
  EXPECT_FALSE(s->setValue(S("pending"), S("1"), S("S")));
  EXPECT_EQ(get(*s, "pending", "S"), "1");
  EXPECT_FALSE(s->setValue(S("second"), S("2"), S("")));

  // Once the folder can be made, the next write takes the earlier values along.
  ASSERT_EQ(::unlink(blocked.c_str()), 0);
  EXPECT_TRUE(s->setValue(S("third"), S("3"), S("")));
  Zr::Ptr<posix::SettingsStore> back = open(blocked + "/user.reg");
  EXPECT_EQ(get(*back, "pending", "S"), "1");
  EXPECT_EQ(get(*back, "second"), "2");
  EXPECT_EQ(get(*back, "third"), "3");
}

TEST_F(Store, AnUnreadableFileIsNeverOverwritten)
{
  if (geteuid() == 0) GTEST_SKIP() << "root reads every file";
  zrtest::writeFile(path_, "secret=1\n");
  ASSERT_EQ(::chmod(path_.c_str(), 0), 0);
  Zr::Ptr<posix::SettingsStore> s = open();
  EXPECT_FALSE(s->reload());
  EXPECT_FALSE(s->setValue(S("x"), S("1"), S("")));
  ::chmod(path_.c_str(), 0600);
  EXPECT_EQ(zrtest::readFile(path_), "secret=1\n");
}

} // namespace
