// iFile over a descriptor: open behaviours, reading and writing, positions,
// sizes and times.
#include <gtest/gtest.h>

#include <ctime>
#include <vector>

#include "FilesTestSupport.h"
#include "support/TestEnv.h"

namespace {

using filestest::openFile;
using filestest::readAll;

class FileTest : public testing::Test
{
protected:
  std::string dir_ = zrtest::makeTempDir("file");
  std::string path(const std::string& name) const { return dir_ + name; }
  std::string existing(const std::string& name, const std::string& content = "old content")
  {
    zrtest::writeFile(path(name), content);
    return path(name);
  }
};

TEST_F(FileTest, EachOpenBehaviourMakesKeepsOrEmptiesAsItSays)
{
  struct Case
  {
    iFile::eOpenBehaviour behaviour;
    bool opensMissing, opensExisting, keepsContent;
  };
  const Case cases[] = {
      {iFile::eOpenExisting, false, true, true}, {iFile::eOpenForNew, true, true, false},
      {iFile::eOpenAlways, true, true, true},    {iFile::eCreateAlways, true, true, false},
      {iFile::eCreateNew, true, false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "behaviour " << c.behaviour);
    const std::string missing = path("missing" + std::to_string(c.behaviour));
    Zr::Ptr<iFile> made = openFile(missing, iFile::eReadWrite, c.behaviour);
    EXPECT_EQ(bool(made), c.opensMissing);
    EXPECT_EQ(filestest::pathExists(missing), c.opensMissing);
    EXPECT_EQ(made ? made->getSize() : 0ul, 0u);

    const std::string old = existing("existing" + std::to_string(c.behaviour));
    Zr::Ptr<iFile> f = openFile(old, iFile::eReadWrite, c.behaviour);
    EXPECT_EQ(bool(f), c.opensExisting);
    EXPECT_EQ(zrtest::readFile(old), c.keepsContent ? "old content" : "");
    if (!f) continue;
    EXPECT_EQ(readAll(*f), c.keepsContent ? "old content" : "");
    EXPECT_EQ(filestest::N(f->getName()), old);
    EXPECT_TRUE(f->isOpen());
  }
}

TEST_F(FileTest, BadArgumentsAndFoldersGiveNull)
{
  EXPECT_FALSE(openFile(existing("f"), 0, iFile::eOpenExisting));
  EXPECT_FALSE(openFile(path("f"), 4, iFile::eOpenExisting));
  EXPECT_FALSE(openFile(path("f"), iFile::eRead, iFile::eOpenBehaviour(5)));
  EXPECT_FALSE(openFile(dir_, iFile::eRead, iFile::eOpenExisting));
  EXPECT_FALSE(openFile(dir_ + "no/such/folder/x", iFile::eWrite, iFile::eCreateAlways));
}

TEST_F(FileTest, AccessLimitsWhatTheFileDoesEvenWhenItWasEmptiedOnOpen)
{
  Zr::Ptr<iFile> reader = openFile(existing("g"), iFile::eRead, iFile::eOpenExisting);
  ASSERT_TRUE(reader);
  EXPECT_EQ(reader->write("x", 1), 0u);
  EXPECT_EQ(reader->writeAt(0, "x", 1), 0u);
  EXPECT_FALSE(reader->truncate(0));
  reader = nullptr;

  Zr::Ptr<iFile> writer = openFile(path("g"), iFile::eWrite, iFile::eOpenExisting);
  ASSERT_TRUE(writer);
  char c;
  EXPECT_EQ(writer->read(&c, 1), 0u);
  EXPECT_EQ(zrtest::readFile(path("g")), "old content");
  writer = nullptr;

  Zr::Ptr<iFile> emptied = openFile(path("g"), iFile::eRead, iFile::eCreateAlways);
  ASSERT_TRUE(emptied);
  EXPECT_EQ(emptied->getSize(), 0u);
  EXPECT_EQ(emptied->write("x", 1), 0u);
}

TEST_F(FileTest, ReadsAndWritesMoveThePosition)
{
  Zr::Ptr<iFile> f = openFile(path("rw"), iFile::eReadWrite, iFile::eCreateAlways);
  ASSERT_TRUE(f);
  EXPECT_EQ(f->write("hello world", 11), 11u);
  EXPECT_EQ(f->getPosition(), 11u);
  char buf[16] = {};
  EXPECT_EQ(f->read(buf, 4), 0u); // at the end
  ASSERT_TRUE(f->positionAt(6));
  EXPECT_EQ(f->read(buf, 16), 5u); // a short read at the end gives what there is
  EXPECT_EQ(std::string(buf, 5), "world");
  EXPECT_EQ(f->getPosition(), 11u);

  EXPECT_EQ(f->readAt(0, buf, 5), 5u);
  EXPECT_EQ(std::string(buf, 5), "hello");
  EXPECT_EQ(f->getPosition(), 5u);
  EXPECT_EQ(f->write("_", 1), 1u);
  EXPECT_EQ(readAll(*f), "hello_world");

  EXPECT_EQ(f->writeAt(2, "LL", 2), 2u);
  EXPECT_EQ(f->getPosition(), 4u);
  EXPECT_EQ(readAll(*f), "heLLo_world");
}

TEST_F(FileTest, WritingPastTheEndExtendsWithZeros)
{
  Zr::Ptr<iFile> f = openFile(path("sparse"), iFile::eReadWrite, iFile::eCreateAlways);
  ASSERT_TRUE(f);
  ASSERT_TRUE(f->positionAt(100000));
  EXPECT_EQ(f->getSize(), 0u); // positioning alone does not extend
  EXPECT_EQ(f->write("end", 3), 3u);
  EXPECT_EQ(f->getSize(), 100003u);
  std::vector<char> head(100000, 'x');
  EXPECT_EQ(f->readAt(0, head.data(), 100000), 100000u);
  EXPECT_EQ(std::vector<char>(100000, 0), head);
  EXPECT_EQ(f->writeAt(200000, "z", 1), 1u);
  EXPECT_EQ(f->getSize(), 200001u);
}

TEST_F(FileTest, LargeTransfersArriveWhole)
{
  std::vector<char> data(3 << 20);
  for (size_t i = 0; i < data.size(); ++i) data[i] = char(i * 7 + i / 4096);
  Zr::Ptr<iFile> f = openFile(path("large"), iFile::eReadWrite, iFile::eCreateAlways);
  ASSERT_TRUE(f);
  ASSERT_EQ(f->write(data.data(), unsigned(data.size())), data.size());
  std::vector<char> back(data.size());
  ASSERT_EQ(f->readAt(0, back.data(), unsigned(back.size())), back.size());
  EXPECT_TRUE(back == data);
}

TEST_F(FileTest, TruncateShrinksAndGrows)
{
  Zr::Ptr<iFile> f = openFile(existing("t", "0123456789"), iFile::eReadWrite, iFile::eOpenExisting);
  ASSERT_TRUE(f);
  ASSERT_TRUE(f->truncate(4));
  EXPECT_EQ(f->getSize(), 4u);
  EXPECT_EQ(readAll(*f), "0123");
  ASSERT_TRUE(f->truncate(6));
  EXPECT_EQ(readAll(*f), std::string("0123\0\0", 6));
}

TEST_F(FileTest, TimesAreNanosecondsSinceTheEpoch)
{
  const unsigned long before = (unsigned long)std::time(nullptr) * 1000000000ul;
  Zr::Ptr<iFile> f = openFile(path("times"), iFile::eReadWrite, iFile::eCreateAlways);
  ASSERT_TRUE(f);
  const unsigned long created = f->getTime(iFile::eCreated);
  EXPECT_GE(created + 1000000000ul, before);
  EXPECT_LE(created, before + 60 * 1000000000ul);

  const unsigned long modified = 1234567890123456789ul;
  ASSERT_TRUE(f->setTime(iFile::eModified, modified));
  EXPECT_EQ(f->getTime(iFile::eModified), modified);
  ASSERT_TRUE(f->setTime(iFile::eAccessed, 1000000000ul));
  EXPECT_EQ(f->getTime(iFile::eAccessed), 1000000000ul);
  EXPECT_EQ(f->getTime(iFile::eModified), modified); // the other time is left alone
  EXPECT_FALSE(f->setTime(iFile::eCreated, modified));
  EXPECT_EQ(filestest::fm()->getFileTime(filestest::W(path("times")), iFile::eModified), modified);
}

TEST_F(FileTest, DescriptorsAreNotInheritedByChildProcesses)
{
  Zr::Ptr<iFile> f = openFile(path("cloexec"), iFile::eWrite, iFile::eCreateAlways);
  ASSERT_TRUE(f);
  // The child looks for a descriptor of its own that refers to the file.
  EXPECT_EQ(zrtest::runChild("countFiles", {path("cloexec")}), 0);
}

ZR_CHILD_ROLE(countFiles)
{
  // Exit 1 if any descriptor of this process refers to the file.
  char link[4096];
  for (int fd = 0; fd < 1024; ++fd) {
    const std::string proc = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t n = readlink(proc.c_str(), link, sizeof link - 1);
    if (n > 0 && std::string(link, size_t(n)) == args.at(0)) return 1;
  }
  return 0;
}

} // namespace
