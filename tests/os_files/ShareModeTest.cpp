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

TEST_F(ShareMode, ConflictingOpensInOneProcessAreRefusedUntilTheHolderCloses)
{
  const auto both = iFile::eShareMode(iFile::eShareRead | iFile::eShareWrite);
  struct Case
  {
    unsigned int firstAccess;
    iFile::eShareMode firstShare;
    unsigned int secondAccess;
    iFile::eShareMode secondShare;
    bool secondOpens;
  };
  const Case cases[] = {
      {iFile::eReadWrite, iFile::eShareNone, iFile::eRead, iFile::eShareRead, false},
      {iFile::eReadWrite, iFile::eShareNone, iFile::eReadWrite, iFile::eShareNone, false},
      {iFile::eReadWrite, iFile::eShareNone, iFile::eReadWrite, iFile::eShareDelete, false},
      {iFile::eRead, iFile::eShareRead, iFile::eRead, iFile::eShareRead, true},
      {iFile::eRead, iFile::eShareRead, iFile::eWrite, iFile::eShareRead, false},
      {iFile::eRead, iFile::eShareRead, iFile::eRead, iFile::eShareNone, false},
      {iFile::eReadWrite, both, iFile::eReadWrite, both, true}, // no lock at all
      {iFile::eReadWrite, both, iFile::eReadWrite, iFile::eShareNone, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "first " << c.firstAccess << "/" << c.firstShare << ", second "
                                    << c.secondAccess << "/" << c.secondShare);
    Zr::Ptr<iFile> first = open(c.firstAccess, c.firstShare);
    ASSERT_TRUE(first);
    EXPECT_EQ(bool(open(c.secondAccess, c.secondShare)), c.secondOpens);
    first = nullptr;
    EXPECT_TRUE(open(iFile::eReadWrite, iFile::eShareNone));
  }
}

// args: file, ready marker. Holds the file unshared until killed.
ZR_CHILD_ROLE(holdLock)
{
  Zr::Ptr<iFile> f = openFile(args.at(0), iFile::eReadWrite, iFile::eOpenExisting);
  if (!f) return 2;
  zrtest::writeFile(args.at(1), "");
  return filestest::waitForFile(args.at(1) + ".never", 60000) ? 3 : 4;
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

TEST_F(ShareMode, ALockHeldByAnotherProcessRefusesOpensUntilThatProcessEnds)
{
  const std::string ready = dir_ + "ready";
  const int child = zrtest::spawnChild("holdLock", {file_, ready});
  ASSERT_GT(child, 0);
  ASSERT_TRUE(filestest::waitForFile(ready));
  EXPECT_FALSE(open(iFile::eRead, iFile::eShareRead));
  EXPECT_FALSE(open(iFile::eWrite, iFile::eShareNone, iFile::eCreateAlways));
  EXPECT_FALSE(open(iFile::eWrite, iFile::eShareNone, iFile::eOpenForNew));
  EXPECT_EQ(zrtest::readFile(file_), "precious"); // a refused open never empties the file
  ::kill(child, SIGKILL);
  EXPECT_EQ(zrtest::waitChild(child), 128 + SIGKILL);
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

} // namespace
