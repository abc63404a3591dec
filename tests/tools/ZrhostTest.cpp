// zrhost run as a user runs it: on a machine where nothing of the library
// exists yet, in a project folder, and with bad command lines.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>
#include <vector>

#include "RunProgram.h"
#include "support/TestEnv.h"

namespace {

using zrtest::contains;
using zrtest::ProgramResult;

// A home and a temporary folder of their own, and none of the ZR_*
// variables: the library's locations would all fall in that home.
struct FreshMachine
{
  FreshMachine()
  {
    static int machines = 0;
    const std::string n = std::to_string(++machines);
    home = zrtest::makeTempDir("home" + n);
    tmp = zrtest::makeTempDir("tmp" + n);
  }
  std::vector<std::string> env() const { return {"PATH=/usr/bin:/bin", "HOME=" + home, "TMPDIR=" + tmp}; }
  ProgramResult zrhost(const std::vector<std::string>& args) const
  {
    const std::vector<std::string> e = env();
    return zrtest::runProgram(ZRHOST, args, &e);
  }

  std::string home;
  std::string tmp;
};

bool isFile(const std::string& path)
{
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Each part after the one before it.
void expectInOrder(const std::string& text, const std::vector<std::string>& parts)
{
  size_t at = 0;
  for (const std::string& part : parts) {
    const size_t found = text.find(part, at);
    ASSERT_NE(found, std::string::npos) << "missing, or out of order: " << part << "\n" << text;
    at = found + part.size();
  }
}

const char kUsage[] = "Usage: " ZRHOST " -project <dir> -objects <n> -seconds <n> -keep -quiet\n";

TEST(ZrhostRun, RunsOnAFreshMachineAndLeavesNothingBehind)
{
  const FreshMachine machine;
  const ProgramResult run = machine.zrhost({});
  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  expectInOrder(run.out, {"== sandbox",
                          "root: " + machine.tmp + "zrhost-",
                          "(temporary, removed at the end)",
                          "== command line",
                          "== locations",
                          "== start-up",
                          "order: except_init, service_init, config_init, co_init",
                          "config_init(",
                          ") = 0: 2 entries",
                          "co_init(): this thread is process 0",
                          "== settings",
                          "seeded zrhost_workers = 4 in the registry",
                          "herc_width       100          80           config.dat",
                          "zrhost_workers   4            3            registry",
                          "overridden defaults: herc_width, herc_height, zrhost_workers",
                          "== cookies and stamps",
                          "from the jar: ",
                          "(serial 1)",
                          "(serial 2)",
                          "== debug console",
                          "console| herc_printf reaches the console only",
                          "== files",
                          "== threads",
                          "== system",
                          "== commands and strings",
                          "command 1: _Crash, internal, no default key",
                          "command 2: zrhostPrintProcesses, user-visible",
                          "found by its display name, in any case: command 2",
                          "$ root",
                          "the product (13572) is \"Korvane\"",
                          "== streamed objects",
                          "wrote 3000 objects",
                          "read back 3000 of 3000 objects",
                          "== co-processes",
                          "started 4 workers and a checker",
                          "zrhost worker 4",
                          "zrhost checker",
                          "progress: 100%",
                          "4 of 4 stopped",
                          "saw no mismatch",
                          "== shutdown",
                          "callback 100: marked the clean exit",
                          "callback 900: co_shutdown (700) ended the checker: yes",
                          "callbacks ran in order: 100 450 900; isExiting: yes",
                          "zrhost: done",
                          "removed the temporary folder " + machine.tmp + "zrhost-"});
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(zrtest::listFolder(machine.home), std::vector<std::string>{});
  EXPECT_EQ(zrtest::listFolder(machine.tmp), std::vector<std::string>{});
}

TEST(ZrhostRun, AProjectKeepsItsFilesSettingsAndCountersAcrossRuns)
{
  const FreshMachine machine;
  const std::string project = machine.tmp + "my project";
  const std::vector<std::string> args = {"-project", project, "-quiet", "-seconds", "0.1", "-objects", "10"};
  const ProgramResult first = machine.zrhost(args);
  ASSERT_EQ(first.exitCode, 0) << first.out << first.err;
  EXPECT_TRUE(contains(first.out, "wrote 10 objects")) << first.out;
  EXPECT_TRUE(contains(first.out, "kept " + project + "\n")) << first.out;
  for (const char* file : {"app/config.dat", "registry/shared.reg", "registry/user.reg",
                           "user/korvane/Projects/cookie.num", "user/korvane/Projects/zrhost-objects.dat"})
    EXPECT_TRUE(isFile(project + "/" + file)) << file;

  // The user's own settings, edited between runs, are read and not rewritten.
  const std::string edited = "{\nherc_width:int 120\nzrhost_workers:int 2\n}\n";
  zrtest::writeFile(project + "/app/config.dat", edited);
  const ProgramResult second = machine.zrhost(args);
  ASSERT_EQ(second.exitCode, 0) << second.out << second.err;
  EXPECT_EQ(zrtest::readFile(project + "/app/config.dat"), edited);
  expectInOrder(second.out, {"herc_width       120          80           config.dat",
                             "herc_height      25           25           default",
                             "zrhost_workers   2            3            config.dat",
                             "run 2 in these locations", "(serial 3)", "(serial 4)", "started 2 workers"});
  EXPECT_FALSE(contains(second.out, "seeded")) << second.out;
  // The first run marked its clean exit.
  EXPECT_FALSE(contains(second.out, "previous run exited incorrectly")) << second.out;
  EXPECT_EQ(zrtest::listFolder(machine.home), std::vector<std::string>{});
}

TEST(ZrhostRun, KeepLeavesTheTemporaryRootAndZrVariablesPlaceTheRun)
{
  const FreshMachine machine;
  const ProgramResult kept = machine.zrhost({"-keep", "-quiet", "-seconds", "0", "-objects", "1"});
  ASSERT_EQ(kept.exitCode, 0) << kept.out << kept.err;
  const std::vector<std::string> left = zrtest::listFolder(machine.tmp);
  ASSERT_EQ(left.size(), 1u);
  EXPECT_TRUE(isFile(machine.tmp + left[0] + "/app/config.dat"));
  EXPECT_TRUE(contains(kept.out, "(temporary, kept by -keep)")) << kept.out;

  // A caller that sets the locations gets the run where it asked, and no sandbox.
  const FreshMachine placed;
  std::vector<std::string> env = placed.env();
  const std::string userData = zrtest::makeTempDir("placed-user");
  env.push_back("ZR_USER_DATA_DIR=" + userData);
  for (const char* name :
       {"ZR_SHARED_DATA_DIR", "ZR_MACHINE_DIR", "ZR_REGISTRY_DIR", "ZR_DRIVE_ROOT", "ZR_APP_DIR"})
    env.push_back(std::string(name) + "=" + zrtest::makeTempDir(std::string("placed-") + name));
  const ProgramResult run = zrtest::runProgram(ZRHOST, {"-quiet", "-seconds", "0", "-objects", "1"}, &env);
  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  EXPECT_TRUE(contains(run.out, "locations: from the ZR_* variables")) << run.out;
  // No config.dat there: the registry and the defaults stand.
  EXPECT_TRUE(contains(run.out, ": no config.dat; the registry and the defaults stand")) << run.out;
  EXPECT_TRUE(isFile(userData + "korvane/Projects/cookie.num"));
  EXPECT_EQ(zrtest::listFolder(placed.tmp), std::vector<std::string>{});
}

TEST(ZrhostRun, ProgressIsOneRewrittenLineOnATerminal)
{
  const FreshMachine machine;
  const ProgramResult run =
      zrtest::runOnTerminal(ZRHOST, {"-quiet", "-seconds", "0.5", "-objects", "1"}, machine.env());
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_TRUE(contains(run.out, "\rprogress: ")) << run.out;
  EXPECT_FALSE(contains(run.out, "progress: 100%")) << run.out;
}

TEST(ZrhostCommandLine, BadCommandLinesExitTwoWithTheUsageAndMakeNothing)
{
  const FreshMachine machine;
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"-x"}, "unrecognised option `-x'.\n"},
      {{"-pro", "p"}, "unrecognised option `-pro'.\n"},
      {{"extra"}, "too many arguments.\n"},
      {{"-project"}, "zrhost: -project needs a folder.\n"},
      {{"-project", ""}, "zrhost: -project needs a folder.\n"},
      {{"-objects"}, "zrhost: -objects needs a number.\n"},
      {{"-objects", "5", "-objects"}, "zrhost: -objects needs a number.\n"},
      {{"-seconds", "-quiet"}, "zrhost: -seconds needs a number.\n"},
      {{"-objects", "0"}, "zrhost: -objects takes a whole number from 1 to 1000000, not `0'.\n"},
      {{"-objects", "1000001"}, "not `1000001'"},
      {{"-objects", "3x"}, "not `3x'"},
      {{"-objects", "99999999999999999999"}, "not `99999999999999999999'"},
      {{"-seconds", "3601"}, "zrhost: -seconds takes a number from 0 to 3600, not `3601'.\n"},
      {{"-seconds", "nan"}, "not `nan'"},
      {{"-seconds", "1s"}, "not `1s'"},
  };
  for (const auto& [args, complaint] : cases) {
    const ProgramResult run = machine.zrhost(args);
    EXPECT_EQ(run.exitCode, 2) << args[0];
    EXPECT_TRUE(contains(run.err, complaint)) << run.err;
    EXPECT_TRUE(contains(run.err, kUsage)) << run.err;
    EXPECT_EQ(run.out, "");
  }
  EXPECT_EQ(zrtest::listFolder(machine.tmp), std::vector<std::string>{});
  EXPECT_EQ(zrtest::listFolder(machine.home), std::vector<std::string>{});
}

