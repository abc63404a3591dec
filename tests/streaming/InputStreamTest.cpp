#include <gtest/gtest.h>

#include <string>

#include "core/Exception.h"
#include "streaming/InputStream.h"
#include "support/TestEnv.h"

namespace {

LightweightString<char> narrow(const std::string& s)
{
  return LightweightString<char>(s.c_str());
}

TEST(BufferInputStream, ReadsCopiesSkipsAndResets)
{
  const unsigned char data[] = {1, 2, 3, 4, 5, 6};
  BufferInputStream s(data);
  EXPECT_TRUE(s.isValid());
  EXPECT_EQ(s.readUChar(), 1);
  unsigned char two[2] = {};
  EXPECT_EQ(s.readUChars(2, two), 2u);
  EXPECT_EQ(two[0], 2);
  EXPECT_EQ(two[1], 3);
  s.skipBytes(2);
  EXPECT_EQ(s.readUChar(), 6);
  s.reset();
  EXPECT_EQ(s.readUChar(), 1);

  BufferInputStream none(nullptr);
  EXPECT_FALSE(none.isValid());
  EXPECT_EQ(none.readUChars(2, two), 0u);
  EXPECT_EQ(none.readUChar(), 0);
}

TEST(SimpleFileInputStream, ReadsTheWholeFileByAWidePathAndThrowsPastIt)
{
  const std::string path = zrtest::makeTempDir("inpstream") + "ten.bin";
  zrtest::writeFile(path, "0123456789");
  SimpleFileInputStream s(LightweightString<wchar_t>(std::wstring(path.begin(), path.end()).c_str()));
  ASSERT_TRUE(s.isValid());
  EXPECT_EQ(s.size(), 10u);
  s.skipBytes(10);
  try {
    s.readUChar();
    FAIL() << "a read past the end returned";
  } catch (const Zr::Exception::LogicError& e) {
    EXPECT_STREQ(e.message(), "eof");
    EXPECT_STREQ(e.sourceFile(), "misc/inpstream");
    EXPECT_EQ(e.line(), 99);
  }
  s.reset();
  EXPECT_EQ(s.readUChar(), '0');
  unsigned char rest[9];
  EXPECT_THROW(s.readUChars(10, rest), Zr::Exception::LogicError);
  EXPECT_EQ(s.readUChars(9, rest), 9u) << "a refused read moves nothing";
  EXPECT_EQ(std::string(reinterpret_cast<char*>(rest), 9), "123456789");
  EXPECT_THROW(s.skipBytes(1), Zr::Exception::LogicError);
}

TEST(SimpleFileInputStream, EmptyOrMissingFilesAreInvalidAndThrowOnRead)
{
  const std::string dir = zrtest::makeTempDir("inpempty");
  zrtest::writeFile(dir + "empty", "");
  for (const std::string& name : {dir + "empty", dir + "missing"}) {
    SimpleFileInputStream s(narrow(name));
    EXPECT_FALSE(s.isValid()) << name;
    EXPECT_THROW(s.readUChar(), Zr::Exception::LogicError) << name;
    unsigned char b;
    EXPECT_THROW(s.readUChars(0, &b), Zr::Exception::LogicError) << name;
  }
}

// A sparse file of the given size whose last byte is last.
std::string sparseFile(const char* name, long size, char last)
{
  const std::string path = zrtest::makeTempDir("inpbig") + name;
  FILE* f = std::fopen(path.c_str(), "wb");
  EXPECT_NE(f, nullptr);
  if (f) {
    std::fseek(f, size - 1, SEEK_SET);
    std::fputc(last, f);
    std::fclose(f);
  }
  return path;
}

TEST(SimpleFileInputStream, OnlyAFileOf64MiBOrMoreAssertsAndItIsStillRead)
{
  testing::internal::CaptureStdout();
  SimpleFileInputStream edge(narrow(sparseFile("edge.bin", 64l * 1024 * 1024 - 1, '.')));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(edge.size(), 64ul * 1024 * 1024 - 1);

  testing::internal::CaptureStdout();
  SimpleFileInputStream s(narrow(sparseFile("big.bin", 64l * 1024 * 1024 + 1, '!')));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "assertion failed file->getSize() < 64*1024*1024 at misc/inpstream line 63\n");
  ASSERT_TRUE(s.isValid());
  s.skipBytes(64 * 1024 * 1024);
  EXPECT_EQ(s.readUChar(), '!');
}

} // namespace
