#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "BufferPictures.h"
#include "support/TestEnv.h"
#include "text/text.h"

namespace {

constexpr unsigned int kFail = buf::kFail;
const std::string kSoft = "\xB2";

using textpictures::contents;
using textpictures::withCursor;

// Fills t from a picture whose '|' is the cursor.
void setUp(text& t, const std::string& picture)
{
  t.clear();
  std::string plain = picture;
  size_t cursor = plain.find('|');
  if (cursor != std::string::npos) plain.erase(cursor, 1);
  ASSERT_EQ(strins(t, plain.c_str()), static_cast<int>(plain.size()));
  t.findindex(cursor == std::string::npos ? 0 : static_cast<unsigned int>(cursor));
}

int linesBefore(const std::string& picture)
{
  int line = 1;
  for (char c : picture.substr(0, picture.find('|')))
    if (c == '\n' || c == '\xB2') ++line;
  return line;
}

LightweightString<wchar_t> wide(const std::string& s)
{
  return LightweightString<wchar_t>(std::wstring(s.begin(), s.end()).c_str());
}

struct Move
{
  const char* name;
  void (*apply)(text&);
  std::string before;
  std::string after;
};

// Runs each move on its picture and checks both the cursor and that the
// line counter agrees with a count of the breaks before it.
void runMoves(const std::vector<Move>& moves)
{
  for (const Move& m : moves) {
    text t(256);
    setUp(t, m.before);
    m.apply(t);
    EXPECT_EQ(withCursor(t), m.after) << m.name << " on " << m.before;
    EXPECT_EQ(t.getline(), linesBefore(m.after)) << m.name << " on " << m.before;
  }
}

TEST(Text, LineCounterFollowsTheCursorThroughHardAndSoftBreaks)
{
  text t(64);
  EXPECT_EQ(t.getline(), 1);
  strins(t, ("a\nb" + kSoft + "c\nd").c_str());
  EXPECT_EQ(t.getline(), 4);
  t.tostart();
  EXPECT_EQ(t.getline(), 1);
  t.findindex(4);
  EXPECT_EQ(t.getline(), 3);
  t.rub();
  EXPECT_EQ(withCursor(t), "a\n|c\nd") << "the soft break goes with the byte before it";
  EXPECT_EQ(t.getline(), 2);
  t.rub(2u);
  EXPECT_EQ(withCursor(t), "|c\nd");
  EXPECT_EQ(t.getline(), 1);
}

TEST(Text, DeleteTakesSoftBreaksAheadWithTheByte)
{
  text t(32);
  setUp(t, "a|" + kSoft + kSoft + "bc");
  EXPECT_EQ(t.del(), static_cast<unsigned int>('b'));
  EXPECT_EQ(withCursor(t), "a|c");
}

TEST(Text, InsertingABufferLeavesTheCursorAfterItWithTheLineCounted)
{
  text from(32), to(32);
  strins(from, "x\ny\n");
  setUp(to, "a|b");
  EXPECT_EQ(to.insert(&from, 0), 1);
  EXPECT_EQ(withCursor(to), "ax\ny\n|b");
  EXPECT_EQ(to.getline(), 3);
  EXPECT_EQ(from.getline(), 1);
}

TEST(Text, LineMoves)
{
  runMoves({
    {"findline 3", [](text& t) { t.findline(3); }, "|a\nb\nc\nd", "a\nb\n|c\nd"},
    {"findline 1", [](text& t) { t.findline(1); }, "a\nb\nc|c", "|a\nb\ncc"},
    {"findline past the end", [](text& t) { t.findline(9); }, "|a\nb\ncd", "a\nb\n|cd"},
    {"findline 0", [](text& t) { t.findline(0); }, "a\nbb|b", "a\n|bbb"},
    {"linefwd", [](text& t) { t.linefwd(); }, "ab|cd\nef", "abcd|\nef"},
    {"linefwd at the end of a line", [](text& t) { t.linefwd(); }, "abcd|\nef", "abcd|\nef"},
    {"linefwd on the last line", [](text& t) { t.linefwd(); }, "a\nb|cd", "a\nbcd|"},
    {"lineback", [](text& t) { t.lineback(); }, "ab\ncd|ef", "ab\n|cdef"},
    {"lineback from a line start", [](text& t) { t.lineback(); }, "ab\n|cd", "|ab\ncd"},
    {"lineback over a soft break", [](text& t) { t.lineback(); }, "ab" + kSoft + "|cd", "|ab" + kSoft + "cd"},
    {"crsup keeps the column", [](text& t) { t.crsup(); }, "abcd\nxy|z", "ab|cd\nxyz"},
    {"crsup clips to a short line", [](text& t) { t.crsup(); }, "ab\nxyzw|", "ab|\nxyzw"},
    {"crsup on the first line", [](text& t) { t.crsup(); }, "ab|c\nd", "ab|c\nd"},
    {"crsdown keeps the column", [](text& t) { t.crsdown(); }, "ab|cd\nxyz", "abcd\nxy|z"},
    {"crsdown clips to a short line", [](text& t) { t.crsdown(); }, "abc|d\nx\nyyyy", "abcd\nx|\nyyyy"},
    {"crsdown on the last line", [](text& t) { t.crsdown(); }, "ab\nc|d", "ab\nc|d"},
    {"crsdown into a soft line", [](text& t) { t.crsdown(); }, "a|b" + kSoft + "cd", "ab" + kSoft + "c|d"},
  });
}

TEST(Text, WordMoves)
{
  runMoves({
    {"wordfwd over a word and its blanks", [](text& t) { t.wordfwd(); }, "|hello  world", "hello  |world"},
    {"wordfwd from inside a word", [](text& t) { t.wordfwd(); }, "he|llo world", "hello |world"},
    {"wordfwd over punctuation into a word", [](text& t) { t.wordfwd(); }, "|...abc def", "...abc |def"},
    {"wordfwd stops after blanks past punctuation", [](text& t) { t.wordfwd(); }, "|.. abc", ".. |abc"},
    {"wordfwd from blanks", [](text& t) { t.wordfwd(); }, "|  abc", "  |abc"},
    {"wordfwd at the end", [](text& t) { t.wordfwd(); }, "abc|", "abc|"},
    {"wordfwd over a newline", [](text& t) { t.wordfwd(); }, "ab|\ncd", "ab\ncd|"},
    {"wordback inside a word", [](text& t) { t.wordback(); }, "hello wor|ld", "hello |world"},
    {"wordback over blanks to the word before", [](text& t) { t.wordback(); }, "hello  |world", "|hello  world"},
    {"wordback over punctuation stops after a word", [](text& t) { t.wordback(); }, "abc...|", "abc|..."},
    {"wordback over punctuation and blanks", [](text& t) { t.wordback(); }, "abc ...|", "|abc ..."},
    {"wordback over punctuation to the start", [](text& t) { t.wordback(); }, "...|", "|..."},
    {"wordback at the start", [](text& t) { t.wordback(); }, "|abc", "|abc"},
  });
}

TEST(Text, ParagraphMoves)
{
  runMoves({
    {"parafwd to the next paragraph", [](text& t) { t.parafwd(); }, "ab|c\ndef", "abc\n|def"},
    {"parafwd passes a soft break", [](text& t) { t.parafwd(); }, "a|b" + kSoft + "c\nd", "ab" + kSoft + "c\n|d"},
    {"parafwd on the last paragraph", [](text& t) { t.parafwd(); }, "a|bc", "abc|"},
    {"parafwd with a block stops before the break",
     [](text& t) {
       t.setblock(1);
       t.parafwd();
     },
     "ab|c\ndef", "abc|\ndef"},
    {"paraback to the paragraph start", [](text& t) { t.paraback(); }, "abc\nde|f", "abc\n|def"},
    {"paraback over trailing blanks", [](text& t) { t.paraback(); }, "abc\nde \t |", "abc\n|de \t "},
    {"paraback to the start of the text", [](text& t) { t.paraback(); }, "ab" + kSoft + "c|d", "|ab" + kSoft + "cd"},
  });
}

TEST(Text, DeletesByWordLineAndParagraph)
{
  runMoves({
    {"worddel", [](text& t) { t.worddel(); }, "ab|cd ef", "ab|ef"},
    {"wordrub", [](text& t) { t.wordrub(); }, "ab cd|ef", "ab |ef"},
    {"linedel keeps the newline", [](text& t) { t.linedel(); }, "ab|cd\nef", "ab|\nef"},
    {"linerub", [](text& t) { t.linerub(); }, "ab\ncd|ef", "ab\n|ef"},
    {"linerub at a line start", [](text& t) { t.linerub(); }, "ab\n|cd", "ab\n|cd"},
    {"linekill takes the line and its newline", [](text& t) { t.linekill(); }, "ab\ncd|ef\ngh", "ab\n|gh"},
    {"paradel keeps the break", [](text& t) { t.paradel(); }, "a|bc\nde", "a|\nde"},
    {"pararub takes the paragraph before", [](text& t) { t.pararub(); }, "ab\n|cd", "|\ncd"},
  });
  // A block deleted with copy fills the clipboard; a word delete leaves it be.
  text source(32);
  setUp(source, "|xyz");
  source.setblock(1);
  for (int i = 0; i < 3; ++i) source.forpop();
  source.noteblock();
  source.blockdel(1);
  ASSERT_STREQ(text::getclipboard(), "xyz");
  text t(32);
  setUp(t, "ab|cd ef");
  t.worddel();
  EXPECT_EQ(t.getblock(), 0) << "a word delete leaves no block behind";
  EXPECT_STREQ(text::getclipboard(), "xyz");
}

TEST(Text, ExchangeSwapsTheBytesAroundTheCursor)
{
  text t(16);
  setUp(t, "ab|c");
  t.setchange(0);
  EXPECT_EQ(t.exchange(), 0);
  EXPECT_EQ(withCursor(t), "ac|b");
  EXPECT_EQ(t.getchanged(), 1);
  setUp(t, "|ab");
  EXPECT_EQ(t.exchange(), -1);
  EXPECT_EQ(withCursor(t), "|ab");
}

TEST(Text, BlockRunsFromTheAnchorToTheCursorEitherWay)
{
  text t(64);
  setUp(t, "a\nb\nc|\nd");
  t.setblock(1);
  EXPECT_EQ(t.getblocksize(), 0u);
  EXPECT_EQ(t.getblockstartline(), 3);
  t.findindex(1);
  t.noteblock();
  EXPECT_EQ(t.toindex(t.getblockstart()), 1u);
  EXPECT_EQ(t.toindex(t.getblockend()), 5u);
  EXPECT_EQ(t.getblockstartline(), 1);
  EXPECT_EQ(t.getblockendline(), 3);
  t.findindex(7);
  t.noteblock();
  EXPECT_EQ(t.toindex(t.getblockstart()), 5u);
  EXPECT_EQ(t.toindex(t.getblockend()), 7u);
  EXPECT_EQ(t.getblockstartline(), 3);
  EXPECT_EQ(t.getblockendline(), 4);

  t.flipblock();
  EXPECT_EQ(t.getindex(), 5u);
  EXPECT_EQ(t.getline(), 3);
  EXPECT_EQ(t.getblocksize(), 2u);

  t.setblock(-1);
  EXPECT_EQ(t.getblock(), 0);
  EXPECT_EQ(t.getblockstart(), nullptr);
  t.setblock(-1);
  EXPECT_EQ(t.getblock(), 1);
}

TEST(Text, DeletingABlockFillsTheClipboardThatEveryTextShares)
{
  text source(64), target(64);
  setUp(source, "0123456789");
  source.findindex(7);
  source.setblock(1);
  source.findindex(2);
  source.noteblock();
  EXPECT_EQ(source.del(), 0u) << "with a block, del removes the block";
  EXPECT_EQ(withCursor(source), "01|789");
  EXPECT_EQ(source.getblock(), 0);
  ASSERT_NE(text::getclipboard(), nullptr);
  EXPECT_STREQ(text::getclipboard(), "23456");

  setUp(target, "<|>");
  target.setchange(0);
  EXPECT_EQ(target.paste(), 5);
  EXPECT_EQ(withCursor(target), "<23456|>");
  EXPECT_EQ(target.getchanged(), 1);

  text tiny(3);
  EXPECT_EQ(tiny.paste(), 3) << "a paste stops where the text is full";
  EXPECT_EQ(contents(tiny), "234");

  source.setblock(1);
  source.forpop();
  source.noteblock();
  EXPECT_EQ(source.blockdel(0), 1);
  EXPECT_STREQ(text::getclipboard(), "23456") << "a delete without copy keeps the clipboard";
  EXPECT_EQ(source.blockdel(1), 0);
}

TEST(Text, LineCountIsCachedUntilAChange)
{
  text t(64);
  EXPECT_EQ(t.getnumlines(false), 0);
  setUp(t, "a\nb|\nc");
  EXPECT_EQ(t.getnumlines(false), 3);
  EXPECT_EQ(withCursor(t), "a\nb|\nc") << "counting puts the cursor back";
  EXPECT_EQ(t.getline(), 2);
  t.insert('\n');
  EXPECT_EQ(t.getnumlines(true), 4);
  t.rub();
  EXPECT_EQ(t.getnumlines(false), 3);
}

TEST(Text, BigTextsEstimateTheirLinesAndKeepTheFigureNearby)
{
  // 200 short lines, then long ones: an estimate from the top is far too high,
  // one made down in the long lines far lower.
  std::string body;
  for (int i = 0; i < 200; ++i) body += "123456789\n";
  for (int i = 0; i < 60; ++i) body += std::string(999, 'x') + "\n";
  text t(70000);
  ASSERT_EQ(strins(t, body.c_str()), static_cast<int>(body.size()));
  t.tostart();
  t.setchange(1);

  const int fromTop = t.getnumlines(true);
  EXPECT_EQ(fromTop, static_cast<int>(body.size() / (590 / 60)));
  EXPECT_TRUE(t.atstart());
  EXPECT_EQ(t.getline(), 1);
  EXPECT_EQ(t.getnumlines(false), fromTop) << "a known count is given at once";

  t.findline(85);
  EXPECT_EQ(t.getnumlines(true), fromTop) << "25 lines past the estimate";
  t.findline(230);
  const int lower = t.getnumlines(true);
  EXPECT_EQ(lower, static_cast<int>(body.size() / ((2000 + 29 * 1000) / 230)));
  EXPECT_EQ(t.getline(), 230);
  t.findline(1);
  EXPECT_EQ(t.getnumlines(true), lower);

  t.setchange(1);
  EXPECT_EQ(t.getnumlines(false), 261) << "260 lines and the empty one after the last newline";
}

TEST(Text, ClearForgetsEverything)
{
  text t(32);
  setUp(t, "ab\n|cd");
  t.setblock(1);
  t.setfilename(wide("name.txt"));
  t.clear();
  EXPECT_EQ(withCursor(t), "|");
  EXPECT_EQ(t.getline(), 1);
  EXPECT_EQ(t.getblock(), 0);
  EXPECT_EQ(t.getfilename().size(), 0u);
  EXPECT_EQ(t.getnumlines(false), 0);
}

TEST(Text, ResizingAwayTheEndKeepsTheLineCounterTrue)
{
  text t(32);
  setUp(t, "|a\nb\nc\nd");
  EXPECT_EQ(t.resize_buf(3), 1);
  EXPECT_EQ(withCursor(t), "a\nb|");
  EXPECT_EQ(t.getline(), 2);
  EXPECT_EQ(t.getnumlines(false), 2);
}

TEST(Text, SaveAndLoadRoundTripThroughAFile)
{
  const std::string dir = zrtest::makeTempDir("textfiles");
  text t(64);
  setUp(t, "one\ntw|o\n");
  ASSERT_EQ(t.save(wide(dir + "a.txt")), 1);
  EXPECT_EQ(t.getchanged(), 0);
  EXPECT_EQ(zrtest::readFile(dir + "a.txt"), "one\ntwo\n");

  text back(64);
  strins(back, "old");
  ASSERT_EQ(back.load(wide(dir + "a.txt")), 1);
  EXPECT_EQ(withCursor(back), "|one\ntwo") << "the closing byte of the file is dropped";
  EXPECT_EQ(back.getchanged(), 0);
  EXPECT_EQ(back.getline(), 1);
  EXPECT_EQ(back.getnumlines(false), 2);
  EXPECT_TRUE(back.getfilename() == wide(dir + "a.txt"));

  zrtest::writeFile(dir + "one.txt", "x");
  EXPECT_EQ(back.load(wide(dir + "one.txt")), -1);
  EXPECT_EQ(back.load(wide(dir + "missing.txt")), -1);
  EXPECT_EQ(back.getfilename().size(), 0u);
  EXPECT_EQ(back.save(wide(dir + "no/such/folder/x.txt")), -1);
}

TEST(Text, MergeReadsAtTheCursorAndLeavesTenBytesFree)
{
  const std::string dir = zrtest::makeTempDir("textmerge");
  zrtest::writeFile(dir + "m.txt", "abcdef");
  text t(16);
  setUp(t, "X|Y");
  EXPECT_EQ(t.merge(wide(dir + "m.txt")), 1);
  EXPECT_EQ(withCursor(t), "X|abcY");
  EXPECT_EQ(t.getchanged(), 1);
}

} // namespace
