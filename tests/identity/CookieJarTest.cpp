#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>

#include "support/TestEnv.h"
#include "files/Paths.h"
#include "identity/Cookie.h"
#include "identity/CookieJar.h"
#include "libOS/OS.h"
#include "libOS/iFileManager.h"
#include "libOS/iServices.h"
#include "libOS/iSettings.h"
#include "libzr/Strings.h"
#include "settings/RegistryConfig.h"

namespace {

using Str = LightweightString<char>;

std::string utf8(const LightweightString<wchar_t>& s) { return toUTF8(s).c_str(); }

// Log lines carry a time stamp; the texts under test are what follows it.
std::string withoutStamps(const std::string& out)
{
  return std::regex_replace(out, std::regex("[0-9]+\\.[0-9]{3} *: "), "");
}

std::string captured()
{
  return withoutStamps(testing::internal::GetCapturedStdout());
}

std::string cookieNumPath() { return utf8(CookieJar::getCookieDotNumPath()); }

std::string machineDirFile() { return std::string(std::getenv("ZR_MACHINE_DIR")) + "/"; }

std::string driveC() { return std::string(std::getenv("ZR_DRIVE_ROOT")) + "/c/machine.num"; }

const char kMachineWarning[] =
  "\n*********************************************************\n"
  "***                                                   ***\n"
  "***  !! WARNING !!  Cannot find valid Machine Number. ***\n"
  "***                                                   ***\n"
  "***  You are strongly advised to ABORT and get help.  ***\n"
  "***                                                   ***\n"
  "*********************************************************\n\n";

#define CHECK(condition) \
  if (!(condition)) return __LINE__

// Prints the machine number it finds, for the parent to compare.
ZR_CHILD_ROLE(machine_number)
{
  testing::internal::CaptureStdout();
  const int number = Cookie::getLocalMachineNumber();
  const std::string out = captured();
  zrtest::writeFile(args.at(0), std::to_string(number) + "\n" + out);
  return 0;
}

ZR_CHILD_ROLE(jar_start)
{
  testing::internal::CaptureStdout();
  CookieJar& jar = CookieJar::instance();
  const std::string out = captured();
  zrtest::writeFile(args.at(0), out);
  CHECK(!UserConfig().getValue(Str("Normal Exit"), true, Str("Configuration")));
  CHECK(jar.cookieNum() == std::uint32_t(std::atoi(args.at(1).c_str())));
  return 0;
}

std::string runForOutput(const char* role, std::vector<std::string> more = {})
{
  static int n = 0;
  const std::string out = zrtest::tempRoot() + "/child_out_" + std::to_string(++n);
  more.insert(more.begin(), out);
  EXPECT_EQ(zrtest::runChild(role, more), 0) << role;
  return zrtest::readFile(out);
}

TEST(MachineNumber, IsMadeOnceInTheMachineFolderAndFoundAgain)
{
  const std::string first = runForOutput("machine_number");
  const int number = std::atoi(first.c_str());
  EXPECT_TRUE(isValidMachineNum(number)) << first;
  EXPECT_EQ(first.find("WARNING"), std::string::npos);
  const std::string file = zrtest::readFile(machineDirFile() + utf8(OS()->locations()->getMachineSubFolderName()) +
                                            "/machine.num");
  EXPECT_EQ(std::atoi(file.c_str()), number);
  EXPECT_EQ(file.find('\n'), std::string::npos) << "one line with no line end";
  EXPECT_EQ(std::atoi(runForOutput("machine_number").c_str()), number);
}

TEST(MachineNumber, SourcesInTheirOrderAndTheRefusedFile)
{
  struct Case
  {
    const char* setting;  // GlobalConfig "machine.num", or null
    const char* registry; // registry value, or null
    const char* file;     // c:\machine.num, or null
    int expected;
    bool warns;
  };
  const Case cases[] = {
    {"12", "34", "56", 12, false},
    {nullptr, "34", "56", 34, false},
    {nullptr, "5000", nullptr, 5000, false}, // trusted as it stands
    {nullptr, nullptr, "56\n", 56, false},
    {nullptr, nullptr, "647", 0, true},
    {nullptr, nullptr, "0", 0, true},
    {nullptr, nullptr, "junk", 0, true},
    {nullptr, "0", "2703", 2703, false},
  };
  for (const Case& c : cases) {
    if (c.setting)
      GlobalConfig().setValue(Str("machine.num"), Str(c.setting), Str(""));
    else
      GlobalConfig().removeValue(Str("machine.num"), Str(""));
    if (c.registry)
      OS()->registry()->writeString(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Korvane\\Configuration", L"machine.num", "wow32",
                                    fromUTF8(Str(c.registry)));
    else
      OS()->registry()->getSettings(iSettings::eShared)->removeValue(Str("machine.num"),
                                                                      Str("SOFTWARE\\Korvane\\Configuration"));
    if (c.file)
      zrtest::writeFile(driveC(), c.file);
    else
      std::remove(driveC().c_str());
    const std::string out = runForOutput("machine_number");
    EXPECT_EQ(std::atoi(out.c_str()), c.expected) << out;
    EXPECT_EQ(out.find(kMachineWarning) != std::string::npos, c.warns) << out;
  }
  GlobalConfig().removeValue(Str("machine.num"), Str(""));
  std::remove(driveC().c_str());
}

TEST(CookieJar, RefusesCounterFilesOutsideTheSerialRange)
{
  CookieJar& jar = CookieJar::instance();
  const std::string path = zrtest::makeTempDir("counters") + "cookie.num";
  const std::pair<const char*, int> cases[] = {
    {"0", -1}, {"1679616", -1}, {"garbage", -1}, {"", -1}, {"-5", -1},
    {"1", 1},  {"1679615", 1679615}, {"42\n", 42}, {"  77xyz", 77},
  };
  for (auto [text, expected] : cases) {
    jar.setNextSerial(9);
    zrtest::writeFile(path, text);
    EXPECT_EQ(jar.readCookieNum(fromUTF8(Str(path.c_str()))), expected > 0) << text;
    EXPECT_EQ(jar.cookieNum(), expected > 0 ? std::uint32_t(expected) : 9u) << text;
  }
}

TEST(CookieJar, CounterWrapsAfterTheLastSerialWithOneLogLine)
{
  CookieJar& jar = CookieJar::instance();
  jar.setNextSerial(1679614);
  testing::internal::CaptureStdout();
  EXPECT_EQ(jar.cookieNum(), 1679614u);
  EXPECT_EQ(captured(), "");
  testing::internal::CaptureStdout();
  EXPECT_EQ(jar.cookieNum(), 1679615u);
  EXPECT_EQ(captured(), "CookieJar::cookieNum() : next Cookie number is too big! ...setting to zero\n");
  EXPECT_EQ(jar.cookieNum(), 0u);
}

TEST(CookieJar, FlushWritesOnlyAMovedCounterThroughTheFinalName)
{
  CookieJar& jar = CookieJar::instance();
  const std::string path = cookieNumPath();
  zrtest::writeFile(path, "500");
  ASSERT_TRUE(jar.readCookieNum(CookieJar::getCookieDotNumPath()));
  std::remove(path.c_str());
  jar.flush();
  EXPECT_EQ(zrtest::readFile(path), "") << "nothing taken, nothing written";

  EXPECT_EQ(jar.cookieNum(), 500u);
  jar.flush();
  EXPECT_EQ(zrtest::readFile(path), "501");
  EXPECT_EQ(zrtest::readFile(path + ".TMP"), "");
}

TEST(CookieJar, FailedWriteLogsTheWholeWarningBlock)
{
  CookieJar& jar = CookieJar::instance();
  const std::string bad = zrtest::tempRoot() + "/no such folder/cookie.num";
  testing::internal::CaptureStdout();
  EXPECT_FALSE(jar.writeCookieNum(fromUTF8(Str(bad.c_str()))));
  EXPECT_EQ(captured(), "******************************************\n\nWARNING!!! UNABLE TO UPDATE COOKIE NUMBER FILE\n(" +
                          bad +
                          ")\n This WILL cause repeat cookies and missing shots.\n DO SOMETHING NOW!!!\n \n "
                          "**************************************\n");
}

TEST(CookieJar, StartWithABadCounterWarnsAndMarksTheRun)
{
  zrtest::writeFile(cookieNumPath(), "1679616");
  UserConfig().setValue(Str("Normal Exit"), true, Str("Configuration"));
  std::string out = runForOutput("jar_start", {"1"});
  EXPECT_EQ(out, "******************************************\n\n"
                 " WARNING!!! UNABLE TO FIND COOKIE NUMBER FILE\n"
                 " in the current directory or (" +
                   cookieNumPath() +
                   ")\n"
                   " This WILL cause repeat cookies and missing shots.\n"
                   " System will attempt to repair automatically\n\n"
                   "******************************************\n");

  // The first run left "Normal Exit" false: the next start says so.
  zrtest::writeFile(cookieNumPath(), "321");
  out = runForOutput("jar_start", {"321"});
  EXPECT_EQ(out, "previous run exited incorrectly\n");
  EXPECT_EQ(zrtest::readFile(cookieNumPath()), "322") << "the jar flushes at exit";
}

TEST(CookieJar, MakesShortLongAndInvalidCookies)
{
  CookieJar& jar = CookieJar::instance();
  jar.setNextSerial(77);
  const Cookie shortOne = jar.makeCookie(CookieTypeE, Cookie::eShort, Cookie::kDefaultSubType);
  ASSERT_TRUE(shortOne.valid());
  EXPECT_EQ(shortOne.serial(), 77u);
  EXPECT_EQ(int(shortOne.machine()), Cookie::getLocalMachineNumber());
  EXPECT_EQ(Cookie(CookieTypeP, 5, 0, Cookie::kLocalMachine).machine(), shortOne.machine());

  const Cookie longOne = jar.makeCookie(CookieTypeS, Cookie::eLong, 3);
  EXPECT_EQ(longOne.version(), Cookie::eLong);
  EXPECT_EQ(longOne.subType(), 3);
  EXPECT_NE(longOne, jar.makeCookie(CookieTypeS, Cookie::eLong, 3));

  EXPECT_FALSE(jar.makeCookie(CookieTypeI, Cookie::eShort, 0).valid());
  EXPECT_FALSE(jar.makeCookie(CookieTypeS, Cookie::eShort, 99).valid());
  EXPECT_EQ(jar.cookieNum(), 78u) << "impossible cookies spend no serials";

  jar.setDefaultCookieVersion(Cookie::eLong);
  EXPECT_EQ(newCookie(CookieTypeV).version(), Cookie::eLong);
  jar.setDefaultCookieVersion(Cookie::eShort);
  EXPECT_EQ(newCookie(CookieTypeV).serial(), 79u);
}

TEST(CookieJar, HighestSerialOfThisMachineAmongProjectNames)
{
  const int machine = Cookie::getLocalMachineNumber();
  const int other = machine == 5 ? 6 : 5;
  const std::string base = utf8(getProjectsBaseDirectory());
  for (const Cookie& c : {Cookie(CookieTypeP, 40, 0, machine), Cookie(CookieTypeE, 900, 0, machine),
                          Cookie(CookieTypeP, 5000, 0, other), Cookie(CookieTypeG, 7000, 0, machine)})
    zrtest::writeFile(base + c.asString().c_str(), "x");
  testing::internal::CaptureStdout();
  EXPECT_EQ(Cookie::findHighestCookieNum(), 900u);
  EXPECT_EQ(captured(), "Highest Cookie num found is 900\n");
}

TEST(Paths, ProjectsFoldersFromTheUserRoot)
{
  const std::string root = utf8(OS()->locations()->getSpecialFolder(4)) +
                           utf8(OS()->fileManager()->getApplicationDataFolderName());
  EXPECT_EQ(utf8(Zr::PathsLite::getUserDataPath()), root);
  EXPECT_EQ(utf8(getDefaultLocalProjectsDir()), root + "/Projects/");
  EXPECT_TRUE(OS()->fileManager()->isDirectory(getDefaultLocalProjectsDir()));
  EXPECT_EQ(cookieNumPath(), root + "/Projects/cookie.num");

  const LightweightString<wchar_t> before = getProjectsBaseDirectory();
  EXPECT_EQ(utf8(before), root + "/Projects/");
  testing::internal::CaptureStdout();
  EXPECT_TRUE(setProjectsBaseDirectory(L""));
  EXPECT_TRUE(getProjectsBaseDirectory() == before);
  EXPECT_TRUE(setProjectsBaseDirectory(L"/elsewhere/projects"));
  EXPECT_EQ(utf8(getProjectsBaseDirectory()), "/elsewhere/projects/");
  EXPECT_EQ(captured(), "Setting project base directory \nSetting project base directory /elsewhere/projects\n");
  setProjectsBaseDirectory(before);
}

} // namespace
