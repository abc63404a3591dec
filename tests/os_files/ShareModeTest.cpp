// Share modes as advisory locks: conflicts inside one process and between
// processes, and that a refused open leaves the file alone.
#include <signal.h>

#include <gtest/gtest.h>

#include "FilesTestSupport.h"
#include "support/TestEnv.h"

namespace {

using filestest::openFile;

class ShareMode : public testing::Test
{
protected:
  std::string dir_ = zrtest::makeTempDir("share");
  std::string file_ = dir_ + "project.ed5";
  void SetUp() override { zrtest::writeFile(file_, "precious"); }
  Zr::Ptr<iFile> open(unsigned int access, iFile::eShareMode share,
                      iFile::eOpenBehaviour behaviour = iFile::eOpenExisting)
  {
    return openFile(file_, access, behaviour, share);
  }
};

TEST_F(ShareMode, AnUnsharedOpenExcludesEveryOtherOpenInTheSameProcess)
{
  Zr::Ptr<iFile> first = open(iFile::eReadWrite, iFile::eShareNone);
  ASSERT_TRUE(first);
  EXPECT_FALSE(open(iFile::eRead, iFile::eShareRead));
  EXPECT_FALSE(open(iFile::eReadWrite, iFile::eShareNone));
  EXPECT_FALSE(open(iFile::eReadWrite, iFile::eShareDelete));
  first = nullptr;
  EXPECT_TRUE(open(iFile::eReadWrite, iFile::eShareNone));
}

TEST_F(ShareMode, ReadersSharingReadCoexistButKeepWritersOut)
{
  Zr::Ptr<iFile> a = open(iFile::eRead, iFile::eShareRead);
  Zr::Ptr<iFile> b = open(iFile::eRead, iFile::eShareRead);
  EXPECT_TRUE(a);
  EXPECT_TRUE(b);
  EXPECT_FALSE(open(iFile::eWrite, iFile::eShareRead));
  EXPECT_FALSE(open(iFile::eRead, iFile::eShareNone));
}

TEST_F(ShareMode, OpensThatShareReadAndWriteTakeNoLock)
{
  const auto both = iFile::eShareMode(iFile::eShareRead | iFile::eShareWrite);
  Zr::Ptr<iFile> a = open(iFile::eReadWrite, both);
  Zr::Ptr<iFile> b = open(iFile::eReadWrite, both);
  EXPECT_TRUE(a);
  EXPECT_TRUE(b);
}

TEST_F(ShareMode, ARefusedOpenNeverEmptiesTheFile)
{
  Zr::Ptr<iFile> holder = open(iFile::eRead, iFile::eShareNone);
  ASSERT_TRUE(holder);
  EXPECT_FALSE(open(iFile::eWrite, iFile::eShareNone, iFile::eCreateAlways));
  EXPECT_FALSE(open(iFile::eWrite, iFile::eShareNone, iFile::eOpenForNew));
  EXPECT_EQ(zrtest::readFile(file_), "precious");
}

// args: file, ready marker, release marker, access, share.
ZR_CHILD_ROLE(holdLock)
{
  Zr::Ptr<iFile> f = openFile(args.at(0), unsigned(std::stoi(args.at(3))), iFile::eOpenExisting,
                              iFile::eShareMode(std::stoi(args.at(4))));
  if (!f) return 2;
  zrtest::writeFile(args.at(1), "");
  return filestest::waitForFile(args.at(2), 60000) ? 0 : 3;
}

// args: file, access, share, behaviour. Exit 0 if the open was refused, 1 if
// it succeeded.
ZR_CHILD_ROLE(tryOpen)
{
  Zr::Ptr<iFile> f =
      openFile(args.at(0), unsigned(std::stoi(args.at(1))), iFile::eOpenBehaviour(std::stoi(args.at(3))),
               iFile::eShareMode(std::stoi(args.at(2))));
  return f ? 1 : 0;
}

TEST_F(ShareMode, ALockHeldByAnotherProcessRefusesTheOpen)
{
  const std::string ready = dir_ + "ready", release = dir_ + "release";
  const int child = zrtest::spawnChild("holdLock", {file_, ready, release, "3", "0"});
  ASSERT_GT(child, 0);
  ASSERT_TRUE(filestest::waitForFile(ready));
  EXPECT_FALSE(open(iFile::eRead, iFile::eShareRead));
  EXPECT_FALSE(open(iFile::eWrite, iFile::eShareNone, iFile::eCreateAlways));
  EXPECT_EQ(zrtest::readFile(file_), "precious");
  zrtest::writeFile(release, "");
  EXPECT_EQ(zrtest::waitChild(child), 0);
  EXPECT_TRUE(open(iFile::eReadWrite, iFile::eShareNone));
}

TEST_F(ShareMode, ALockHeldHereRefusesAnotherProcess)
{
  Zr::Ptr<iFile> reader = open(iFile::eRead, iFile::eShareRead);
  ASSERT_TRUE(reader);
  EXPECT_EQ(zrtest::runChild("tryOpen", {file_, "1", "1", "0"}), 1); // another sharing reader
  EXPECT_EQ(zrtest::runChild("tryOpen", {file_, "2", "1", "0"}), 0); // a writer
  EXPECT_EQ(zrtest::runChild("tryOpen", {file_, "2", "0", "3"}), 0); // create-always
  EXPECT_EQ(zrtest::readFile(file_), "precious");
  reader = nullptr;
  EXPECT_EQ(zrtest::runChild("tryOpen", {file_, "2", "0", "0"}), 1);
}

TEST_F(ShareMode, TheLockEndsWithTheProcessThatHeldIt)
{
  const std::string ready = dir_ + "ready2";
  const int child = zrtest::spawnChild("holdLock", {file_, ready, dir_ + "never", "3", "0"});
  ASSERT_GT(child, 0);
  ASSERT_TRUE(filestest::waitForFile(ready));
  EXPECT_FALSE(open(iFile::eRead, iFile::eShareNone));
  ::kill(child, SIGKILL);
  EXPECT_EQ(zrtest::waitChild(child), 128 + SIGKILL);
  EXPECT_TRUE(open(iFile::eRead, iFile::eShareNone));
}

} // namespace