TEST(ZrhostCommandLine, HelpShowsTheUsageAndEveryOption)
{
  const FreshMachine machine;
  const ProgramResult run = machine.zrhost({"-help"});
  EXPECT_EQ(run.exitCode, 0);
  expectInOrder(run.out,
                {"zrhost: the reference host of zrbase\n", kUsage, "-d ", "debug mode", "-v ", "verbose mode",
                 "-help ", "Help", "-project <dir> ", "-objects <n> ", "-seconds <n> ", "-keep ", "-quiet "});
  EXPECT_EQ(zrtest::listFolder(machine.tmp), std::vector<std::string>{});
}

TEST(ZrhostFailures, ExitOneSayingWhatFailedAndWhy)
{
  const FreshMachine machine;
  const std::string file = machine.tmp + "a file";
  zrtest::writeFile(file, "x");
  const ProgramResult notAFolder = machine.zrhost({"-project", file});
  EXPECT_EQ(notAFolder.exitCode, 1);
  EXPECT_TRUE(contains(notAFolder.err, "zrhost: making the project folder " + file + " failed: "))
      << notAFolder.err;

  // A config.dat cut short before its end line.
  const std::string project = machine.tmp + "cut";
  zrtest::writeFile(project + "/app/config.dat", "{\nherc_width:int 90\n");
  const ProgramResult cut = machine.zrhost({"-project", project, "-quiet"});
  EXPECT_EQ(cut.exitCode, 1);
  EXPECT_TRUE(contains(cut.err, "zrhost: config_init(" + project + "/app/config.dat) failed: ")) << cut.err;
  EXPECT_FALSE(contains(cut.out, "zrhost: done"));
}

} // namespace
