// The settings block in memory: set and in, the end test, the text form,
// dump, copies and the owner's notification.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <fstream>
#include <vector>

#include "SettingsTestSupport.h"
#include "core/Dirtiable.h"
#include "core/configb.h"
#include "identity/Cookie.h"
#include "libOS/OS.h"
#include "support/TestEnv.h"

namespace {

using namespace settingstest;

struct CountingOwner : Dirtiable
{
  int notified = 0;
  void setDirty() override { ++notified; }
};

configb blockFrom(const char* text)
{
  configb block;
  EXPECT_TRUE(block.fromString(Str(text)));
  return block;
}

TEST(ConfigbSet, AValueOfAnotherTypeNeverOverwrites)
{
  configb block;
  block.set("a", 1);
  block.set("a", 2.5);
  EXPECT_EQ(valueOf(block, "a"), "1");
  EXPECT_EQ(typeOf(block, "a"), "int");
  block.set("a", "7", "");
  EXPECT_EQ(valueOf(block, "a"), "1");
}

TEST(ConfigbSet, UntypedSetReplacesTheValueAndKeepsTheType)
{
  configb block;
  block.set("a", 1);
  block.set("a", "text");
  EXPECT_EQ(valueOf(block, "a"), "text");
  EXPECT_EQ(typeOf(block, "a"), "int");
}

TEST(ConfigbSet, NamesAreCaseInsensitive)
{
  configb block;
  block.set("width", 10);
  block.set("WIDTH", 12);
  int width = 0;
  EXPECT_EQ(block.in("Width", width), 0);
  EXPECT_EQ(width, 12);
  EXPECT_EQ(block.entries().size(), 1u);
  // The first spelling stays the key.
  EXPECT_EQ(S(block.entries().begin()->first), "width");
}

TEST(ConfigbSet, OnlyARealChangeMakesTheBlockDirty)
{
  configb block;
  block.set("a", "x");
  EXPECT_TRUE(block.get_dirty());
  block.set_dirty(false);
  block.set("A", "x");
  EXPECT_FALSE(block.get_dirty());
  block.set("a", nullptr, nullptr);
  EXPECT_FALSE(block.get_dirty());
  block.set("a", "x", "int");
  EXPECT_FALSE(block.get_dirty());
  block.set("a", "y");
  EXPECT_TRUE(block.get_dirty());
  block.set_dirty(false);
  EXPECT_EQ(block.remove("missing"), -1);
  EXPECT_FALSE(block.get_dirty());
  EXPECT_EQ(block.remove("A"), 0);
  EXPECT_TRUE(block.get_dirty());
  EXPECT_TRUE(block.isEmpty());
}

TEST(ConfigbSet, TypedSetsWriteTheirTextForms)
{
  configb block;
  block.set("i", -42);
  block.set("d", 2.5);
  block.set("b", true);
  block.set("s", Str("plain"));
  EXPECT_EQ(valueOf(block, "i"), "-42");
  EXPECT_EQ(valueOf(block, "d"), "2.50000000");
  EXPECT_EQ(valueOf(block, "b"), "true");
  EXPECT_EQ(typeOf(block, "d"), "double");
  EXPECT_EQ(typeOf(block, "b"), "bool");
  EXPECT_EQ(typeOf(block, "s"), "");
  // A huge double has hundreds of digits and must still be written whole.
  block.set("big", 1e300);
  EXPECT_EQ(valueOf(block, "big").size(), 301u + 9u);
}

TEST(ConfigbSet, CookiesRoundTripInTheirDefaultForm)
{
  configb block;
  const Cookie sound(CookieTypeS, 1234, 5, 17);
  block.set("c", sound);
  EXPECT_EQ(typeOf(block, "c"), "cookie");
  EXPECT_EQ(valueOf(block, "c"), S(sound.asString(false)));
  Cookie back;
  EXPECT_EQ(block.in("c", back), 0);
  EXPECT_TRUE(back == sound);
  block.set("bad", "not a cookie");
  back = sound;
  EXPECT_EQ(block.in("bad", back), 0);
  EXPECT_FALSE(back.valid());
}

TEST(ConfigbSet, OwnerHearsOfDirtyButNotOfClean)
{
  CountingOwner owner;
  configb block(&owner);
  block.set("a", 1);
  EXPECT_EQ(owner.notified, 1);
  block.set_dirty(false);
  EXPECT_EQ(owner.notified, 1);
  block.set("a", 1);
  EXPECT_EQ(owner.notified, 1);
  block.set_dirty(true);
  EXPECT_EQ(owner.notified, 2);
}

TEST(ConfigbIn, IntReadsDigitsSignsAndBoolWords)
{
  const configb block = blockFrom("{\n a 12\n b -3\n c true\n d false\n e abc\n f 0x10\n g\n}");
  struct Case
  {
    const char* name;
    int result;
    int value;
  };
  for (const Case& c : std::vector<Case>{{"a", 0, 12},
                                         {"b", 0, -3},
                                         {"c", 0, 1},
                                         {"d", 0, 0},
                                         {"e", -1, 99},
                                         {"f", 0, 0},
                                         {"g", -1, 99},
                                         {"missing", -1, 99},
                                         {nullptr, -1, 99}}) {
    SCOPED_TRACE(c.name ? c.name : "(null)");
    int out = 99;
    EXPECT_EQ(block.in(c.name, out), c.result);
    EXPECT_EQ(out, c.value);
  }
}

TEST(ConfigbIn, BoolLeavesUnknownTextAloneButSucceeds)
{
  const configb block = blockFrom("{\n t true\n f false\n x yes\n e\n}");
  bool out = false;
  EXPECT_EQ(block.in("t", out), 0);
  EXPECT_TRUE(out);
  EXPECT_EQ(block.in("f", out), 0);
  EXPECT_FALSE(out);
  out = true;
  EXPECT_EQ(block.in("x", out), 0);
  EXPECT_TRUE(out);
  EXPECT_EQ(block.in("e", out), 0);
  EXPECT_TRUE(out);
  EXPECT_EQ(block.in("missing", out), -1);
}

TEST(ConfigbIn, NumbersAndEntries)
{
  const configb block = blockFrom("{\n u 4000000000\n d 2.75\n t:textdata hello world\n}");
  unsigned int u = 0;
  EXPECT_EQ(block.in("u", u), 0);
  EXPECT_EQ(u, 4000000000u);
  double d = 0;
  EXPECT_EQ(block.in("d", d), 0);
  EXPECT_DOUBLE_EQ(d, 2.75);
  ConfigEntryT entry;
  EXPECT_EQ(block.in("T", entry), 0);
  EXPECT_EQ(S(entry.type_), "textdata");
  EXPECT_EQ(S(entry.value_), "hello world");
  EXPECT_EQ(S(block.in("t")), "hello world");
  EXPECT_EQ(S(block.in("missing")), "");
  EXPECT_EQ(S(block.in(nullptr)), "");
}

TEST(ConfigbIn, SizedCopyAlwaysTerminatesWithinTheBuffer)
{
  const configb block = blockFrom("{\n long abcdefghij\n empty\n}");
  char buffer[8];
  std::memset(buffer, 'Z', sizeof buffer);
  EXPECT_EQ(block.in("long", buffer, 5), 0);
  EXPECT_STREQ(buffer, "abcd");
  EXPECT_EQ(buffer[5], 'Z');
  std::strcpy(buffer, "old");
  EXPECT_EQ(block.in("empty", buffer, 8), -1);
  EXPECT_STREQ(buffer, "");
  std::strcpy(buffer, "old");
  EXPECT_EQ(block.in("missing", buffer, 8), -1);
  EXPECT_STREQ(buffer, "old");
  char whole[32] = "old";
  EXPECT_EQ(block.in("empty", whole), 0);
  EXPECT_STREQ(whole, "");
}

TEST(ConfigbParseLine, EndTestIsACaseInsensitivePrefixOfTheEndString)
{
  configb block;
  block.set_end_str("}ENDBLOCK");
  std::string line = "}";
  EXPECT_EQ(block.parseLine(line.data()), 1);
  line = "}endb trailing words";
  EXPECT_EQ(block.parseLine(line.data()), 1);
  line = "}x 1";
  EXPECT_EQ(block.parseLine(line.data()), 0);
  EXPECT_EQ(valueOf(block, "}x"), "1");
  line = "   # indented comment";
  EXPECT_EQ(block.parseLine(line.data()), 0);
  EXPECT_EQ(block.entries().size(), 1u);
}

TEST(ConfigbText, AsStringReadsBackToAnEqualBlock)
{
  configb block;
  block.set("zeta", 3);
  block.set("Alpha", "two words", "");
  block.set("flag", nullptr, "bool");
  block.set("bare", nullptr, nullptr);
  block.set("path", "C:\\tmp:x");
  const Str text = block.asString();
  EXPECT_EQ(S(text), "{\n  Alpha two words\n  bare\n  flag:bool\n  path C:\\tmp:x\n  zeta:int 3\n}");
  configb back;
  ASSERT_TRUE(back.fromString(text));
  ASSERT_EQ(back.entries().size(), block.entries().size());
  for (const auto& [name, entry] : block.entries()) {
    SCOPED_TRACE(S(name));
    EXPECT_EQ(valueOf(back, name.c_str()), S(entry.value_));
    EXPECT_EQ(typeOf(back, name.c_str()), S(entry.type_));
  }
  EXPECT_EQ(S(back.asString()), S(text));
}

TEST(ConfigbText, FromStringNeedsTheOpeningLineExactly)
{
  for (const char* text : {"", "a 1\n}", " {\na 1\n}", "{ name\na 1\n}", "{\r\na 1\n}", "\n{\na 1\n}"}) {
    SCOPED_TRACE(text);
    configb block;
    EXPECT_FALSE(block.fromString(Str(text)));
    EXPECT_TRUE(block.isEmpty());
  }
}

TEST(ConfigbText, FromStringStopsAtTheExactEndLineOnly)
{
  configb block;
  ASSERT_TRUE(block.fromString(Str("{\n\n\na 1\n# note\n   # indented\n} other\nb 2\n}\nc 3\n")));
  EXPECT_EQ(valueOf(block, "a"), "1");
  // "} other" ends a file read, but a string read waits for "}" itself.
  EXPECT_EQ(valueOf(block, "b"), "2");
  EXPECT_EQ(valueOf(block, "c"), "<absent>");
  EXPECT_EQ(block.entries().size(), 2u);

  configb open;
  EXPECT_TRUE(open.fromString(Str("{\na 1")));
  EXPECT_EQ(valueOf(open, "a"), "1");
  configb nothing;
  EXPECT_TRUE(nothing.fromString(Str("{")));
  EXPECT_TRUE(nothing.isEmpty());
}

TEST(ConfigbText, CrLfLinesLoseTheirCarriageReturn)
{
  configb block;
  ASSERT_TRUE(block.fromString(Str("{\na:int 5\r\nb two words\r\n}")));
  EXPECT_EQ(valueOf(block, "a"), "5");
  EXPECT_EQ(valueOf(block, "b"), "two words");
}

TEST(ConfigbCopy, CopiesShareTheirStrings)
{
  configb block;
  block.set("k", "a value long enough to own a block");
  const configb copy(block);
  const ConfigEntryT& mine = block.find_var("k")->second;
  const ConfigEntryT& theirs = copy.find_var("k")->second;
  EXPECT_EQ(mine.value_.c_str(), theirs.value_.c_str());
  EXPECT_TRUE(copy.get_dirty());
}

TEST(ConfigbCopy, AssignmentKeepsDirtyAndOwner)
{
  CountingOwner owner;
  configb target(&owner);
  configb source;
  source.set_config_name("source");
  source.set_end_str("]");
  source.set("k", 1);
  source.set_dirty(true);
  target = source;
  EXPECT_FALSE(target.get_dirty());
  EXPECT_EQ(S(target.config_name()), "source");
  EXPECT_EQ(S(target.end_str()), "]");
  EXPECT_EQ(valueOf(target, "k"), "1");
  target.set("k", 2);
  EXPECT_EQ(owner.notified, 1);
}

TEST(ConfigbDump, WritesMatchingEntriesWithoutIndentation)
{
  configb block;
  block.set("ViewWidth", 3);
  block.set("viewHeight", "4");
  block.set("other", "5");
  const std::string path = freshDir("dump") + "out.txt";
  {
    std::ofstream out(path);
    block.dump(&out, "VIEW");
  }
  EXPECT_EQ(zrtest::readFile(path), "{\nviewHeight 4\nViewWidth:int 3\n}\n");
  {
    std::ofstream out(path);
    block.dump(&out, "");
  }
  EXPECT_EQ(zrtest::readFile(path), "{\nother 5\nviewHeight 4\nViewWidth:int 3\n}\n");
}

TEST(ConfigbDump, AnOverlongTypeIsReportedAndWrittenAllTheSame)
{
  configb block;
  block.set("k", "v", "abcdefghijklmnopqrstu");
  block.set("ok", "v", "abcdefghijklmnopqrst");
  const std::string path = freshDir("dumplong") + "out.txt";
  const std::string printed = captureStdout([&] {
    std::ofstream out(path);
    block.dump(&out, nullptr);
  });
  EXPECT_EQ(printed, "assertion failed (*iter).second.type_.size() <= 20 at misc/configb line 622\n");
  EXPECT_EQ(zrtest::readFile(path), "{\nk:abcdefghijklmnopqrstu v\nok:abcdefghijklmnopqrst v\n}\n");
}

TEST(ConfigbDump, ByPathReplacesTheFileAndReadsBack)
{
  configb block;
  block.set("a", 1);
  block.set("b", "text with blanks");
  const std::string path = freshDir("dumppath") + "block.dat";
  zrtest::writeFile(path, std::string(5000, 'x'));
  ASSERT_TRUE(block.dump(W(path)));
  configb back;
  EXPECT_EQ(back.readFromFile(W(path)), 0);
  EXPECT_EQ(S(back.asString()), S(block.asString()));
  EXPECT_FALSE(block.dump(W(freshDir("dumpmissing") + "no/such/folder/x.dat")));
}

} // namespace
