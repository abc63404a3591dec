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
#include "support/TestEnv.h"

namespace {

using namespace settingstest;

std::string fileWith(const std::string& content)
{
  static int n = 0;
  const std::string path = freshDir("file") + "block" + std::to_string(++n) + ".dat";
  zrtest::writeFile(path, content);
  return path;
}

// Restores the class-wide debug level whatever the test does.
struct DebugLevel
{
  explicit DebugLevel(int level) { configb::debug = level; }
  ~DebugLevel() { configb::debug = 0; }
};

TEST(ConfigFile, ReadsUpToTheEndLineAndLeavesTheBlockClean)
{
  const std::string path = fileWith("{\nwidth:int 12\n# comment\n\n   \nname  two words  \n}\nafter 1\n");
  configb block;
  EXPECT_EQ(readFile(block, path), 0);
  EXPECT_EQ(valueOf(block, "width"), "12");
  EXPECT_EQ(valueOf(block, "name"), "two words");
  EXPECT_EQ(valueOf(block, "after"), "<absent>");
  EXPECT_FALSE(block.get_dirty());
}

TEST(ConfigFile, AMissingEndLineKeepsTheEntriesRead)
{
  for (const char* text : {"{\na 1\nb 2\n", "{\na 1\nb 2"}) {
    SCOPED_TRACE(text);
    configb block;
    EXPECT_EQ(readFile(block, fileWith(text)), 1);
    EXPECT_EQ(valueOf(block, "a"), "1");
    EXPECT_EQ(valueOf(block, "b"), "2");
    EXPECT_FALSE(block.get_dirty());
  }
}

TEST(ConfigFile, NullEmptyOrFailedStreamsReadNothing)
{
  configb block;
  block.set("kept", 1);
  EXPECT_EQ(block.read_from_file(nullptr), 1);
  EXPECT_FALSE(block.get_dirty());
  std::ifstream missing(freshDir("nofile") + "absent.dat");
  EXPECT_EQ(block.read_from_file(&missing), 1);
  EXPECT_EQ(readFile(block, fileWith("")), 1);
  EXPECT_EQ(block.entries().size(), 1u);
}

TEST(ConfigFile, TheFirstLineIsSkippedUnexamined)
{
  configb block;
  EXPECT_EQ(readFile(block, fileWith("first 1\nsecond 2\n}\n")), 0);
  EXPECT_EQ(valueOf(block, "first"), "<absent>");
  EXPECT_EQ(valueOf(block, "second"), "2");
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
  EXPECT_EQ(valueOf(tooLong, "before"), "1");
  EXPECT_EQ(valueOf(tooLong, "a"), "<absent>");
  EXPECT_EQ(valueOf(tooLong, "b"), "<absent>");

  // A last line of 1023 characters with no newline is still a line.
  configb lastLine;
  EXPECT_EQ(readFile(lastLine, fileWith("{\n" + line("a", 1023))), 1);
  EXPECT_EQ(valueOf(lastLine, "a").size(), 1021u);
}

TEST(ConfigFile, IndentedCommentsAreSkipped)
{
  configb block;
  EXPECT_EQ(readFile(block, fileWith("{\n   # note: not an entry\n\t#x 1\na 1\n}\n")), 0);
  EXPECT_EQ(block.entries().size(), 1u);
  EXPECT_EQ(valueOf(block, "a"), "1");
}

TEST(ConfigFile, CrLfFilesReadLikeUnixOnes)
{
  configb block;
  EXPECT_EQ(readFile(block, fileWith("{\r\nwidth:int 12\r\nname two words\r\n}\r\n")), 0);
  EXPECT_EQ(valueOf(block, "width"), "12");
  EXPECT_EQ(typeOf(block, "width"), "int");
  EXPECT_EQ(valueOf(block, "name"), "two words");
}

TEST(ConfigFile, NulBytesCutALineButNotTheRead)
{
  std::string text = "{\na 1";
  text += '\0';
  text += "hidden\nb 2\n";
  text += '\0';
  text += "c 3\n}\n";
  configb block;
  EXPECT_EQ(readFile(block, fileWith(text)), 0);
  EXPECT_EQ(valueOf(block, "a"), "1");
  EXPECT_EQ(valueOf(block, "b"), "2");
  EXPECT_EQ(valueOf(block, "c"), "<absent>");
  EXPECT_EQ(block.entries().size(), 2u);
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
  text += "}\n";
  configb block;
  EXPECT_EQ(readFile(block, fileWith(text)), 0);
  EXPECT_EQ(block.entries().size(), 100000u);
  EXPECT_EQ(valueOf(block, "ENTRY99999"), "699993");
}

TEST(ConfigFile, TheStreamFormReadsOneBlockAndLeavesTheRestToItsCaller)
{
  const std::string path = fileWith("{ first\na 1\n} first\n{ second\nb 2\n]\nc 3\n");
  std::ifstream in(path);
  std::string header;
  std::getline(in, header);
  configb first(&in, "first", "}");
  EXPECT_EQ(valueOf(first, "a"), "1");
  EXPECT_FALSE(first.get_dirty());
  std::getline(in, header);
  EXPECT_EQ(header, "{ second");
  configb second(&in, "second", "]");
  EXPECT_EQ(valueOf(second, "b"), "2");
  EXPECT_EQ(valueOf(second, "c"), "<absent>");
  std::getline(in, header);
  EXPECT_EQ(header, "c 3");
}

TEST(ConfigFile, DebugReportsGoToStandardOutput)
{
  const std::string path = fileWith("{\na 1\n");
  configb block;
  block.set_config_name("mine.dat");
  std::string printed = captureStdout([&] { readFile(block, path); });
  EXPECT_EQ(printed, "");
  {
    DebugLevel on(1);
    printed = captureStdout([&] { readFile(block, path); });
    EXPECT_EQ(printed, "configb::read_next_item: unexpected EOF in mine.dat\n");
    printed = captureStdout([&] { EXPECT_EQ(block.read_next_item(), 1); });
    EXPECT_EQ(printed, "configb::read_next_item: invalid file_ specified\n");
  }
}

// Windows-style paths map onto the drive roots, which this process took
// while it loaded, before the test roots existed: these run in children.
#define CHECK(condition)                                                                                     \
  if (!(condition)) return __LINE__

std::string mapped(const char* windowsPath)
{
  return S(toUTF8(OS()->fileManager()->mapPath(W(windowsPath))));
}

ZR_CHILD_ROLE(file_mapped_path)
{
  zrtest::writeFile(mapped("C:\\settings_test\\mapped.dat"), "{\nmapped yes\n}\n");
  configb block;
  CHECK(block.readFromFile(W("C:\\settings_test\\mapped.dat")) == 0);
  CHECK(valueOf(block, "mapped") == "yes");
  CHECK(block.readFromFile(W("C:\\settings_test\\absent.dat")) == 1);
  return 0;
}

TEST(ConfigFile, ReadFromFileMapsWindowsPaths)
{
  EXPECT_EQ(zrtest::runChild("file_mapped_path"), 0);
}

ZR_CHILD_ROLE(file_fallback)
{
  const std::string local = mapped("\\qor\\dat\\config.dat");
  zrtest::writeFile(local, "{\nfrom fallback\n}\n");
  CHECK(config_init((freshDir("nofirst") + "absent.dat").c_str()) == 0);
  CHECK(configb::pconf_ != nullptr);
  CHECK(valueOf(*configb::pconf_, "from") == "fallback");
  std::remove(local.c_str());
  CHECK(config_init((freshDir("nofirst") + "absent.dat").c_str()) == 0);
  return 0;
}

TEST(ConfigFile, ConfigInitFallsBackToTheSharedConfigFile)
{
  EXPECT_EQ(zrtest::runChild("file_fallback"), 0);
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
};

TEST_F(ConfigInit, ReadsTheNamedFileOnce)
{
  const std::string path = fileWith("{\nk first\n}\n");
  EXPECT_EQ(config_init(path.c_str()), 0);
  ASSERT_NE(configb::pconf_, nullptr);
  configb* first = configb::pconf_;
  EXPECT_EQ(valueOf(*first, "k"), "first");
  zrtest::writeFile(path, "{\nk second\n}\n");
  EXPECT_EQ(config_init(path.c_str()), 0);
  EXPECT_EQ(configb::pconf_, first);
  EXPECT_EQ(valueOf(*first, "k"), "first");
}

TEST_F(ConfigInit, FailsWithoutAnEndLineOrWithoutAFile)
{
  EXPECT_NE(config_init(fileWith("{\nk 1\n").c_str()), 0);
  EXPECT_EQ(configb::pconf_, nullptr);
  EXPECT_NE(config_init((freshDir("none") + "absent.dat").c_str()), 0);
  EXPECT_EQ(configb::pconf_, nullptr);
  // After a failure, a good file is read again rather than refused.
  EXPECT_EQ(config_init(fileWith("{\nk 2\n}\n").c_str()), 0);
  ASSERT_NE(configb::pconf_, nullptr);
  EXPECT_EQ(valueOf(*configb::pconf_, "k"), "2");
}

TEST_F(ConfigInit, ReinitReadsOverTheBlockKeepingOtherEntries)
{
  ASSERT_EQ(config_init(fileWith("{\na 1\nb 2\n}\n").c_str()), 0);
  EXPECT_EQ(configb::reinit(fileWith("{\nb 3\nc 4\n}\n").c_str()), 0);
  EXPECT_EQ(valueOf(*configb::pconf_, "a"), "1");
  EXPECT_EQ(valueOf(*configb::pconf_, "b"), "3");
  EXPECT_EQ(valueOf(*configb::pconf_, "c"), "4");
  EXPECT_EQ(configb::reinit((freshDir("none") + "absent.dat").c_str()), -1);
  EXPECT_EQ(valueOf(*configb::pconf_, "c"), "4");
}

} // namespace
