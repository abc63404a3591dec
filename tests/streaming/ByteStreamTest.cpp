#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "streaming/ByteStream.h"
#include "support/TestEnv.h"

namespace {

std::string text(const GrowString& g)
{
  return g.c_str() ? std::string(g.c_str(), g.length()) : std::string();
}

// Every character getChar gives until the end.
std::string chars(ByteStream& s)
{
  std::string out;
  for (int i = 0; i < 10000; ++i) {
    int c = s.getChar();
    if (s.eof()) return out;
    out.push_back(static_cast<char>(c));
  }
  return out + "<no end>";
}

std::vector<std::string> tokens(ByteStream& s)
{
  std::vector<std::string> out;
  for (int i = 0; i < 1000 && !s.eof(); ++i) {
    GrowString token;
    s >> token;
    out.push_back(text(token));
  }
  return out;
}

ByteStream& over(std::unique_ptr<ByteStream>& holder, const std::string& content)
{
  // Byte by byte, so that zero bytes stay in the text.
  GrowString g;
  if (!content.empty() && g.growTo(static_cast<unsigned int>(content.size())))
    std::memcpy(g.data(), content.data(), content.size());
  holder = std::make_unique<ByteStream>(g);
  return *holder;
}

TEST(ByteStream, CommentsAreStrippedOutsideStrings)
{
  struct Case
  {
    std::string in;
    std::string stripped;
  };
  const Case cases[] = {
    {"a/*x*/b", "ab"},
    {"a//x\nb", "a\nb"},
    {"\"a/*x*/b\"", "\"a/*x*/b\""},
    {"\"//\"c//d", "\"//\"c"},
    {"a/b", "a/b"},
    {"a/", "a/"},
    {"a/**/", "a"},
    {"a/*/b*/c", "ac"},
    {"a/*never closed", "a"},
    {"a//no newline", "a"},
    {"\"never closed /* x */", "\"never closed /* x */"},
    {"/*x*//*y*/z", "z"},
  };
  for (const Case& c : cases) {
    std::unique_ptr<ByteStream> holder;
    ByteStream& s = over(holder, c.in);
    s.init("", true);
    EXPECT_EQ(chars(s), c.stripped) << c.in;

    std::unique_ptr<ByteStream> plainHolder;
    ByteStream& plain = over(plainHolder, c.in);
    EXPECT_EQ(chars(plain), c.in) << "stripping off: " << c.in;
  }
}

TEST(ByteStream, AtTheEndGetCharRepeatsTheLastCharacterWithTheFlagSet)
{
  ByteStream s(LightweightString<char>("xy"));
  EXPECT_EQ(s.getChar(), 'x');
  EXPECT_EQ(s.getChar(), 'y');
  EXPECT_FALSE(s.eof());
  EXPECT_EQ(s.getChar(), 'y');
  EXPECT_TRUE(s.eof());
  ByteStream empty(LightweightString<char>(""));
  EXPECT_EQ(empty.getChar(), -1);
  EXPECT_TRUE(empty.eof());
}

TEST(ByteStream, TokensEndAtDelimitersAndTheEscapeTakesOneLiterally)
{
  struct Case
  {
    std::string in;
    const char* delimiters;
    char escape;
    std::vector<std::string> tokens;
  };
  const Case cases[] = {
    {"one two  three", " ", 0, {"one", "two", "three"}},
    {"a, b,c", ", ", 0, {"a", "b", "c"}},
    {"a\\ b c", " ", '\\', {"a b", "c"}},
    {"a\\\\b", " ", '\\', {"a\\b"}},
    {"trailing\\", " ", '\\', {"trailing"}},
    {" lead", " ", 0, {"", "lead"}},
    {std::string("ab\0cd", 5), " ", 0, {"ab", "cd"}},
    {"x /* note */ y", " ", 0, {"x", "/*", "note", "*/", "y"}},
  };
  for (const Case& c : cases) {
    std::unique_ptr<ByteStream> holder;
    ByteStream& s = over(holder, c.in);
    s.init(c.delimiters, false, c.escape);
    EXPECT_EQ(tokens(s), c.tokens) << c.in;
  }
}

TEST(ByteStream, TokenReadingStripsCommentsAndKeepsStringsWhole)
{
  ByteStream s(LightweightString<char>("x /* note */ y \"a b\" z"));
  s.init(" ", true);
  EXPECT_EQ(tokens(s), (std::vector<std::string>{"x", "y", "\"a", "b\"", "z"}));
  ByteStream q(LightweightString<char>("p \"q\" r"));
  q.init(" ", true);
  std::vector<std::string> got = tokens(q);
  EXPECT_EQ(got, (std::vector<std::string>{"p", "\"q\"", "r"})) << "a quote put back is read again as the same quote";
}

TEST(ByteStream, GetLineStopsAtNewlineOrZero)
{
  ByteStream s(LightweightString<char>("first\nsecond"));
  GrowString line;
  s.getLine(line);
  EXPECT_EQ(text(line), "first");
  GrowString rest;
  s.getLine(rest);
  EXPECT_EQ(text(rest), "second");
  EXPECT_TRUE(s.eof());
}

TEST(ByteStream, WritesWrapAtTheWidth)
{
  struct Case
  {
    int width;
    char lineEnd;
    std::string out;
  };
  const Case cases[] = {
    {0, 0, "abcdefgh"},
    {3, 0, "abc\ndef\ngh"},
    {3, '\\', "abc\\\ndef\\\ngh"},
    {1, 0, "a\nb\nc\nd\ne\nf\ng\nh"},
  };
  for (const Case& c : cases) {
    GrowString g;
    ByteStream s(g);
    s.init("", false, c.lineEnd, c.width);
    s << "abcdefgh";
    EXPECT_EQ(text(s.buffer()), c.out) << c.width;
  }
}

TEST(ByteStream, IntegersAndDoublesAreLittleEndian)
{
  GrowString g;
  ByteStream s(g);
  s << 2.5;
  s.write("\x01\x02\x03\x04\x05\x06\x07\x08", 8);
  EXPECT_EQ(s.written(), 16u);
  s.reset();
  double d = 0;
  s >> d;
  EXPECT_EQ(d, 2.5);
  unsigned short u16 = 0;
  unsigned int u32 = 0;
  unsigned short last = 0;
  s >> u16 >> u32 >> last;
  EXPECT_EQ(u16, 0x0201);
  EXPECT_EQ(u32, 0x06050403u);
  EXPECT_EQ(last, 0x0807);

  s.position(8);
  unsigned long u64 = 0;
  s >> u64;
  EXPECT_EQ(u64, 0x0807060504030201ul);
  EXPECT_FALSE(s.eof());

  s.position(14);
  u32 = 0xFFFFFFFF;
  s >> u32;
  EXPECT_EQ(u32, 0x0807u) << "bytes past the end read as 0";
  EXPECT_TRUE(s.eof());
}

TEST(ByteStream, UngetStepsBackButNotAfterTheEnd)
{
  ByteStream s(LightweightString<char>("ab"));
  EXPECT_FALSE(s.unget('z')) << "nothing before the first byte";
  EXPECT_EQ(s.getChar(), 'a');
  EXPECT_TRUE(s.unget('Q'));
  EXPECT_EQ(s.getChar(), 'Q');
  EXPECT_EQ(s.getChar(), 'b');
  s.getChar();
  ASSERT_TRUE(s.eof());
  EXPECT_FALSE(s.unget('b'));
  s.position(1);
  EXPECT_FALSE(s.eof());
  EXPECT_EQ(s.getChar(), 'b');
}

TEST(ByteStream, TakesOverItsTextThenOverwritesInsideAndGrowsPastIt)
{
  GrowString g("hello");
  ByteStream s(g);
  EXPECT_EQ(g.c_str(), nullptr);
  s.position(1);
  s << 'A';
  EXPECT_EQ(text(s.buffer()), "hAllo");
  s.position(7);
  s << 'Z';
  EXPECT_EQ(text(s.buffer()), "hAllo  Z");
}

TEST(ByteStream, FilesReadWriteSeekAndUnget)
{
  const std::string path = zrtest::makeTempDir("bytestream") + "f.txt";
  FILE* out = std::fopen(path.c_str(), "wb");
  ASSERT_NE(out, nullptr);
  {
    ByteStream s(out);
    s.init("", false, 0, 4);
    s << "abcdefgh";
    s.flush();
  }
  std::fclose(out);
  EXPECT_EQ(zrtest::readFile(path), "abcd\nefgh");

  FILE* in = std::fopen(path.c_str(), "rb");
  ASSERT_NE(in, nullptr);
  {
    ByteStream s(in);
    s.init("\n");
    EXPECT_EQ(tokens(s), (std::vector<std::string>{"abcd", "efgh"}));
    s.position(2);
    EXPECT_EQ(s.getChar(), 'c');
    EXPECT_TRUE(s.unget('c'));
    EXPECT_EQ(s.getChar(), 'c');
    GrowString line;
    s.getLine(line);
    EXPECT_EQ(text(line), "d");
  }
  std::fclose(in);
}

} // namespace
