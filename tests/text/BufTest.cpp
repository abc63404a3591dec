#include <gtest/gtest.h>

#include <string>

#include "libOS/OS.h"
#include "libOS/iFileManager.h"
#include "BufferPictures.h"
#include "support/TestEnv.h"
#include "text/buf.h"

namespace {

constexpr unsigned int kFail = buf::kFail;
const char kSoft = static_cast<char>(0xB2);

using textpictures::contents;
using textpictures::withCursor;

void fill(buf& b, const char* s)
{
  ASSERT_EQ(strins(b, s), static_cast<int>(std::char_traits<char>::length(s)));
}

LightweightString<wchar_t> wide(const std::string& s)
{
  return LightweightString<wchar_t>(std::wstring(s.begin(), s.end()).c_str());
}

Zr::Ptr<iFile> openFile(const std::string& path, unsigned int access, iFile::eOpenBehaviour how)
{
  return OS()->fileManager()->open(wide(path), access, how, iFile::eShareNone);
}

TEST(Buf, SmallCapacityBecomesTwoAndAFullBufferRefusesInserts)
{
  buf b(0);
  EXPECT_EQ(b.getmax(), 2u);
  EXPECT_EQ(b.insert('a'), static_cast<unsigned int>('a'));
  EXPECT_EQ(b.insert('b'), static_cast<unsigned int>('b'));
  EXPECT_EQ(b.getfree(), 0u);
  EXPECT_EQ(b.insert('c'), kFail);
  EXPECT_EQ(contents(b), "ab");
}

TEST(Buf, CursorMovesCarryTheGapAcrossTheText)
{
  buf b(16);
  fill(b, "abcd");
  EXPECT_TRUE(b.atend());
  EXPECT_EQ(b.backpop(), static_cast<unsigned int>('d'));
  EXPECT_EQ(b.backpop(), static_cast<unsigned int>('c'));
  EXPECT_EQ(withCursor(b), "ab|cd");
  EXPECT_EQ(b.forlook(), static_cast<unsigned int>('c'));
  EXPECT_EQ(b.backlook(), static_cast<unsigned int>('b'));
  EXPECT_EQ(b.forlook(1), static_cast<unsigned int>('d'));
  EXPECT_EQ(b.forlook(2), kFail);
  EXPECT_EQ(b.backlook(1), static_cast<unsigned int>('a'));
  EXPECT_EQ(b.backlook(2), kFail);
  EXPECT_TRUE(b.nearend(2));
  EXPECT_FALSE(b.nearend(1));

  b.insert('X');
  EXPECT_EQ(withCursor(b), "abX|cd");
  b.tostart();
  EXPECT_EQ(b.backpop(), kFail);
  EXPECT_EQ(b.backlook(), kFail);
  b.insert('0');
  b.toend();
  EXPECT_EQ(b.forpop(), kFail);
  EXPECT_EQ(b.forlook(), kFail);
  b.insert('9');
  EXPECT_EQ(withCursor(b), "0abXcd9|");
  EXPECT_EQ(b.getused(), 7u);
  EXPECT_EQ(b.getfree(), 9u);
}

TEST(Buf, DeleteAndRubTakeTheBytesAfterAndBefore)
{
  buf b(16);
  fill(b, "hello");
  b.findindex(2);
  EXPECT_EQ(b.del(), static_cast<unsigned int>('l'));
  EXPECT_EQ(b.rub(), static_cast<unsigned int>('e'));
  EXPECT_EQ(withCursor(b), "h|lo");

  EXPECT_EQ(b.del(9u), kFail) << "the byte after the cursor: none once the rest is gone";
  EXPECT_EQ(withCursor(b), "h|");
  EXPECT_EQ(b.del(), kFail);
  EXPECT_EQ(b.del(0u), kFail);

  fill(b, "ey");
  b.findindex(1);
  EXPECT_EQ(b.rub(5u), static_cast<unsigned int>('e'));
  EXPECT_EQ(withCursor(b), "|ey");
  EXPECT_EQ(b.rub(1u), kFail);
}

TEST(Buf, SoftBreaksDoNotMarkTheTextChangedButARubAtTheStartDoes)
{
  buf b(8);
  b.insert(kSoft);
  EXPECT_EQ(b.getchanged(), 0);
  b.backpop();
  EXPECT_EQ(b.del(), 0xB2u);
  EXPECT_EQ(b.getchanged(), 0);
  EXPECT_EQ(b.rub(), kFail);
  EXPECT_EQ(b.getchanged(), 1);
}

TEST(Buf, OvertypeReplacesTheNextByteButAppendsAtTheEnd)
{
  buf b(8);
  fill(b, "abc");
  b.tostart();
  b.setovertype(1);
  b.insert('X');
  b.insert('Y');
  EXPECT_EQ(withCursor(b), "XY|c");
  b.insert('Z');
  b.insert('W');
  EXPECT_EQ(withCursor(b), "XYZW|");
}

TEST(Buf, FindIndexAndFindMarkReturnToAPlace)
{
  buf b(32);
  fill(b, "0123456789");
  b.findindex(4);
  char* mark = b.getmark();
  EXPECT_EQ(b.toindex(mark), 4u);
  EXPECT_EQ(b.topointer(4), mark);
  b.tostart();
  b.findmark(mark);
  EXPECT_EQ(withCursor(b), "0123|456789");
  b.findindex(999);
  EXPECT_TRUE(b.atend());
  b.findindex(0);
  EXPECT_TRUE(b.atstart());
}

TEST(Buf, ResizeKeepsTheTextUpToTheNewCapacity)
{
  buf b(8);
  fill(b, "abcdefgh");
  b.findindex(3);
  EXPECT_EQ(b.resize_buf(8), 0);
  EXPECT_EQ(b.resize_buf(20), 1);
  EXPECT_EQ(withCursor(b), "abcdefgh|");
  EXPECT_EQ(b.getmax(), 20u);
  EXPECT_EQ(b.getfree(), 12u);

  EXPECT_EQ(b.resize_buf(5), 1);
  EXPECT_EQ(withCursor(b), "abcde|");
  EXPECT_EQ(b.insert('x'), kFail);

  EXPECT_EQ(b.resize_buf(1), 1);
  EXPECT_EQ(b.getmax(), 2u);
  EXPECT_EQ(contents(b), "ab");
}

TEST(Buf, InsertingAnotherBufferPutsItsTextAfterTheCursor)
{
  buf from(16), to(16);
  fill(from, "xyz");
  fill(to, "ab");
  to.backpop();
  EXPECT_EQ(to.insert(&from, 0), 1);
  EXPECT_EQ(withCursor(to), "a|xyzb");
  EXPECT_TRUE(from.atstart());
  EXPECT_EQ(contents(from), "xyz");

  EXPECT_EQ(to.insert(&from, 2), 1);
  EXPECT_EQ(withCursor(to), "a|xyxyzb");

  buf tiny(4);
  EXPECT_EQ(tiny.insert(&to, 0), -1);
  EXPECT_EQ(contents(tiny), "");

  buf empty(4);
  tiny.setchange(0);
  EXPECT_EQ(tiny.insert(&empty, 0), 1);
  EXPECT_EQ(tiny.getchanged(), 1);
}

TEST(Buf, SetbytOverwritesTheByteAfterTheCursor)
{
  buf b(8);
  fill(b, "abc");
  b.findindex(1);
  b.setbyt('Q');
  EXPECT_EQ(withCursor(b), "a|Qc");
  b.toend();
  b.setbyt('R');
  EXPECT_EQ(contents(b), "aQc");
}

TEST(Buf, CopiesOfTheTextAreTerminatedAndBounded)
{
  buf b(32);
  fill(b, "first\nsecond");
  b.findindex(2);
  char line[32];
  EXPECT_EQ(b.linecopy(line), 3u);
  EXPECT_STREQ(line, "rst");

  char out[8];
  std::memset(out, '#', sizeof out);
  EXPECT_STREQ(strncpy(out, b, 5), "firs");
  EXPECT_EQ(out[5], '#');
  EXPECT_STREQ(strncpy(out, b, 1), "");
  char whole[32];
  EXPECT_STREQ(strcpy(whole, b), "first\nsecond");
  EXPECT_EQ(strins(b, nullptr), 0);
}

TEST(Buf, ReadDropsTheLastByteOfTheFile)
{
  const std::string dir = zrtest::makeTempDir("bufread");
  struct Case
  {
    std::string file;
    int result;
    std::string text;
  };
  const Case cases[] = {
    {"", -1, ""},
    {"x", -1, ""},
    {"ab", 1, "a"},
    {"hello\n", 5, "hello"},
  };
  for (const Case& c : cases) {
    zrtest::writeFile(dir + "f", c.file);
    buf b(32);
    fill(b, "<>");
    b.backpop();
    b.setchange(0);
    EXPECT_EQ(b.read(openFile(dir + "f", iFile::eRead, iFile::eOpenExisting), 0, 0), c.result) << c.file;
    EXPECT_EQ(withCursor(b), "<|" + c.text + ">") << c.file;
    EXPECT_EQ(b.getchanged(), c.result > 0 ? 1 : 0) << c.file;
  }
}

TEST(Buf, ReadStopsAtTheCountOrTheReserve)
{
  const std::string dir = zrtest::makeTempDir("bufcount");
  zrtest::writeFile(dir + "f", "0123456789");
  buf b(8);
  EXPECT_EQ(b.read(openFile(dir + "f", iFile::eRead, iFile::eOpenExisting), 4, 0), 3);
  EXPECT_EQ(contents(b), "012");
  buf c(8);
  EXPECT_EQ(c.read(openFile(dir + "f", iFile::eRead, iFile::eOpenExisting), 0, 3), 4);
  EXPECT_EQ(contents(c), "0123");
  buf full(2);
  fill(full, "ab");
  EXPECT_EQ(full.read(openFile(dir + "f", iFile::eRead, iFile::eOpenExisting), 0, 0), -1);
}

TEST(Buf, WriteSendsBothSidesOfTheGap)
{
  const std::string dir = zrtest::makeTempDir("bufwrite");
  buf b(16);
  fill(b, "abcdef");
  b.findindex(2);
  EXPECT_EQ(b.write(openFile(dir + "out", iFile::eWrite, iFile::eCreateAlways)), 1);
  EXPECT_EQ(zrtest::readFile(dir + "out"), "abcdef");

  buf empty(4);
  EXPECT_EQ(empty.write(openFile(dir + "none", iFile::eWrite, iFile::eCreateAlways)), -1);
  EXPECT_EQ(fputc('x', Zr::Ptr<iFile>()), -1);
}

} // namespace
