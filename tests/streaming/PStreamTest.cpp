#include "streaming/PStream.h"
#include "StreamTestSupport.h"
#include "core/configb.h"

namespace {

using namespace streamtest;

TEST(PStreamLayout, EveryValueFormIsLittleEndianInItsWidth)
{
  const Bytes bytes = written([](PStream& s) {
    s << 'A' << (unsigned char)0xFE << true << short(-2) << (unsigned short)0xBEEF << -3 << 0xDEADBEEFu << -4L
      << 0x0102030405060708ull << 1.5f << -2.25;
  });
  Bytes expected = {'A', 0xFE, 1, 0xFE, 0xFF, 0xEF, 0xBE, 0xFD, 0xFF, 0xFF, 0xFF, 0xEF, 0xBE, 0xAD, 0xDE};
  expected.insert(expected.end(), {0xFC, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
  expected.insert(expected.end(), {8, 7, 6, 5, 4, 3, 2, 1});
  expected.insert(expected.end(), {0x00, 0x00, 0xC0, 0x3F});                         // 1.5f
  expected.insert(expected.end(), {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0xC0}); // -2.25
  EXPECT_EQ(bytes, expected);
}

TEST(PStreamLayout, TextsAndTheThreeWriteBinaryForms)
{
  const Bytes bytes = written([](PStream& s) {
    s << "hi" << LightweightString<char>() << static_cast<const char*>(nullptr);
    s.writeBinary(static_cast<const unsigned char*>(nullptr), 0, false, false);
    s.writeBinary("abc", 2, true, false);
    s.writeBinary("xyz", 0, true, false); // no length: strlen
    s.writeBinary("raw", 3, true, true);
    s.writeBinary("bare", 0, false, true);
    s << LightweightString<char>("a\0b", 3);
  });
  const Bytes expected = {'h', 'i', 0,   0,   0,   0,   2,   0,   0,   0,   'a', 'b', 3, 0,   0,
                          0,   'x', 'y', 'z', 'r', 'a', 'w', 'b', 'a', 'r', 'e', 'a', 0, 'b', 0};
  EXPECT_EQ(bytes, expected);
}

// Writes value, reads it back over back, and expects the same value with
// every byte consumed.
template <class T> void expectReadsBack(const T& value, T back = T())
{
  Reader r(written([&](PStream& s) { s << value; }));
  r.stream >> back;
  EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();
  EXPECT_EQ(back, value);
  EXPECT_TRUE(r.stream.eof());
}

TEST(PStreamRead, EveryValueFormReadsBack)
{
  expectReadsBack('q');
  expectReadsBack<signed char>(-5);
  expectReadsBack(false, true);
  expectReadsBack<short>(-300);
  expectReadsBack<unsigned short>(65000);
  expectReadsBack(-70000);
  expectReadsBack(4000000000u);
  expectReadsBack(-5000000000L);
  expectReadsBack(6000000000UL);
  expectReadsBack(-7LL);
  expectReadsBack(8ULL);
  expectReadsBack(0.25f);
  expectReadsBack(1e300);
  expectReadsBack(LightweightString<char>("text"));
  expectReadsBack(LightweightString<char>(), LightweightString<char>("x"));

  Reader r(written([](PStream& s) { s.writeBinary("cnt", 3, true, false); }));
  LightweightString<char> counted;
  EXPECT_TRUE(r.stream.readCounted(counted));
  EXPECT_EQ(counted, "cnt");
  EXPECT_TRUE(r.stream.eof());
}

TEST(PStreamRead, PastTheEndGivesZeroFlagsAndStays)
{
  Reader r({1, 2, 3});
  EXPECT_EQ(r.stream.format(), 1u);
  int value = 99;
  r.stream >> value;
  EXPECT_EQ(value, 0);
  EXPECT_STREQ(r.stream.errorText(), "Unexpected EOF.");
  EXPECT_EQ(r.stream.position(), 0u) << "a short value is not consumed";

  unsigned short two = 0;
  r.stream >> two;
  EXPECT_EQ(two, 0x0201) << "reads go on after an error";
  double d = 5;
  r.stream >> d;
  EXPECT_EQ(d, 0.0);
  EXPECT_STREQ(r.stream.errorText(), "Unexpected EOF.Unexpected EOF.");

  r.stream.clearError();
  EXPECT_FALSE(r.stream.hasError());
  LightweightString<char> text("keep");
  r.stream >> text;
  EXPECT_TRUE(text.empty()) << "a text with no zero is not taken";
  EXPECT_TRUE(r.stream.hasError());
  EXPECT_EQ(r.stream.position(), 2u);
}

TEST(PStreamRead, CountedBytesLongerThanTheDataFail)
{
  Bytes bytes;
  appendRaw<std::uint32_t>(bytes, 1000);
  bytes.insert(bytes.end(), {'a', 'b'});
  Reader r(bytes);
  LightweightString<char> out("x");
  EXPECT_FALSE(r.stream.readCounted(out));
  EXPECT_TRUE(out.empty());
  EXPECT_TRUE(r.stream.hasError());
  EXPECT_EQ(r.stream.position(), 0u);
}

TEST(PStreamRead, ReadsBeyondTheFirstCachedPartBringItIn)
{
  // A text that straddles the end of the first read, and an int after it.
  const std::string path = zrtest::makeTempDir("psbig") + "big.bin";
  std::string content(StreamFile::kFirstRead - 3, 'p');
  content += "abcdef";
  content.push_back(0);
  content += std::string("\x2A\0\0\0", 4);
  zrtest::writeFile(path, content);
  StreamFile file;
  ASSERT_TRUE(file.create(wide(path), iFile::eOpenExisting));
  ASSERT_EQ(file.cacheSize(), StreamFile::kFirstRead);
  PStream s(&file);
  s.position(StreamFile::kFirstRead - 6);
  LightweightString<char> text;
  int value = 0;
  s >> text >> value;
  EXPECT_FALSE(s.hasError()) << s.errorText();
  EXPECT_EQ(text, "pppabcdef");
  EXPECT_EQ(value, 42);
  EXPECT_TRUE(s.eof());
}

TEST(PStreamErrors, NoFileOrAClosedFileFlagsWrites)
{
  PStream none(nullptr);
  none << 5;
  EXPECT_TRUE(none.hasError());
  int value = 3;
  none.clearError();
  none >> value;
  EXPECT_EQ(value, 0);
  EXPECT_STREQ(none.errorText(), "Unexpected EOF.");
  EXPECT_TRUE(none.eof());

  StreamFile closed;
  PStream s(&closed);
  s << "text";
  EXPECT_TRUE(s.hasError()) << "the bytes of a text need an open file";
}

TEST(PStreamErrors, SkipNeedsTheBytes)
{
  Reader r({1, 2, 3, 4});
  EXPECT_TRUE(r.stream.skip(3));
  EXPECT_FALSE(r.stream.skip(2));
  EXPECT_EQ(r.stream.position(), 3u);
  EXPECT_TRUE(r.stream.hasError());
}

// configb's packed form.

Bytes packedBlock(const configb& block)
{
  return written([&](PStream& s) { block.pack(s); });
}

TEST(ConfigbPack, CountThenNameValueTypeInTableOrder)
{
  configb block;
  block.set("width", 12);
  block.set("Alpha", "x y");
  block.set("flag", true);
  Bytes expected;
  appendRaw<std::uint32_t>(expected, 3);
  for (const char* text : {"Alpha", "x y", "", "flag", "true", "bool", "width", "12", "int"})
    appendText(expected, text);
  EXPECT_EQ(packedBlock(block), expected);

  Bytes none;
  appendRaw<std::uint32_t>(none, 0);
  EXPECT_EQ(packedBlock(configb()), none);
}

TEST(ConfigbPack, ReadsBackAfterAVersionByteAndEndsClean)
{
  configb block;
  block.set("name", "value with blanks");
  block.set("ratio", 0.5);
  block.set("empty", "");
  Bytes bytes{7};
  const Bytes body = packedBlock(block);
  bytes.insert(bytes.end(), body.begin(), body.end());
  Reader r(bytes);
  configb read(r.stream);
  EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();
  EXPECT_EQ(read.asString(), block.asString());
  EXPECT_FALSE(read.get_dirty());
  ConfigEntryT entry;
  ASSERT_EQ(read.in("ratio", entry), 0);
  EXPECT_EQ(entry.type_, "double");
  EXPECT_TRUE(r.stream.eof());
}

TEST(ConfigbPack, UnpackOfATruncatedBlockKeepsWhatCameAndFlags)
{
  Bytes bytes;
  appendRaw<std::uint32_t>(bytes, 0xFFFFFFFF);
  for (const char* text : {"a", "1", "int", "b", "2"}) appendText(bytes, text);
  Reader r(bytes);
  configb block;
  block.set("old", 5);
  block.unpack(r.stream, 0);
  EXPECT_STREQ(r.stream.errorText(), "Unexpected EOF.");
  EXPECT_EQ(block.in("a"), "1");
  EXPECT_EQ(block.in("b"), "") << "an entry cut short is not set";
  EXPECT_EQ(block.in("old"), "5") << "unpack sets over the block";
  EXPECT_FALSE(block.get_dirty());
}

} // namespace
