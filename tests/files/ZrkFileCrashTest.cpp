// A save through ZrkFile either happens whole or not at all: a process
// killed at any moment, or one whose disk fills, leaves the old file.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <random>

#include "FilesTestSupport.h"
#include "files/ZrkFile.h"

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
  const std::string small = pattern(64 << 10, 1);
  const std::string large = pattern(200 << 10, 2);
  ASSERT_TRUE(save(path, small));

  // The kills are spread over one cycle of the two saves, whatever the
  // disk's speed.
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 4; ++i) save(path, i % 2 ? small : large);
  const auto cycle =
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start) / 2;
  std::mt19937 random(12345);
  std::uniform_int_distribution<long> delay(0, std::max<long>(cycle.count(), 200));

  constexpr int kTrials = 200;
  int seenSmall = 0, seenLarge = 0;
  for (int trial = 0; trial < kTrials; ++trial) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (unsigned long n = 0;; ++n) save(path, n % 2 ? small : large);
    }
    const long wait = delay(random);
    const timespec pause{wait / 1000000, (wait % 1000000) * 1000};
    nanosleep(&pause, nullptr);
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    const std::string now = zrtest::readFile(path);
    if (now == small)
      ++seenSmall;
    else if (now == large)
      ++seenLarge;
    else
      FAIL() << "trial " << trial << " after " << wait << " us left " << now.size() << " bytes";
  }
  // Kills landed while both contents were current, so both were checked.
  EXPECT_GT(seenSmall, 0);
  EXPECT_GT(seenLarge, 0);
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
