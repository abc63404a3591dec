#include <gtest/gtest.h>

#include "FilesTestSupport.h"
#include "files/ZrkFile.h"
#include "text/GrowString.h"

namespace {

using namespace filetest;

class ZrkFileTest : public testing::Test
{
protected:
  std::string dir = zrtest::makeTempDir("zrk");
  std::string path = dir + "edit.ed5";
  std::string temp = path + ".TMP";

  bool openForWriting(ZrkFile& file)
  {
    return file.create(wide(path), iFile::eWrite, iFile::eCreateAlways, iFile::eShareNone);
  }
};

TEST_F(ZrkFileTest, WrittenBytesReachTheFinalNameOnlyAtClose)
{
  zrtest::writeFile(path, "old content");
  ZrkFile file;
  ASSERT_TRUE(openForWriting(file));
  EXPECT_TRUE(file.write(bytes("0123456789"), 10));
  EXPECT_EQ(zrtest::readFile(path), "old content");
  EXPECT_TRUE(exists(temp));
  EXPECT_TRUE(file.close());
  EXPECT_EQ(zrtest::readFile(path), "0123456789");
  EXPECT_FALSE(exists(temp));
  EXPECT_FALSE(file.valid());
  EXPECT_EQ(file.getFilename(), wide(path));
}

TEST_F(ZrkFileTest, CacheGrowsFrom4096ByDoubling)
{
  struct Case
  {
    unsigned int written;
    unsigned int capacity;
  };
  for (Case c : {Case{1, 4096}, Case{4096, 4096}, Case{4097, 8192}, Case{5000, 8192}, Case{70000, 131072}}) {
    ZrkFile file;
    ASSERT_TRUE(openForWriting(file));
    EXPECT_EQ(file.cacheCapacity(), 0u);
    ASSERT_TRUE(file.write(bytes(pattern(c.written, 1)), c.written));
    EXPECT_EQ(file.cacheCapacity(), c.capacity) << c.written;
    EXPECT_EQ(file.size(), c.written);
  }
}

TEST_F(ZrkFileTest, PositioningPastTheEndExtendsWithZeros)
{
  ZrkFile file;
  ASSERT_TRUE(openForWriting(file));
  ASSERT_TRUE(file.positionAt(100));
  EXPECT_EQ(file.size(), 100u);
  EXPECT_EQ(file.getPosition(), 100u);
  EXPECT_TRUE(file.write(bytes("end"), 3));
  EXPECT_TRUE(file.writeAt(1, bytes("XY"), 2));
  EXPECT_EQ(file.getPosition(), 3u);
  EXPECT_TRUE(file.writeAt(106, bytes("!"), 1));
  ASSERT_TRUE(file.close());
  EXPECT_EQ(zrtest::readFile(path),
            std::string(1, '\0') + "XY" + std::string(97, '\0') + std::string("end\0\0\0!", 7));
}

TEST_F(ZrkFileTest, ResetEmptiesTheFileAndKeepsTheMemory)
{
  zrtest::writeFile(path, "old");
  ZrkFile file;
  ASSERT_TRUE(openForWriting(file));
  file.write(bytes(pattern(5000, 3)), 5000);
  ASSERT_TRUE(file.reset());
  EXPECT_EQ(file.size(), 0u);
  EXPECT_EQ(file.getPosition(), 0u);
  EXPECT_EQ(file.cacheCapacity(), 8192u);
  // Bytes from before the reset must not come back through positioning.
  file.positionAt(10);
  file.write(bytes("new"), 3);
  ASSERT_TRUE(file.close());
  EXPECT_EQ(zrtest::readFile(path), std::string(10, '\0') + "new");
}

TEST_F(ZrkFileTest, ReadFromTheCacheFailsShortButFromTheDiskSucceedsShort)
{
  ZrkFile writing;
  ASSERT_TRUE(openForWriting(writing));
  writing.write(bytes("0123456789abcd"), 14);
  unsigned char got[10] = {};
  EXPECT_FALSE(writing.readAt(10, got, 10));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(got), 4), "abcd");
  EXPECT_EQ(writing.getPosition(), 14u);
  EXPECT_TRUE(writing.readAt(2, got, 3));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(got), 3), "234");
  ASSERT_TRUE(writing.close());

  ZrkFile reading(wide(path), iFile::eRead, iFile::eOpenExisting, iFile::eShareRead);
  ASSERT_TRUE(reading.valid());
  EXPECT_EQ(reading.size(), 14u);
  std::fill(std::begin(got), std::end(got), 0);
  EXPECT_TRUE(reading.readAt(10, got, 10));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(got), 4), "abcd");
  EXPECT_FALSE(reading.read(got, 10)); // at the end nothing comes
  ASSERT_TRUE(reading.positionAt(0));
  GrowString text;
  EXPECT_TRUE(reading.read(text, 4));
  EXPECT_EQ(std::string(text.c_str()), "0123");
  EXPECT_TRUE(reading.close());
}

