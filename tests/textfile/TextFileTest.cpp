// TextFile: how bytes on disk become lines and back, and the line operations.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "files/TextFile.h"
#include "libzr/Strings.h"
#include "support/TestEnv.h"

namespace {

using Line = LightweightString<char>;
using Lines = std::vector<std::string>;

std::string dir()
{
  static const std::string d = zrtest::makeTempDir("textfile");
  return d;
}

LightweightString<wchar_t> wide(const std::string& path)
{
  return fromUTF8(Line(path.c_str()));
}

Lines lines(const TextFile& file)
{
  Lines out;
  for (unsigned int k = 0; k < file.size(); ++k) out.emplace_back(file[k].c_str(), file[k].size());
  return out;
}

// The lines of a file holding these bytes.
Lines loaded(const std::string& bytes)
{
  const std::string path = dir() + "in.txt";
  zrtest::writeFile(path, bytes);
  TextFile file;
  EXPECT_TRUE(file.load(wide(path)));
  return lines(file);
}

template <class F> std::string printed(F f)
{
  testing::internal::CaptureStdout();
  f();
  return testing::internal::GetCapturedStdout();
}

TEST(TextFileLoad, SplitsAtEveryLineEndAndSkipsTheByteOrderMark)
{
  struct Case
  {
    std::string bytes;
    Lines lines;
  };
  const std::string bom = "\xEF\xBB\xBF";
  const Case cases[] = {
      {"a\r\nb\n", {"a", "b"}},
      {"a\rb\n\rc\r\rd", {"a", "b", "c", "", "d"}},
      {bom, {}},
      {bom + "x\ny", {"x", "y"}},
      {"\xEF\xBBz", {"\xEF\xBBz"}},
      {"x\n" + bom, {"x", bom}},
      {std::string("n\0l\n\0", 5), {std::string("n\0l", 3), std::string("\0", 1)}},
      {"", {}},
      {"\n\n", {"", ""}},
  };
  for (const Case& c : cases) EXPECT_EQ(loaded(c.bytes), c.lines) << "bytes: " << c.bytes;
}

TEST(TextFileLoad, AppendsToTheLinesHeldAndUsesTheStoredName)
{
  const std::string path = dir() + "twice.txt";
  zrtest::writeFile(path, "1\n2");
  TextFile file(wide(path), true);
  EXPECT_EQ(lines(file), (Lines{"1", "2"}));
  EXPECT_TRUE(file.load());
  EXPECT_EQ(lines(file), (Lines{"1", "2", "1", "2"}));
  EXPECT_TRUE(file.load(LightweightString<wchar_t>(), 10, false));
  EXPECT_EQ(lines(file), (Lines{"1", "2"}));

  TextFile narrow(Line(path.c_str()), true);
  EXPECT_EQ(narrow.size(), 2u);
}

TEST(TextFileLoad, FailureLeavesTheLinesAsTheyWere)
{
  TextFile file;
  file.appendLine("kept");
  EXPECT_FALSE(file.load(wide(dir() + "absent.txt")));
  EXPECT_FALSE(file.load(wide(dir())));
  EXPECT_EQ(lines(file), (Lines{"kept"}));
  EXPECT_EQ(file.name(), wide(dir()));

  TextFile missing(wide(dir() + "absent.txt"), true);
  EXPECT_EQ(missing.size(), 0u);
  TextFile unnamed;
  EXPECT_FALSE(unnamed.load());
  EXPECT_FALSE(unnamed.save());
}

TEST(TextFileSave, WritesTheStyleBetweenLinesAndNoneAtTheEnd)
{
  const std::string path = dir() + "out.txt";
  TextFile file;
  file.appendLine("a");
  file.appendLine("");
  file.appendLine("b");
  ASSERT_TRUE(file.save(wide(path), TextFile::eCRLF));
  EXPECT_EQ(zrtest::readFile(path), "a\r\n\r\nb");
  ASSERT_TRUE(file.save());
  EXPECT_EQ(zrtest::readFile(path), "a\n\nb");
  ASSERT_TRUE(file.save(LightweightString<wchar_t>(), TextFile::eEOLStyle(7)));
  EXPECT_EQ(zrtest::readFile(path), "a\n\nb");

  TextFile empty;
  ASSERT_TRUE(empty.save(wide(path)));
  EXPECT_EQ(zrtest::readFile(path), "");
  EXPECT_FALSE(empty.save(wide(dir() + "no/such/folder.txt")));
}

TEST(TextFileSave, LinesLongerThanTheBufferAndManyLinesRoundTrip)
{
  const std::string path = dir() + "big.txt";
  TextFile file;
  std::string expected;
  const std::string longLine(TextFile::kWriteBufferSize * 2 + 5, 'x');
  file.appendLine(Line(longLine.c_str()));
  expected = longLine;
  for (int k = 0; k < 5000; ++k) {
    const std::string text = "line " + std::to_string(k) + std::string(std::size_t(k % 17), '.');
    file.appendLine(Line(text.c_str()));
    expected += "\r\n" + text;
  }
  file.appendLine(Line(std::string("with\0zero", 9).data(), 9));
  expected += std::string("\r\nwith\0zero", 11);
  ASSERT_TRUE(file.save(wide(path), TextFile::eCRLF));
  EXPECT_EQ(zrtest::readFile(path), expected);

  TextFile back(wide(path), true);
  EXPECT_EQ(lines(back), lines(file));
}

TEST(TextFile, ByteOrderMarkNeedsAllThreeBytes)
{
  EXPECT_EQ(TextFile::getBOMLength("\xEF\xBB\xBF", 3), 3u);
  EXPECT_EQ(TextFile::getBOMLength("\xEF\xBB\xBFmore", 7), 3u);
  EXPECT_EQ(TextFile::getBOMLength("\xEF\xBB\xBF", 2), 0u);
  EXPECT_EQ(TextFile::getBOMLength("\xEF\xBB\xBE", 3), 0u);
  EXPECT_EQ(TextFile::getBOMLength(nullptr, 3), 0u);
}

TEST(TextFile, FindSkipsEmptyLinesAndGivesAllOnesWhenNothingMatches)
{
  TextFile file;
  for (const char* t : {"alpha", "", "beta gamma", "gamma"}) file.appendLine(t);
  file.appendLine(Line(std::string("nul\0inside", 10).data(), 10));
  struct Case
  {
    const char* text;
    unsigned int from;
    unsigned int line;
  };
  const Case cases[] = {
      {"", 0, 0},
      {"", 1, 2},
      {"gamma", 0, 2},
      {"gamma", 3, 3},
      {"inside", 0, 4},
      {"delta", 0, 0xFFFFFFFFu},
      {"alpha", 1, 0xFFFFFFFFu},
      {"", 5, 0xFFFFFFFFu},
      {"", 99, 0xFFFFFFFFu},
  };
  for (const Case& c : cases) EXPECT_EQ(file.find(c.text, c.from), c.line) << c.text << " from " << c.from;
}

TEST(TextFile, LineOperationsAndTheirBounds)
{
  TextFile file;
  file.appendLine("one");
  Vector<Line> more{"two", "three"};
  file.appendLines(more);
  EXPECT_EQ(printed([&] { EXPECT_EQ(file[7], ""); }), "");
  EXPECT_EQ(printed([&] { file.changeLine(3, "x"); }), "assertion failed i < size_ at Zr/Vector line 61\n");
  EXPECT_EQ(file.size(), 3u);
  file.changeLine(1, "TWO");
  file.removeLine(0);
  file.removeLine(9);
  EXPECT_EQ(lines(file), (Lines{"TWO", "three"}));

  TextFile copy(wide(dir() + "named.txt"), false);
  copy.appendLine("old");
  copy.copyFrom(file);
  EXPECT_EQ(lines(copy), (Lines{"TWO", "three"}));
  EXPECT_EQ(copy.name(), wide(dir() + "named.txt"));
  copy.clear();
  EXPECT_EQ(copy.size(), 0u);
}

} // namespace
