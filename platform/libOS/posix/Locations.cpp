// Locations over the XDG base directories, each root movable by a ZR_*
// environment variable so that tests and packagers can put them anywhere.
#include "libOS/posix/Locations.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <vector>

#include "libOS/Utf8.h"
#include "libOS/posix/Services.h"

namespace posix {
namespace {

std::string withSlash(std::string path)
{
  if (path.empty() || path.back() != '/') path += '/';
  return path;
}

// A variable that is set and not empty.
const char* envValue(const char* name)
{
  const char* v = std::getenv(name);
  return (v && *v) ? v : nullptr;
}

// XDG variables count only when they hold an absolute path.
const char* xdgValue(const char* name)
{
  const char* v = envValue(name);
  return (v && v[0] == '/') ? v : nullptr;
}

std::string homeFolder()
{
  if (const char* home = envValue("HOME")) return withSlash(home);
  std::vector<char> buf(16384);
  passwd pw;
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &pw, buf.data(), buf.size(), &found) == 0 && found && found->pw_dir)
    return withSlash(found->pw_dir);
  return "/";
}

std::string executableFolder()
{
  std::vector<char> buf(4096);
  ssize_t n = readlink("/proc/self/exe", buf.data(), buf.size() - 1);
  if (n <= 0) return "/";
  std::string exe(buf.data(), size_t(n));
  size_t slash = exe.rfind('/');
  return slash == std::string::npos ? std::string("/") : exe.substr(0, slash + 1);
}

LocationRoots readRoots()
{
  LocationRoots r;
  const std::string home = homeFolder();

  if (const char* v = envValue("ZR_USER_DATA_DIR"))
    r.userData = withSlash(v);
  else if (const char* x = xdgValue("XDG_DATA_HOME"))
    r.userData = withSlash(x);
  else
    r.userData = home + ".local/share/";

  if (const char* v = envValue("ZR_SHARED_DATA_DIR")) {
    r.sharedData = withSlash(v);
  } else {
    r.sharedData = "/usr/local/share/";
    if (const char* dirs = xdgValue("XDG_DATA_DIRS")) {
      std::string list(dirs);
      std::string first = list.substr(0, list.find(':'));
      if (!first.empty() && first[0] == '/') r.sharedData = withSlash(first);
    }
  }

  if (const char* v = envValue("ZR_MACHINE_DIR"))
    r.machine = withSlash(v);
  else if (access("/var/lib", W_OK) == 0)
    r.machine = "/var/lib/";
  else if (const char* x = xdgValue("XDG_STATE_HOME"))
    r.machine = withSlash(x);
  else
    r.machine = home + ".local/state/";

  if (const char* v = envValue("ZR_REGISTRY_DIR")) {
    r.registryUser = r.registryShared = withSlash(v);
  } else {
    const char* config = xdgValue("XDG_CONFIG_HOME");
    r.registryUser = (config ? withSlash(config) : home + ".config/") + kApplicationFolder + "/";
    r.registryShared = r.machine + kApplicationFolder + "/";
  }

  if (const char* v = envValue("ZR_DRIVE_ROOT"))
    r.drives = withSlash(v);
  else
    r.drives = r.userData + kApplicationFolder + "/drives/";

  if (const char* v = envValue("ZR_APP_DIR"))
    r.application = withSlash(v);
  else
    r.application = executableFolder();

  const char* name = envValue("ZR_DATA_FOLDER_NAME");
  r.dataFolderName = name ? name : kApplicationFolder;
  return r;
}

LightweightString<wchar_t> wide(const std::string& s)
{
  return OSUtf8::toWide(s.data(), s.size());
}

class PosixLocations final : public iLocations
{
public:
  LightweightString<wchar_t> getSpecialFolder(int id) override
  {
    const LocationRoots r = roots();
    if (id == eUserData) return wide(r.userData);
    if (id == eSharedData) return wide(r.sharedData);
    return {};
  }

  LightweightString<wchar_t> getMachineApplicationFolder() override { return wide(roots().machine); }

  LightweightString<wchar_t> getMachineSubFolderName() override { return wide(kApplicationFolder); }

  LightweightString<wchar_t> getDriveRoot(wchar_t letter) override
  {
    if (letter >= L'A' && letter <= L'Z') letter = wchar_t(letter + 32);
    if (letter < L'a' || letter > L'z') return {};
    return wide(roots().drives + char(letter) + "/");
  }

  LightweightString<wchar_t> getRegistryFolder(int type) override
  {
    const LocationRoots r = roots();
    if (type == 0) return wide(r.registryUser);
    if (type == 1) return wide(r.registryShared);
    return {};
  }

  void refresh() override
  {
    LocationRoots fresh = readRoots();
    std::lock_guard<std::mutex> guard(lock_);
    roots_ = std::move(fresh);
    loaded_ = true;
  }

  LocationRoots roots()
  {
    std::lock_guard<std::mutex> guard(lock_);
    if (!loaded_) {
      roots_ = readRoots();
      loaded_ = true;
    }
    return roots_;
  }

private:
  std::mutex lock_;
  bool loaded_ = false;
  LocationRoots roots_;
};

PosixLocations* instance()
{
  static PosixLocations* locations = new PosixLocations;
  return locations;
}

} // namespace

LocationRoots currentRoots()
{
  return instance()->roots();
}

iLocations* locations()
{
  return instance();
}

} // namespace posix
