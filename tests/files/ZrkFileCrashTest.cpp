// A save through ZrkFile either happens whole or not at all: a process
// killed at any moment, or one whose disk fills, leaves the old file.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "FilesTestSupport.h"
#include "files/ZrkFile.h"
#include "support/SaveTrials.h"

namespace {

using namespace filetest;

bool save(const std::string& path, const std::string& content)
{
  ZrkFile file(wide(path), iFile::eWrite, iFile::eCreateAlways, iFile::eShareNone);
  return file.write(bytes(content), unsigned(content.size())) && file.close();
}

// Runs fn in a forked child and gives its exit code, or 128 + the signal.
int inChild(const std::function<int()>& fn)
{
  const pid_t child = fork();
  if (child == 0) _exit(fn());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(ZrkFileCrash, KilledAtAnyMomentLeavesOneWholeContent)
{
  const std::string path = zrtest::makeTempDir("crash") + "project.ed5";
  const zrtest::SaveTrialResult result =
    zrtest::killWhileSaving(path, pattern(64 << 10, 1), pattern(200 << 10, 2), save, 200, 12345);
  EXPECT_EQ(result.failure, "");
  // Kills landed while both contents were current, so both were checked.
  EXPECT_GT(result.small, 0);
  EXPECT_GT(result.large, 0);
}

TEST(ZrkFileCrash, FullDiskFailsTheCloseAndKeepsTheOldFile)
{
  const std::string path = zrtest::makeTempDir("full") + "project.ed5";
  const std::string old = pattern(10 << 10, 3);
  ASSERT_TRUE(save(path, old));
  const int code = inChild([&] {
    // The kernel cuts writes at 64 KiB; without SIGXFSZ ignored it would
    // kill the process instead of failing the write.
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{64 << 10, 64 << 10};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 3;
    ZrkFile file(wide(path), iFile::eWrite, iFile::eCreateAlways, iFile::eShareNone);
    if (!file.write(bytes(pattern(200 << 10, 4)), 200 << 10)) return 4;
    return file.close() ? 1 : 0;
  });
  EXPECT_EQ(code, 0);
  EXPECT_EQ(zrtest::readFile(path), old);
  EXPECT_FALSE(exists(path + ".TMP"));
}

} // namespace
