#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "StreamTestSupport.h"
#include "libOS/OS.h"
#include "streaming/StreamFile.h"
#include "text/GrowString.h"

namespace {

using namespace streamtest;

// A file opened for reading over the given bytes.
struct ReadFixture
{
  explicit ReadFixture(const Bytes& bytes, const char* name = "in.bin")
      : path(zrtest::makeTempDir("sfread") + name)
  {
    writeBytes(path, bytes);
    opened = file.create(wide(path), iFile::eOpenExisting);
  }
  std::string path;
  StreamFile file;
  bool opened = false;
};

TEST(StreamFileCache, GrowsFrom4096ByDoublingKeepingBytesAndCursor)
{
  StreamFile file;
  EXPECT_TRUE(file.resizeCacheFor(1));
  EXPECT_EQ(file.cacheCapacity(), 4096u);
  EXPECT_EQ(file.cacheSize(), 1u);
  EXPECT_TRUE(file.resizeCacheFor(4096));
  EXPECT_EQ(file.cacheCapacity(), 4096u);

  ASSERT_TRUE(file.position(10));
  ASSERT_TRUE(file.setUnsignedLong(0xA1B2C3D4));
  EXPECT_TRUE(file.resizeCacheFor(4097));
  EXPECT_EQ(file.cacheCapacity(), 8192u);
  EXPECT_EQ(file.cacheSize(), 4097u);
  EXPECT_EQ(file.offset(), 14u) << "the cursor keeps its offset across a move of the block";
  std::uint32_t kept;
  std::memcpy(&kept, file.cacheData() + 10, 4);
  EXPECT_EQ(kept, 0xA1B2C3D4u);
  EXPECT_EQ(file.cacheData()[4096], 0) << "new bytes read as 0";

  EXPECT_TRUE(file.resizeCacheFor(100)) << "a smaller size changes nothing";
  EXPECT_EQ(file.cacheSize(), 4097u);
  EXPECT_TRUE(file.resizeCacheFor(3u << 20));
  EXPECT_EQ(file.cacheCapacity(), 4u << 20);
}

TEST(StreamFileCache, CapacityBeyond32BitsPrintsAndFails)
{
  StreamFile file;
  bool grown = true;
  const std::string out = captureStdout([&] { grown = file.resizeCacheFor(0x80000001u); });
  EXPECT_FALSE(grown);
  EXPECT_EQ(out, "assertion failed false at misc/StreamFile line 235\n");
  EXPECT_EQ(file.cacheSize(), 0u);
}

TEST(StreamFileRead, EmptyFileIsOpenAndAtEofButAMissingOneFails)
{
  ReadFixture f({});
  EXPECT_FALSE(f.opened) << "nothing to bring into the cache";
  EXPECT_TRUE(f.file.valid());
  EXPECT_TRUE(f.file.eof());

  StreamFile file;
  EXPECT_FALSE(file.create(wide(zrtest::makeTempDir("missing") + "none.bin"), iFile::eOpenExisting));
  EXPECT_FALSE(file.valid());
}

TEST(StreamFileRead, WholeFileIsCachedAndEofFollowsTheCursor)
{
  ReadFixture f({1, 2, 3, 4, 5});
  ASSERT_TRUE(f.opened);
  EXPECT_EQ(f.file.fileSize(), 5u);
  EXPECT_EQ(f.file.cacheSize(), 5u);
  EXPECT_FALSE(f.file.usingTempFile());
  EXPECT_FALSE(f.file.eof());
  EXPECT_TRUE(f.file.position(5));
  EXPECT_TRUE(f.file.eof());
  EXPECT_FALSE(f.file.cacheForward(5)) << "nothing left to read";
}

TEST(StreamFileRead, ReadBinaryChecksTheLengthField)
{
  Bytes bytes;
  appendRaw<std::uint32_t>(bytes, 3);
  bytes.insert(bytes.end(), {'a', 'b', 'c', 'd'});
  ReadFixture f(bytes);
  ASSERT_TRUE(f.opened);

  char buffer[8] = {};
  bool ok = true;
  const std::string out = captureStdout([&] { ok = f.file.readBinary(buffer, 4, false); });
  EXPECT_FALSE(ok);
  EXPECT_EQ(out, "assertion failed false at misc/StreamFile line 388\n");
  EXPECT_EQ(f.file.offset(), 4u) << "no further than the length field";
  EXPECT_EQ(buffer[0], 0);

  ASSERT_TRUE(f.file.position(0));
  EXPECT_TRUE(f.file.readBinary(buffer, 3, false));
  EXPECT_EQ(std::string(buffer, 3), "abc");
  EXPECT_EQ(f.file.offset(), 7u);
  EXPECT_TRUE(f.file.readBinary(buffer, 1, true));
  EXPECT_EQ(buffer[0], 'd');
  EXPECT_FALSE(f.file.readBinary(buffer, 1, true)) << "nothing past the cache";
  EXPECT_EQ(f.file.offset(), 8u);
}

TEST(StreamFileRead, ReadBinaryTextsCountedAndZeroTerminated)
{
  Bytes bytes;
  appendText(bytes, "first");
  appendRaw<std::uint32_t>(bytes, 3);
  bytes.insert(bytes.end(), {'x', 0, 'y'});
  bytes.insert(bytes.end(), {'n', 'o', 'z'});
  ReadFixture f(bytes);
  ASSERT_TRUE(f.opened);

  GrowString text("> ");
  ASSERT_TRUE(f.file.readBinary(text, false));
  EXPECT_STREQ(text.c_str(), "> first") << "appended";
  EXPECT_EQ(f.file.offset(), 6u) << "past the zero";
  text.reset();
  ASSERT_TRUE(f.file.readBinary(text, true));
  ASSERT_EQ(text.length(), 3u);
  EXPECT_EQ(std::string(text.c_str(), 3), std::string("x\0y", 3));
  const auto at = f.file.offset();
  EXPECT_FALSE(f.file.readBinary(text, false)) << "no zero before the end of the cache";
  EXPECT_EQ(f.file.offset(), at);

  StreamFile none;
  EXPECT_FALSE(none.readBinary(text, false));
}

TEST(StreamFileRead, CountedTextLongerThanTheCacheFails)
{
  Bytes bytes;
  appendRaw<std::uint32_t>(bytes, 100);
  bytes.insert(bytes.end(), {'a', 'b'});
  ReadFixture f(bytes);
  ASSERT_TRUE(f.opened);
  GrowString text;
  EXPECT_FALSE(f.file.readBinary(text, true));
  EXPECT_EQ(f.file.offset(), 0u);
  EXPECT_TRUE(text.isEmpty());
}

TEST(StreamFilePosition, BeyondTheCacheMovesAndReportsOutsideAndSizeIsRefused)
{
  ReadFixture f({1, 2, 3});
  ASSERT_TRUE(f.opened);
  EXPECT_FALSE(f.file.position(50));
  EXPECT_EQ(f.file.offset(), 50u);
  std::string out = captureStdout([&] { EXPECT_EQ(f.file.position(), 50u); });
  EXPECT_EQ(out,
            "assertion failed usingTempFile_ || (cachePos_ >= cache_ && (FileAddress)(cachePos_ - cache_) <= "
            "cacheSize_) at misc/StreamFile line 450\n");
  EXPECT_TRUE(f.file.position(3)) << "the end of the cache is inside";
  out = captureStdout([&] { EXPECT_EQ(f.file.position(), 3u); });
  EXPECT_EQ(out, "");

  StreamFile writing;
  ASSERT_TRUE(writing.create(wide(zrtest::makeTempDir("sfpos") + "w.bin"), iFile::eCreateAlways));
  EXPECT_FALSE(writing.position(50));
  out = captureStdout([&] { EXPECT_EQ(writing.position(), 50u); });
  EXPECT_EQ(out, "") << "a writer may stand beyond what it wrote";

  out = captureStdout([&] { EXPECT_EQ(f.file.size(), 0u); });
  EXPECT_EQ(out, "assertion failed false at misc/StreamFile line 275\n") << "size is not offered";
}

TEST(StreamFileWrite, SettersAreLittleEndianAndPatchInPlace)
{
  StreamFile file;
  EXPECT_TRUE(file.setUnsignedLong(0xFFFFFFFF)) << "setters work with no file";
  EXPECT_TRUE(file.setShort(-2));
  EXPECT_TRUE(file.setUnsignedInt64(0x0102030405060708ull));
  ASSERT_TRUE(file.position(0));
  EXPECT_TRUE(file.setUnsignedLong(14));
  ASSERT_TRUE(file.position(14));
  const Bytes expected = {14, 0, 0, 0, 0xFE, 0xFF, 8, 7, 6, 5, 4, 3, 2, 1};
  EXPECT_EQ(Bytes(file.cacheData(), file.cacheData() + file.cacheSize()), expected);
  EXPECT_FALSE(file.write("x", 1)) << "write() needs an open file";
  EXPECT_EQ(file.cacheSize(), 14u);
}

TEST(StreamFileWrite, OtherModesAssertAndWrite)
{
  const std::string path = zrtest::makeTempDir("sfmode") + "m.bin";
  StreamFile file;
  bool ok = false;
  const std::string out = captureStdout([&] { ok = file.create(wide(path), iFile::eOpenAlways); });
  EXPECT_TRUE(ok);
  EXPECT_EQ(out, "assertion failed open == iFile::eCreateAlways at misc/StreamFile line 92\n");
  EXPECT_TRUE(file.usingTempFile());
  EXPECT_TRUE(exists(path + ".TMP"));
  EXPECT_FALSE(exists(path));
}

TEST(StreamFileWrite, FlushPublishesTheTemporaryFile)
{
  const std::string path = zrtest::makeTempDir("sfflush") + "save.ed5";
  zrtest::writeFile(path, "old content");
  StreamFile file;
  ASSERT_TRUE(file.create(wide(path), iFile::eCreateAlways));
  ASSERT_TRUE(file.write("new", 3));
  ASSERT_TRUE(file.setUnsignedShort(0x4142));
  EXPECT_EQ(zrtest::readFile(path), "old content") << "nothing reaches the name before flush";
  EXPECT_TRUE(exists(path + ".TMP"));

  EXPECT_TRUE(file.flush());
  EXPECT_EQ(zrtest::readFile(path), "newBA");
  EXPECT_FALSE(exists(path + ".TMP"));
  EXPECT_FALSE(file.valid());
  EXPECT_FALSE(file.usingTempFile()) << "flush ends writing";
  EXPECT_EQ(file.cacheSize(), 5u) << "the cache stays readable";
}

TEST(StreamFileWrite, FlushWritesUpToTheCursorWithGapsAsZeros)
{
  const std::string path = zrtest::makeTempDir("sfcursor") + "c.bin";
  StreamFile file;
  ASSERT_TRUE(file.create(wide(path), iFile::eCreateAlways));
  ASSERT_TRUE(file.write("abcdef", 6));
  file.position(2);
  ASSERT_TRUE(file.write("XY", 2));
  file.position(8);
  ASSERT_TRUE(file.write("Z", 1));
  file.position(7);
  ASSERT_TRUE(file.flush());
  EXPECT_EQ(zrtest::readFile(path), std::string("abXYef\0", 7)) << "bytes past the cursor are not saved";
}

TEST(StreamFileWrite, UnflushedFileLeavesTheOldOne)
{
  const std::string path = zrtest::makeTempDir("sflost") + "keep.ed5";
  zrtest::writeFile(path, "version 1");
  {
    StreamFile file;
    ASSERT_TRUE(file.create(wide(path), iFile::eCreateAlways));
    ASSERT_TRUE(file.write("version 2", 9));
  }
  EXPECT_EQ(zrtest::readFile(path), "version 1");
  EXPECT_TRUE(exists(path + ".TMP"));
  EXPECT_EQ(zrtest::readFile(path + ".TMP"), "");
}

TEST(StreamFileWrite, FailedWriteDoesNotRename)
{
  const std::string path = zrtest::makeTempDir("sffull") + "full.ed5";
  zrtest::writeFile(path, "old");
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // The kernel cuts writes at the limit; with SIGXFSZ ignored the write
    // fails instead of killing the process.
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{64 << 10, 64 << 10};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(3);
    StreamFile file;
    if (!file.create(wide(path), iFile::eCreateAlways)) _exit(4);
    const std::string big = pattern(200 << 10, 5);
    if (!file.write(big.data(), unsigned(big.size()))) _exit(5);
    _exit(file.flush() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "the flush reported success";
  EXPECT_EQ(zrtest::readFile(path), "old");
  EXPECT_FALSE(exists(path + ".TMP"));
}

TEST(StreamFileWrite, FlushWithoutAnOpenFileTouchesNothing)
{
  const std::string path = zrtest::makeTempDir("sfnofile") + "n.ed5";
  zrtest::writeFile(path + ".TMP", "someone else's");
  StreamFile file;
  ASSERT_TRUE(file.create(wide(path), iFile::eCreateAlways));
  file.close();
  EXPECT_FALSE(file.flush());
  EXPECT_EQ(zrtest::readFile(path + ".TMP"), "");
  EXPECT_FALSE(exists(path));
}

TEST(StreamFileOpen, RetriesWhileAnotherHolderLetsGo)
{
  const std::string path = zrtest::makeTempDir("sfretry") + "held.bin";
  zrtest::writeFile(path, "data");
  Zr::Ptr<iFile> holder =
      OS()->fileManager()->open(wide(path), iFile::eReadWrite, iFile::eOpenExisting, iFile::eShareNone);
  ASSERT_TRUE(holder);
  std::thread release([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    holder = Zr::Ptr<iFile>();
  });
  StreamFile file;
  const auto start = std::chrono::steady_clock::now();
  const bool opened = file.create(wide(path), iFile::eOpenExisting);
  const auto waited = std::chrono::steady_clock::now() - start;
  release.join();
  EXPECT_TRUE(opened);
  EXPECT_GE(waited, std::chrono::milliseconds(250)) << "the first attempts met the holder";
  ASSERT_EQ(file.cacheSize(), 4u);
  EXPECT_EQ(std::memcmp(file.cacheData(), "data", 4), 0);
}

// A file of 32 MiB and a little more, with known bytes either side of the
// first read's end; the rest is a hole and reads as 0.
struct LargeFile
{
  static constexpr unsigned kSize = StreamFile::kFirstRead + 4096;
  LargeFile() : path(zrtest::makeTempDir("sflarge") + "large.bin")
  {
    const int fd = ::open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(::ftruncate(fd, kSize), 0);
    EXPECT_EQ(::pwrite(fd, "head", 4, StreamFile::kFirstRead - 4), 4);
    EXPECT_EQ(::pwrite(fd, "tail", 4, kSize - 4), 4);
    ::close(fd);
  }
  std::string path;
};

TEST(StreamFileRead, FirstReadStopsAt32MiBAndCacheForwardBringsTheRest)
{
  LargeFile large;
  StreamFile file;
  ASSERT_TRUE(file.create(wide(large.path), iFile::eOpenExisting));
  EXPECT_EQ(file.fileSize(), LargeFile::kSize);
  EXPECT_EQ(file.cacheSize(), StreamFile::kFirstRead);
  EXPECT_EQ(std::memcmp(file.cacheData() + StreamFile::kFirstRead - 4, "head", 4), 0);

  file.position(StreamFile::kFirstRead);
  EXPECT_FALSE(file.eof()) << "the file goes on beyond the cache";
  EXPECT_TRUE(file.cacheForward(LargeFile::kSize));
  EXPECT_EQ(file.cacheSize(), LargeFile::kSize);
  EXPECT_EQ(file.offset(), StreamFile::kFirstRead);
  EXPECT_EQ(std::memcmp(file.cacheData() + LargeFile::kSize - 4, "tail", 4), 0);
  EXPECT_EQ(std::memcmp(file.cacheData() + StreamFile::kFirstRead - 4, "head", 4), 0);
  EXPECT_FALSE(file.cacheForward(LargeFile::kSize + 10)) << "a read past the file comes short";
  EXPECT_EQ(file.cacheSize(), LargeFile::kSize) << "what came is kept";
}

} // namespace
