// The settings block in memory: the line split, set and in, the end test, the
// text form, dump, copies, the owner's notification, and the older writer.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "SettingsTestSupport.h"
#include "core/Dirtiable.h"
#include "core/config_outb.h"
#include "core/configb.h"
#include "files/TextFile.h"
#include "identity/Cookie.h"

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

TEST(Tokenise, SplitsNameTypeAndValue)
{
  struct Case
  {
    const char *line, *name, *type, *value;
  };
  const Case cases[] = {
      {"  width:int   12  ", "width", "int", "12"},
      {"path C:\\tmp\\x", "path", "", "C:\\tmp\\x"},
      {"flag:bool", "flag", "bool", ""},
      {"title  two  inner  blanks\t\r", "title", "", "two  inner  blanks"},
      {"a:b:c v", "a", "b:c", "v"},
      {"key value # not a comment", "key", "", "value # not a comment"},
      {"name: value", "name", "", "value"},
      {":int 5", "", "int", "5"},
      // 0xA0 is a space in Latin-1 locales, but not to the name scan.
      {"\xA0name\xA0 v\xA0", "\xA0name\xA0", "", "v\xA0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    const std::string line = c.line;
    int ns, ne, vs, ve, ts, te;
    ASSERT_EQ(tokenise(c.line, &ns, &ne, &vs, &ve, &ts, &te), 1);
    EXPECT_EQ(line.substr(ns, ne - ns), c.name);
    EXPECT_EQ(ts < te ? line.substr(ts, te - ts) : "", c.type);
    EXPECT_EQ(ve > vs ? line.substr(vs, ve - vs) : "", c.value);
  }
  int ns, ne, vs, ve, ts, te;
  for (const char* line : {"", "   ", "\t\r", "#comment", "   # indented comment", "#"})
    EXPECT_EQ(tokenise(line, &ns, &ne, &vs, &ve, &ts, &te), 0) << line;
}

TEST(ConfigbSet, AnExistingEntryKeepsItsTypeAndFirstSpelling)
{
  configb block;
  block.set("a", 1);
  block.set("a", 2.5);
  block.set("a", "7", "");
  EXPECT_EQ(valueOf(block, "a"), "1");
  // Untyped text replaces the value all the same.
  block.set("A", "text");
  EXPECT_EQ(valueOf(block, "a"), "text");
  EXPECT_EQ(typeOf(block, "a"), "int");
  ASSERT_EQ(block.entries().size(), 1u);
  EXPECT_EQ(S(block.entries().begin()->first), "a");
}

TEST(ConfigbSet, OnlyARealChangeMakesTheBlockDirtyAndTellsTheOwner)
{
  CountingOwner owner;
  configb block(&owner);
  block.set("a", "x");
  EXPECT_TRUE(block.get_dirty());
  block.set_dirty(false);
  block.set("A", "x");
  block.set("a", nullptr, nullptr);
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
  EXPECT_EQ(owner.notified, 3);
}

TEST(ConfigbSet, TypedSetsWriteTheirTextForms)
{
  configb block;
  block.set("i", -42);
  block.set("d", 2.5);
  block.set("b", true);
  block.set("s", Str("plain"));
  EXPECT_EQ(S(block.asString()), "{\n  b:bool true\n  d:double 2.50000000\n  i:int -42\n  s plain\n}");
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
  EXPECT_EQ(block.in("bad", back), 0);
  EXPECT_FALSE(back.valid());
}

TEST(ConfigbIn, IntReadsDigitsSignsAndBoolWords)
{
  const configb block = blockFrom("{\n a 12\n b -3\n c true\n d false\n e abc\n f 0x10\n g\n}");
  struct Case
  {
    const char* name;
    int result, value;
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
  for (std::string line : {"}", "}endb trailing words"}) EXPECT_EQ(block.parseLine(line.data()), 1) << line;
  for (std::string line : {"}x 1", "   # indented comment"})
    EXPECT_EQ(block.parseLine(line.data()), 0) << line;
  EXPECT_EQ(block.entries().size(), 1u);
  EXPECT_EQ(valueOf(block, "}x"), "1");
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
  // "} other" ends a file read, but a string read waits for "}" itself.
  const configb block = blockFrom("{\n\n\na 1\r\n# note\n   # indented\n} other\nb two words\r\n}\nc 3\n");
  EXPECT_EQ(S(block.asString()), "{\n  a 1\n  b two words\n}");
  EXPECT_EQ(valueOf(blockFrom("{\na 1"), "a"), "1");
  EXPECT_TRUE(blockFrom("{").isEmpty());
}

TEST(ConfigbText, TextFileLinesRoundTripWithIndentAndIndex)
{
  configb block;
  block.set("zeta", 3);
  block.set("name", "two words");
  TextFile file;
  file.appendLine(Str("before"));
  block.writeTo(file, 4);
  file.appendLine(Str("after"));
  const char* expected[] = {"before", "    {", "      name two words", "      zeta:int 3", "    }", "after"};
  ASSERT_EQ(file.size(), 6u);
  for (unsigned int i = 0; i < 6; ++i) EXPECT_EQ(S(file[i]), expected[i]);

  // Indented lines are not the block's own "{" and "}": only exact ones are.
  unsigned int index = 1;
  configb back;
  EXPECT_FALSE(back.buildFrom(file, index));
  EXPECT_EQ(index, 1u);
  TextFile plain;
  for (const char* line : {"x", "{", "  name two words", "# note", "", "  zeta:int 3", "}", "tail"})
    plain.appendLine(Str(line));
  index = 1;
  ASSERT_TRUE(back.buildFrom(plain, index));
  EXPECT_EQ(index, 7u);
  EXPECT_EQ(S(back.asString()), S(block.asString()));

  plain.removeLine(6);
  configb open;
  index = 1;
  ASSERT_TRUE(open.buildFrom(plain, index));
  EXPECT_EQ(index, plain.size() + 1) << "no end line: one past the line count";
  EXPECT_FALSE(open.buildFrom(plain)) << "line 0 is not \"{\"";
  EXPECT_FALSE(open.buildFrom(plain, index = 99));
}

TEST(ConfigbCopy, CopiesShareTheirStringsAndAssignmentKeepsDirtyAndOwner)
{
  CountingOwner owner;
  configb source;
  source.set_config_name("source");
  source.set_end_str("]");
  source.set("k", "a value long enough to own a block");
  const configb copy(source);
  EXPECT_EQ(source.find_var("k")->second.value_.c_str(), copy.find_var("k")->second.value_.c_str());
  EXPECT_TRUE(copy.get_dirty());

  configb target(&owner);
  target = source;
  EXPECT_FALSE(target.get_dirty());
  EXPECT_EQ(S(target.config_name()), "source");
  EXPECT_EQ(S(target.end_str()), "]");
  EXPECT_EQ(S(target.asString()), S(source.asString()));
  target.set("k", "changed");
  EXPECT_EQ(owner.notified, 1);
}

TEST(ConfigbDump, WritesMatchingEntriesWithoutIndentation)
{
  configb block;
  block.set("ViewWidth", 3);
  block.set("viewHeight", "4");
  block.set("other", "5");
  const std::string path = fileWith("");
  for (const char* prefix : {"VIEW", ""}) {
    std::ofstream out(path);
    block.dump(&out, prefix);
    out.close();
    EXPECT_EQ(zrtest::readFile(path),
              std::string("{\n") + (*prefix ? "" : "other 5\n") + "viewHeight 4\nViewWidth:int 3\n}\n");
  }
}

TEST(ConfigbDump, AnOverlongTypeIsReportedAndWrittenAllTheSame)
{
  configb block;
  block.set("k", "v", "abcdefghijklmnopqrstu");
  block.set("ok", "v", "abcdefghijklmnopqrst");
  const std::string path = fileWith("");
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
  const std::string path = fileWith(std::string(5000, 'x'));
  ASSERT_TRUE(block.dump(W(path)));
  configb back;
  EXPECT_EQ(back.readFromFile(W(path)), 0);
  EXPECT_EQ(S(back.asString()), S(block.asString()));
  EXPECT_FALSE(block.dump(W(path + "/no/such/folder/x.dat")));
}

// Restores the class-wide depth whatever the test does.
struct Depth
{
  explicit Depth(int depth) { config_outb::depth_ = depth; }
  ~Depth() { config_outb::depth_ = 0; }
};

TEST(ConfigOutb, WritesNamedLinesThatReadBackAsABlock)
{
  const std::string path = fileWith("");
  {
    std::ofstream out(path);
    config_outb block(&out, "view");
    block.out("title", "two words");
    block.out("count", -3);
    block.out("size", 4000000000u);
    block.out("ratio", 0.125);
    block.out("on", true);
    bool off = false;
    block.out("off", off);
    block.out("clip", Cookie(CookieTypeV, 1, 5, 17));
  }
  const std::string clip = S(Cookie(CookieTypeV, 1, 5, 17).asString(false));
  EXPECT_EQ(zrtest::readFile(path), "{ view\n  title two words\n  count -3\n  size 4000000000\n"
                                    "  ratio 0.12500000\n  on true\n  off false\n  clip " +
                                        clip + "\n} view\n");
  const configb block(path.c_str());
  EXPECT_EQ(S(block.asString()), "{\n  clip " + clip +
                                     "\n  count -3\n  off false\n  on true\n  ratio 0.12500000\n"
                                     "  size 4000000000\n  title two words\n}");
}

TEST(ConfigOutb, DepthIndentsEveryLine)
{
  Depth depth(2);
  const std::string path = fileWith("");
  {
    std::ofstream out(path);
    config_outb block(&out, "inner");
    block.out("k", 1);
  }
  EXPECT_EQ(zrtest::readFile(path), "    { inner\n      k 1\n    } inner\n");
  config_outb::depth_ = 15;
  EXPECT_EQ(std::string(config_outb::get_prefix_string()), std::string(30, ' '));
  // Out-of-range depths use the nearest prefix rather than reading past the table.
  config_outb::depth_ = 99;
  EXPECT_EQ(std::string(config_outb::get_prefix_string()), std::string(30, ' '));
  config_outb::depth_ = -1;
  EXPECT_STREQ(config_outb::get_prefix_string(), "");
}

} // namespace
