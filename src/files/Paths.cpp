#include "files/Paths.h"

#include "libOS/OS.h"
#include "libOS/iFileManager.h"
#include "libOS/iServices.h"
#include "libzr/Strings.h"
#include "logging/DebugConsole.h"

namespace {

wchar_t separator() { return OS()->fileManager()->pathSeparator(); }

LightweightString<wchar_t> withSeparator(LightweightString<wchar_t> dir)
{
  if (dir.empty() || dir.c_str()[dir.size() - 1] != separator()) dir.push_back(separator());
  return dir;
}

LightweightString<wchar_t>& projectsBase()
{
  static LightweightString<wchar_t> base = getDefaultLocalProjectsDir();
  return base;
}

} // namespace

LightweightString<wchar_t> Zr::PathsLite::getUserDataPath()
{
  LightweightString<wchar_t> path = OS()->locations()->getSpecialFolder(iLocations::eUserData);
  return path + OS()->fileManager()->getApplicationDataFolderName();
}

LightweightString<wchar_t> getUserRootDirectory()
{
  static const LightweightString<wchar_t> root = [] {
    LightweightString<wchar_t> dir = Zr::PathsLite::getUserDataPath();
    dir.push_back(separator());
    OS()->fileManager()->makeDirectory(dir, true);
    return dir;
  }();
  return root;
}

LightweightString<wchar_t> getDefaultLocalProjectsDir()
{
  static const LightweightString<wchar_t> dir = [] {
    LightweightString<wchar_t> projects = getUserRootDirectory() + L"Projects";
    projects.push_back(separator());
    iFileManager* files = OS()->fileManager();
    if (!files->exists(projects) && !files->makeDirectory(projects, true))
      LogBoth("WARNING! Unable to make Projects folder\n");
    return projects;
  }();
  return dir;
}

LightweightString<wchar_t> getProjectsBaseDirectory() { return projectsBase(); }

bool setProjectsBaseDirectory(const LightweightString<wchar_t>& dir)
{
  if (!dir.empty()) projectsBase() = withSeparator(dir);
  LogBoth("Setting project base directory %s\n", toUTF8(dir).c_str());
  return true;
}

LightweightString<wchar_t> getSharedRootDirectory()
{
  static const LightweightString<wchar_t> root = [] {
    LightweightString<wchar_t> dir = OS()->locations()->getSpecialFolder(iLocations::eSharedData);
    return withSeparator(dir + L"korvane");
  }();
  return root;
}

LightweightString<wchar_t> getLanguageFileDir() { return getSharedRootDirectory(); }

LightweightString<wchar_t> getPrefsDirectory(iSettings::eType type)
{
  if (type != iSettings::eUser) {
    static const LightweightString<wchar_t> shared = withSeparator(getSharedRootDirectory() + L"Preferences");
    return shared;
  }
  static const LightweightString<wchar_t> user = [] {
    LightweightString<wchar_t> dir = withSeparator(getUserRootDirectory() + L"Preferences");
    iFileManager* files = OS()->fileManager();
    if (!files->exists(dir)) files->makeDirectory(dir, true);
    return dir;
  }();
  return user;
}
