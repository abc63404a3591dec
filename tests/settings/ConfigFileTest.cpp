// Reading blocks from files: the end line, damaged files, long lines, the
// debug reports, config_init and reinit.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <string>

#include "SettingsTestSupport.h"
#include "core/Config.h"
#include "core/configb.h"
#include "libOS/OS.h"
#include "libzr/Strings.h"

namespace {

using namespace settingstest;

TEST(ConfigFile, ReadsUpToTheEndLineAndLeavesTheBlockClean)
{
  using namespace std::string_literals;
  struct Case
  {
    std::string content;
    int result;
    const char* block;
  };
  const Case cases[] = {
      {"{\nwidth:int 12\n# comment\n\n   \nname  two words  \n}\nafter 1\n", 0,
       "{\n  name two words\n  width:int 12\n}"},
      {"{\r\nwidth:int 12\r\nname two words\r\n}\r\n", 0, "{\n  name two words\n  width:int 12\n}"},
      // The first line is skipped unexamined.
      {"first 1\nsecond 2\n}\n", 0, "{\n  second 2\n}"},
      {"{\n   # note: not an entry\n\t#x 1\na 1\n}\n", 0, "{\n  a 1\n}"},
      // A NUL cuts its line, not the read.
      {"{\na 1\0hidden\nb 2\n\0c 3\n}\n"s, 0, "{\n  a 1\n  b 2\n}"},
      // Without an end line the entries read are kept.
      {"{\na 1\nb 2\n", 1, "{\n  a 1\n  b 2\n}"},
      {"{\na 1\nb 2", 1, "{\n  a 1\n  b 2\n}"},
      {"", 1, "{\n}"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.content);
    configb block;
    EXPECT_EQ(readFile(block, fileWith(c.content)), c.result);
    EXPECT_EQ(S(block.asString()), c.block);
    EXPECT_FALSE(block.get_dirty());
  }
}

TEST(ConfigFile, NullOrFailedStreamsReadNothing)
{
  configb block;
  block.set("kept", 1);
  EXPECT_EQ(block.read_from_file(nullptr), 1);
  EXPECT_FALSE(block.get_dirty());
  std::ifstream missing(zrtest::makeTempDir("nofile") + "absent.dat");
  EXPECT_EQ(block.read_from_file(&missing), 1);
  EXPECT_EQ(block.entries().size(), 1u);
}

TEST(ConfigFile, ALineOf1024CharactersEndsTheReadAs1023DoNot)
{
  // "k " plus padding: the whole line, newline excluded, is `length` characters.
  auto line = [](const char* name, size_t length) {
    return std::string(name) + " " + std::string(length - 2, 'v');
  };

  configb fits;
  EXPECT_EQ(readFile(fits, fileWith("{\n" + line("a", 1023) + "\nb 2\n}\n")), 0);
  EXPECT_EQ(valueOf(fits, "a").size(), 1021u);
  EXPECT_EQ(valueOf(fits, "b"), "2");

  configb tooLong;
  EXPECT_EQ(readFile(tooLong, fileWith("{\nbefore 1\n" + line("a", 1024) + "\nb 2\n}\n")), 1);
  EXPECT_EQ(S(tooLong.asString()), "{\n  before 1\n}");

  // A last line of 1023 characters with no newline is still a line.
  configb lastLine;
  EXPECT_EQ(readFile(lastLine, fileWith("{\n" + line("a", 1023))), 1);
  EXPECT_EQ(valueOf(lastLine, "a").size(), 1021u);
}

TEST(ConfigFile, BinaryGarbageNeverBreaksTheReader)
{
  std::mt19937 random(1234);
  for (int round = 0; round < 50; ++round) {
    std::string text = "{\nkept 1\n";
    const size_t length = random() % 5000;
    for (size_t i = 0; i < length; ++i) text += char(random());
    configb block;
    const int result = readFile(block, fileWith(text));
    EXPECT_TRUE(result == 0 || result == 1);
    EXPECT_EQ(valueOf(block, "kept"), "1");
    // Whatever was read writes out and reads back the same.
    configb back;
    ASSERT_TRUE(back.fromString(block.asString()));
    EXPECT_EQ(S(back.asString()), S(block.asString()));
  }
}

TEST(ConfigFile, AHugeFileReadsWhole)
{
  std::string text = "{\n";
  for (int i = 0; i < 100000; ++i)
    text += "entry" + std::to_string(i) + ":int " + std::to_string(i * 7) + "\n";
  configb block;
  EXPECT_EQ(readFile(block, fileWith(text + "}\n")), 0);
  EXPECT_EQ(block.entries().size(), 100000u);
  EXPECT_EQ(valueOf(block, "ENTRY99999"), "699993");
}

TEST(ConfigFile, TheStreamFormReadsOneBlockAndLeavesTheRestToItsCaller)
{
  std::ifstream in(fileWith("{ first\na 1\n} first\n{ second\nb 2\n]\nc 3\n"));
  std::string header;
  std::getline(in, header);
  configb first(&in, "first", "}");
  EXPECT_EQ(valueOf(first, "a"), "1");
  EXPECT_FALSE(first.get_dirty());
  std::getline(in, header);
  EXPECT_EQ(header, "{ second");
  configb second(&in, "second", "]");
  EXPECT_EQ(S(second.asString()), "{\n  b 2\n]");
  std::getline(in, header);
  EXPECT_EQ(header, "c 3");
}

TEST(ConfigFile, DebugReportsGoToStandardOutput)
{
  const std::string path = fileWith("{\na 1\n");
  configb block;
  block.set_config_name("mine.dat");
  EXPECT_EQ(captureStdout([&] { readFile(block, path); }), "");
  configb::debug = 1;
  EXPECT_EQ(captureStdout([&] { readFile(block, path); }),
            "configb::read_next_item: unexpected EOF in mine.dat\n");
  EXPECT_EQ(captureStdout([&] { EXPECT_EQ(block.read_next_item(), 1); }),
            "configb::read_next_item: invalid file_ specified\n");
  configb::debug = 0;
}

TEST(ConfigFile, ReadFromFileMapsWindowsPaths)
{
  const std::string local = S(toUTF8(OS()->fileManager()->mapPath(W("C:\\settings_test\\mapped.dat"))));
  zrtest::writeFile(local, "{\nmapped yes\n}\n");
  configb block;
  EXPECT_EQ(block.readFromFile(W("C:\\settings_test\\mapped.dat")), 0);
  EXPECT_EQ(valueOf(block, "mapped"), "yes");
  EXPECT_EQ(block.readFromFile(W("C:\\settings_test\\absent.dat")), 1);
}

// config_init keeps its state in class-wide fields; each test starts afresh.
class ConfigInit : public testing::Test
{
protected:
  void SetUp() override { forget(); }
  void TearDown() override { forget(); }
  static void forget()
  {
    delete configb::pconf_;
    configb::pconf_ = nullptr;
    configb::initFailed_ = false;
  }
  static std::string absent() { return zrtest::makeTempDir("none") + "absent.dat"; }
};

TEST_F(ConfigInit, ReadsTheNamedFileOnce)
{
  const std::string path = fileWith("{\nk first\n}\n");
  EXPECT_EQ(config_init(path.c_str()), 0);
  ASSERT_NE(configb::pconf_, nullptr);
  configb* first = configb::pconf_;
  zrtest::writeFile(path, "{\nk second\n}\n");
  EXPECT_EQ(config_init(path.c_str()), 0);
  EXPECT_EQ(configb::pconf_, first);
  EXPECT_EQ(valueOf(*first, "k"), "first");
}

TEST_F(ConfigInit, FailsWithoutAnEndLineOrWithoutAFile)
{
  EXPECT_NE(config_init(fileWith("{\nk 1\n").c_str()), 0);
  EXPECT_EQ(configb::pconf_, nullptr);
  EXPECT_NE(config_init(absent().c_str()), 0);
  EXPECT_EQ(configb::pconf_, nullptr);
  // After a failure, a good file is read again rather than refused.
  EXPECT_EQ(config_init(fileWith("{\nk 2\n}\n").c_str()), 0);
  ASSERT_NE(configb::pconf_, nullptr);
  EXPECT_EQ(valueOf(*configb::pconf_, "k"), "2");
}

TEST_F(ConfigInit, FallsBackToTheSharedConfigFile)
{
  const std::string local = S(toUTF8(OS()->fileManager()->mapPath(W("\\qor\\dat\\config.dat"))));
  zrtest::writeFile(local, "{\nfrom fallback\n}\n");
  EXPECT_EQ(config_init(absent().c_str()), 0);
  ASSERT_NE(configb::pconf_, nullptr);
  EXPECT_EQ(valueOf(*configb::pconf_, "from"), "fallback");
  std::remove(local.c_str());
  forget();
  EXPECT_NE(config_init(absent().c_str()), 0);
}

TEST_F(ConfigInit, ReinitReadsOverTheBlockKeepingOtherEntries)
{
  ASSERT_EQ(config_init(fileWith("{\na 1\nb 2\n}\n").c_str()), 0);
  EXPECT_EQ(configb::reinit(fileWith("{\nb 3\nc 4\n}\n").c_str()), 0);
  EXPECT_EQ(S(configb::pconf_->asString()), "{\n  a 1\n  b 3\n  c 4\n}");
  EXPECT_EQ(configb::reinit(absent().c_str()), -1);
  EXPECT_EQ(valueOf(*configb::pconf_, "c"), "4");
}

} // namespace
