// Locations from the environment, and the mapping of Windows-style paths.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <optional>

#include "FilesTestSupport.h"
#include "support/TestEnv.h"

namespace {

using filestest::fm;
using filestest::N;
using filestest::W;

iLocations* locations()
{
  return OS()->locations();
}

std::string env(const char* name)
{
  const char* v = std::getenv(name);
  return v ? v : "";
}

// Changes environment variables for one test and puts them back after,
// re-reading the locations both times.
class EnvOverride
{
public:
  ~EnvOverride()
  {
    for (auto& [name, old] : saved_) old ? setenv(name.c_str(), old->c_str(), 1) : unsetenv(name.c_str());
    locations()->refresh();
  }
  void set(const std::string& name, const char* value)
  {
    const char* old = std::getenv(name.c_str());
    saved_.emplace(name, old ? std::optional<std::string>(old) : std::nullopt); // keeps the first
    value ? setenv(name.c_str(), value, 1) : unsetenv(name.c_str());
  }
  void apply() { locations()->refresh(); }

private:
  std::map<std::string, std::optional<std::string>> saved_;
};

TEST(Locations, RootsComeFromTheTestEnvironment)
{
  EXPECT_EQ(N(locations()->getSpecialFolder(iLocations::eUserData)), env("ZR_USER_DATA_DIR"));
  EXPECT_EQ(N(locations()->getSpecialFolder(iLocations::eSharedData)), env("ZR_SHARED_DATA_DIR"));
  EXPECT_EQ(N(locations()->getMachineApplicationFolder()), env("ZR_MACHINE_DIR"));
  EXPECT_EQ(N(locations()->getRegistryFolder(0)), env("ZR_REGISTRY_DIR"));
  EXPECT_EQ(N(locations()->getRegistryFolder(1)), env("ZR_REGISTRY_DIR"));
  EXPECT_EQ(N(locations()->getDriveRoot(L'Q')), env("ZR_DRIVE_ROOT") + "q/");
  EXPECT_EQ(N(locations()->getMachineSubFolderName()), "korvane");
  EXPECT_EQ(N(fm()->getApplicationPath()), env("ZR_APP_DIR"));
  EXPECT_EQ(N(fm()->getApplicationDataFolderName()), "korvane");
  // Unknown ids give empty strings.
  EXPECT_TRUE(locations()->getSpecialFolder(0).empty());
  EXPECT_TRUE(locations()->getSpecialFolder(5).empty());
  EXPECT_TRUE(locations()->getRegistryFolder(2).empty());
  EXPECT_TRUE(locations()->getDriveRoot(L'1').empty());
}

TEST(Locations, FoldersGetATrailingSlashAndRefreshRereads)
{
  const std::string before = N(locations()->getSpecialFolder(iLocations::eUserData));
  EnvOverride o;
  o.set("ZR_USER_DATA_DIR", "/srv/zr/user");
  o.set("ZR_DATA_FOLDER_NAME", "Editor Data");
  o.set("ZR_APP_DIR", "/opt/korvane/bin");
  // Values are read once and kept until refresh().
  EXPECT_EQ(N(locations()->getSpecialFolder(iLocations::eUserData)), before);
  o.apply();
  EXPECT_EQ(N(locations()->getSpecialFolder(iLocations::eUserData)), "/srv/zr/user/");
  EXPECT_EQ(N(fm()->getApplicationDataFolderName()), "Editor Data");
  EXPECT_EQ(N(fm()->getApplicationPath()), "/opt/korvane/bin/");
}

TEST(Locations, DefaultsFollowTheXdgVariables)
{
  EnvOverride o;
  for (const char* name : {"ZR_USER_DATA_DIR", "ZR_SHARED_DATA_DIR", "ZR_REGISTRY_DIR", "ZR_DRIVE_ROOT",
                           "ZR_APP_DIR", "ZR_DATA_FOLDER_NAME"})
    o.set(name, nullptr);
  o.set("XDG_DATA_HOME", "/xdg/data");
  o.set("XDG_DATA_DIRS", "/xdg/shared:/usr/share");
  o.set("XDG_CONFIG_HOME", "/xdg/config");
  o.apply();
  EXPECT_EQ(N(locations()->getSpecialFolder(iLocations::eUserData)), "/xdg/data/");
  EXPECT_EQ(N(locations()->getSpecialFolder(iLocations::eSharedData)), "/xdg/shared/");
  EXPECT_EQ(N(locations()->getRegistryFolder(0)), "/xdg/config/korvane/");
  EXPECT_EQ(N(locations()->getRegistryFolder(1)), env("ZR_MACHINE_DIR") + "korvane/");
  EXPECT_EQ(N(locations()->getDriveRoot(L'c')), "/xdg/data/korvane/drives/c/");
  EXPECT_EQ(N(fm()->getApplicationDataFolderName()), "korvane");

  char exe[4096];
  const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  ASSERT_GT(n, 0);
  std::string folder(exe, size_t(n));
  folder.resize(folder.rfind('/') + 1);
  EXPECT_EQ(N(fm()->getApplicationPath()), folder);
}

TEST(Locations, WithoutXdgVariablesTheHomeFolderIsUsed)
{
  EnvOverride o;
  for (const char* name : {"ZR_USER_DATA_DIR", "ZR_SHARED_DATA_DIR", "ZR_REGISTRY_DIR", "ZR_MACHINE_DIR",
                           "XDG_DATA_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_HOME"})
    o.set(name, nullptr);
  o.set("HOME", "/home/editor");
  o.set("XDG_STATE_HOME", "relative/is/ignored");
  o.apply();
  EXPECT_EQ(N(locations()->getSpecialFolder(iLocations::eUserData)), "/home/editor/.local/share/");
  EXPECT_EQ(N(locations()->getSpecialFolder(iLocations::eSharedData)), "/usr/local/share/");
  EXPECT_EQ(N(locations()->getRegistryFolder(0)), "/home/editor/.config/korvane/");
  const std::string machine = access("/var/lib", W_OK) == 0 ? "/var/lib/" : "/home/editor/.local/state/";
  EXPECT_EQ(N(locations()->getMachineApplicationFolder()), machine);
  EXPECT_EQ(N(locations()->getRegistryFolder(1)), machine + "korvane/");
}

TEST(PathMapping, DriveLettersAndLeadingBackslashesMapOntoDriveFoldersAndOtherPathsPass)
{
  const std::string drives = env("ZR_DRIVE_ROOT");
  EXPECT_EQ(N(fm()->mapPath(W("C:\\ZRPROJ\\Cookie.num"))), drives + "c/ZRPROJ/Cookie.num");
  EXPECT_EQ(N(fm()->mapPath(W("d:/Media/Clip One.mov"))), drives + "d/Media/Clip One.mov");
  EXPECT_EQ(N(fm()->mapPath(W("E:relative\\name"))), drives + "e/relative/name");
  EXPECT_EQ(N(fm()->mapPath(W("C:"))), drives + "c/");
  EXPECT_EQ(N(fm()->mapPath(W("Z:\\"))), drives + "z/");
  // A leading backslash means drive C.
  EXPECT_EQ(N(fm()->mapPath(W("\\qor\\dat\\config.dat"))), drives + "c/qor/dat/config.dat");
  EXPECT_EQ(N(fm()->mapPath(W("\\\\server\\share"))), drives + "c/server/share");
  for (const char* path : {"/tmp/a\\b", "relative\\path", "1:\\not a drive", "", "machine.num", "./C:\\x"})
    EXPECT_EQ(N(fm()->mapPath(W(path))), path);
  EXPECT_EQ(fm()->pathSeparator(), L'/');
}

TEST(PathMapping, OpeningMakingAndListingAWindowsPathReachTheMappedFolder)
{
  const std::string drives = env("ZR_DRIVE_ROOT");
  ASSERT_FALSE(filestest::pathExists(drives + "k"));
  ASSERT_TRUE(fm()->makeDirectory(W("K:\\Projects\\P0001000"), true));
  Zr::Ptr<iFile> f = filestest::openFile("K:\\Projects\\Cookie.num", iFile::eWrite, iFile::eCreateAlways);
  ASSERT_TRUE(f);
  ASSERT_EQ(f->write("1234", 4), 4u);
  f = nullptr;
  EXPECT_EQ(zrtest::readFile(drives + "k/Projects/Cookie.num"), "1234");
  EXPECT_TRUE(fm()->exists(W("k:\\Projects\\Cookie.num")));
  EXPECT_FALSE(fm()->exists(W("K:\\PROJECTS\\Cookie.num"))); // the rest keeps its case
  std::vector<iFileManager::DirectoryItem> items;
  ASSERT_TRUE(fm()->listDirectory(W("K:\\Projects\\*.num"), true, true, items));
  ASSERT_TRUE(fm()->listDirectory(W("K:\\Projects\\P*.*"), false, true, items));
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(N(items[0].name), "Cookie.num");
  EXPECT_EQ(N(items[1].name), "P0001000");
}

} // namespace