TEST_F(ZrkFileTest, FileOpenedForReadAndWriteIsWrittenInPlace)
{
  zrtest::writeFile(path, "abcdef");
  ZrkFile file(wide(path), iFile::eReadWrite, iFile::eOpenExisting, iFile::eShareDelete);
  ASSERT_TRUE(file.valid());
  EXPECT_TRUE(file.writeAt(1, bytes("XY"), 2));
  EXPECT_EQ(zrtest::readFile(path), "aXYdef");
  EXPECT_FALSE(exists(temp));
  ASSERT_TRUE(file.reset());
  EXPECT_EQ(file.size(), 0u);
  EXPECT_TRUE(file.close());
  EXPECT_EQ(zrtest::readFile(path), "");
}

TEST_F(ZrkFileTest, ClosedOrNeverOpenedFileRefusesEverything)
{
  ZrkFile file;
  EXPECT_FALSE(file.valid());
  EXPECT_FALSE(file.write(bytes("x"), 1));
  unsigned char byte = 0;
  EXPECT_FALSE(file.read(&byte, 1));
  EXPECT_FALSE(file.reset());
  EXPECT_FALSE(file.positionAt(0));
  EXPECT_EQ(file.size(), 0u);
  EXPECT_FALSE(file.close());
  unsigned long time = 1;
  EXPECT_EQ(captureStdout([&] { time = file.getFileTime(iFile::eModified); }),
            "assertion failed valid() at misc/zrkfile line 513\n");
  EXPECT_EQ(time, 0u);
  EXPECT_FALSE(file.create(wide(dir + "absent"), iFile::eRead, iFile::eOpenExisting, iFile::eShareRead));
}

TEST_F(ZrkFileTest, DestroyedWithoutCloseLeavesTheOldFileAndNoTmp)
{
  zrtest::writeFile(path, "old");
  {
    ZrkFile file;
    ASSERT_TRUE(openForWriting(file));
    file.write(bytes("abandoned"), 9);
  }
  EXPECT_EQ(zrtest::readFile(path), "old");
  EXPECT_FALSE(exists(temp));
}

TEST_F(ZrkFileTest, CacheThatCannotGrowLosesItsDataAndCloseDoesNotPublish)
{
  zrtest::writeFile(path, "old");
  ZrkFile file;
  ASSERT_TRUE(openForWriting(file));
  ASSERT_TRUE(file.write(bytes("kept?"), 5));
  // A cache of more than 2 GiB cannot be held in the 32-bit capacity.
  EXPECT_FALSE(file.writeAt(0x80000001u, bytes("x"), 1));
  EXPECT_EQ(file.size(), 0u);
  EXPECT_EQ(file.cacheCapacity(), 0u);
  EXPECT_FALSE(file.close());
  EXPECT_EQ(zrtest::readFile(path), "old");
  EXPECT_FALSE(exists(temp));
}

TEST_F(ZrkFileTest, RefusedWriteAtCloseKeepsTheOldFile)
{
  zrtest::writeFile(path, "old");
  // The ".TMP" is a link to a device that is always full.
  ASSERT_EQ(::symlink("/dev/full", temp.c_str()), 0);
  ZrkFile file;
  ASSERT_TRUE(openForWriting(file));
  ASSERT_TRUE(file.write(bytes(pattern(1000, 9)), 1000));
  EXPECT_FALSE(file.close());
  EXPECT_EQ(zrtest::readFile(path), "old");
  EXPECT_FALSE(exists(temp));
}

TEST_F(ZrkFileTest, FailedRenameIsReported)
{
  // A folder with something in it cannot be replaced by a file.
  zrtest::writeFile(path + "/inside", "x");
  ZrkFile file;
  ASSERT_TRUE(openForWriting(file));
  file.write(bytes("data"), 4);
  EXPECT_FALSE(file.close());
  EXPECT_EQ(zrtest::readFile(path + "/inside"), "x");
}

} // namespace
