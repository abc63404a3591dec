// The folder and name operations of the file manager: durable rename,
// copy, delete, folders, and times and sizes by name.
#include <signal.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <thread>

#include "FilesTestSupport.h"
#include "support/TestEnv.h"

namespace {

using filestest::fm;
using filestest::W;

class FileManager : public testing::Test
{
protected:
  std::string dir_ = zrtest::makeTempDir("fm");
};

TEST_F(FileManager, RenameReplacesTheTargetMovesFoldersAndNeedsASource)
{
  zrtest::writeFile(dir_ + "edit.ed5", "old version");
  zrtest::writeFile(dir_ + "edit.ed5.TMP", "new version");
  ASSERT_TRUE(fm()->rename(W(dir_ + "edit.ed5.TMP"), W(dir_ + "edit.ed5")));
  EXPECT_EQ(zrtest::readFile(dir_ + "edit.ed5"), "new version");
  EXPECT_FALSE(filestest::pathExists(dir_ + "edit.ed5.TMP"));

  EXPECT_FALSE(fm()->rename(W(dir_ + "absent"), W(dir_ + "edit.ed5")));
  EXPECT_EQ(zrtest::readFile(dir_ + "edit.ed5"), "new version");

  ASSERT_TRUE(fm()->makeDirectory(W(dir_ + "a/b"), true));
  zrtest::writeFile(dir_ + "a/b/f", "x");
  ASSERT_TRUE(fm()->rename(W(dir_ + "a"), W(dir_ + "c")));
  EXPECT_EQ(zrtest::readFile(dir_ + "c/b/f"), "x");
}

TEST_F(FileManager, RenameAcrossFileSystemsCopiesAndDeletes)
{
  struct stat here, shm;
  if (::stat(dir_.c_str(), &here) != 0 || ::stat("/dev/shm", &shm) != 0 || here.st_dev == shm.st_dev ||
      access("/dev/shm", W_OK) != 0)
    GTEST_SKIP() << "needs /dev/shm on another file system";
  const std::string other = "/dev/shm/zrtest-" + std::to_string(getpid());
  zrtest::writeFile(dir_ + "moved", "across");
  ASSERT_TRUE(fm()->rename(W(dir_ + "moved"), W(other)));
  EXPECT_EQ(zrtest::readFile(other), "across");
  EXPECT_FALSE(filestest::pathExists(dir_ + "moved"));
  ::unlink(other.c_str());
}

// Replaces the target again and again the way a crash-safe save does: the
// new content goes to "<target>.TMP", then a rename publishes it. Each
// version is 64 KiB of one letter, written in small pieces so that a kill
// is likely to land mid-write.
ZR_CHILD_ROLE(saveForever)
{
  const std::string target = args.at(0);
  for (int round = 0;; ++round) {
    Zr::Ptr<iFile> tmp = filestest::openFile(target + ".TMP", iFile::eWrite, iFile::eCreateAlways);
    if (!tmp) return 2;
    const std::string piece(1024, char('a' + round % 26));
    for (int i = 0; i < 64; ++i)
      if (tmp->write(piece.data(), unsigned(piece.size())) != piece.size()) return 3;
    tmp = nullptr;
    if (!fm()->rename(W(target + ".TMP"), W(target))) return 4;
    if (round == 0) zrtest::writeFile(args.at(1), "");
  }
}

TEST_F(FileManager, AProcessKilledWhileSavingLeavesACompleteFile)
{
  const std::string target = dir_ + "project.ed5";
  zrtest::writeFile(target, std::string(65536, 'Z'));
  for (int attempt = 0; attempt < 4; ++attempt) {
    const std::string started = dir_ + "started" + std::to_string(attempt);
    const int child = zrtest::spawnChild("saveForever", {target, started});
    ASSERT_GT(child, 0);
    ASSERT_TRUE(filestest::waitForFile(started));
    std::this_thread::sleep_for(std::chrono::milliseconds(7 * attempt + 3));
    ::kill(child, SIGKILL);
    ASSERT_EQ(zrtest::waitChild(child), 128 + SIGKILL);
    const std::string content = zrtest::readFile(target);
    ASSERT_EQ(content.size(), 65536u);
    EXPECT_EQ(content, std::string(65536, content[0])) << "a torn file after attempt " << attempt;
  }
}

TEST_F(FileManager, CopyKeepsContentPermissionsAndModificationTime)
{
  const std::string from = dir_ + "source", to = dir_ + "copy";
  zrtest::writeFile(from, "content to copy");
  ASSERT_EQ(::chmod(from.c_str(), 0640), 0);
  ASSERT_TRUE(fm()->setFileTime(W(from), iFile::eModified, 1500000000123456789ul));
  ASSERT_TRUE(fm()->copyFile(W(from), W(to), true));
  EXPECT_EQ(zrtest::readFile(to), "content to copy");
  struct stat st;
  ASSERT_EQ(::stat(to.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640u);
  EXPECT_EQ(fm()->getFileTime(W(to), iFile::eModified), 1500000000123456789ul);
  EXPECT_EQ(zrtest::readFile(from), "content to copy");
}

TEST_F(FileManager, CopyOntoAnExistingFileReplacesItUnlessAskedNotTo)
{
  zrtest::writeFile(dir_ + "from", "new");
  zrtest::writeFile(dir_ + "to", "old");
  EXPECT_FALSE(fm()->copyFile(W(dir_ + "from"), W(dir_ + "to"), true));
  EXPECT_EQ(zrtest::readFile(dir_ + "to"), "old");
  EXPECT_TRUE(fm()->copyFile(W(dir_ + "from"), W(dir_ + "to"), false));
  EXPECT_EQ(zrtest::readFile(dir_ + "to"), "new");
  // Onto itself: the content must not be emptied before it is read.
  EXPECT_TRUE(fm()->copyFile(W(dir_ + "to"), W(dir_ + "to"), false));
  EXPECT_EQ(zrtest::readFile(dir_ + "to"), "new");
}

TEST_F(FileManager, FailedCopiesLeaveNothingBehind)
{
  ASSERT_TRUE(fm()->makeDirectory(W(dir_ + "folder"), false));
  EXPECT_FALSE(fm()->copyFile(W(dir_ + "folder"), W(dir_ + "x"), false));
  EXPECT_FALSE(fm()->copyFile(W(dir_ + "missing"), W(dir_ + "y"), false));
  zrtest::writeFile(dir_ + "file", "data");
  EXPECT_FALSE(fm()->copyFile(W(dir_ + "file"), W(dir_ + "no/such/folder"), false));
  std::vector<iFileManager::DirectoryItem> items;
  ASSERT_TRUE(fm()->listDirectory(W(dir_ + "*"), true, true, items));
  EXPECT_EQ(items.size(), 2u); // "file" and "folder"
}

TEST_F(FileManager, DeleteRemovesFilesOnlyAndExistsTellsFilesFromFolders)
{
  zrtest::writeFile(dir_ + "doomed", "x");
  EXPECT_TRUE(fm()->exists(W(dir_ + "doomed")));
  EXPECT_FALSE(fm()->isDirectory(W(dir_ + "doomed")));
  EXPECT_TRUE(fm()->deleteFile(W(dir_ + "doomed")));
  EXPECT_FALSE(fm()->exists(W(dir_ + "doomed")));
  EXPECT_FALSE(fm()->isDirectory(W(dir_ + "doomed")));
  EXPECT_FALSE(fm()->deleteFile(W(dir_ + "doomed")));
  ASSERT_TRUE(fm()->makeDirectory(W(dir_ + "folder"), false));
  EXPECT_FALSE(fm()->deleteFile(W(dir_ + "folder")));
  EXPECT_TRUE(fm()->exists(W(dir_ + "folder")));
  EXPECT_TRUE(fm()->isDirectory(W(dir_ + "folder")));
}

TEST_F(FileManager, FoldersGetParentsOnlyWhenRecursiveAndGoOnlyWhenEmpty)
{
  EXPECT_FALSE(fm()->makeDirectory(W(dir_ + "p/q/r"), false));
  EXPECT_TRUE(fm()->makeDirectory(W(dir_ + "p/q/r/"), true));
  EXPECT_TRUE(fm()->isDirectory(W(dir_ + "p/q/r")));
  EXPECT_TRUE(fm()->makeDirectory(W(dir_ + "p/q"), false)); // already there
  zrtest::writeFile(dir_ + "plain", "");
  EXPECT_FALSE(fm()->makeDirectory(W(dir_ + "plain"), false));
  EXPECT_FALSE(fm()->makeDirectory(W(dir_ + "plain/sub"), true));

  EXPECT_FALSE(fm()->removeDirectory(W(dir_ + "p/q")));
  EXPECT_TRUE(fm()->removeDirectory(W(dir_ + "p/q/r")));
  EXPECT_TRUE(fm()->removeDirectory(W(dir_ + "p/q")));
  EXPECT_FALSE(fm()->exists(W(dir_ + "p/q")));
}

TEST_F(FileManager, SizesAndTimesByName)
{
  zrtest::writeFile(dir_ + "sized", std::string(1234, 'x'));
  EXPECT_EQ(fm()->getFileSize(W(dir_ + "sized")), 1234u);
  EXPECT_EQ(fm()->getFileSize(W(dir_ + "absent")), 0u);
  EXPECT_EQ(fm()->getFileSize(W(dir_)), 0u);
  EXPECT_EQ(fm()->getFileTime(W(dir_ + "absent"), iFile::eModified), 0u);
  EXPECT_FALSE(fm()->setFileTime(W(dir_ + "absent"), iFile::eModified, 1));
  EXPECT_FALSE(fm()->setFileTime(W(dir_ + "sized"), iFile::eCreated, 1));
  ASSERT_TRUE(fm()->setFileTime(W(dir_ + "sized"), iFile::eAccessed, 2000000000000000000ul));
  EXPECT_EQ(fm()->getFileTime(W(dir_ + "sized"), iFile::eAccessed), 2000000000000000000ul);
  EXPECT_GT(fm()->getFileTime(W(dir_ + "sized"), iFile::eCreated), 0u);
}

TEST_F(FileManager, CurrentDirectoryEndsWithASeparator)
{
  char cwd[4096];
  ASSERT_TRUE(getcwd(cwd, sizeof cwd));
  std::string expected = cwd;
  if (expected.back() != '/') expected += '/';
  EXPECT_EQ(filestest::N(fm()->getCurrentDirectory()), expected);
}

} // namespace
