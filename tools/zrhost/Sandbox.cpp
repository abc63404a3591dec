#include "Sandbox.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "Report.h"

namespace zrhost {

const char kDefaultConfig[] = "{\n"
                              "# zrhost's settings: they override the registry and the defaults.\n"
                              "herc_width:int 100\n"
                              "herc_height:int 30\n"
                              "}\n";

namespace {

namespace fs = std::filesystem;

struct Location
{
  const char* variable;
  const char* folder;
};

constexpr Location kLocations[] = {
    {"ZR_USER_DATA_DIR", "user"},    {"ZR_SHARED_DATA_DIR", "shared"}, {"ZR_MACHINE_DIR", "machine"},
    {"ZR_REGISTRY_DIR", "registry"}, {"ZR_DRIVE_ROOT", "drives"},      {"ZR_APP_DIR", "app"},
};

bool callerPlacedTheRun()
{
  for (const Location& l : kLocations) {
    const char* value = std::getenv(l.variable);
    if (value && *value) return true;
  }
  return false;
}

std::string makeTemporaryRoot()
{
  const char* tmp = std::getenv("TMPDIR");
  std::string folder = tmp && *tmp ? tmp : "/tmp";
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  const std::string pattern = folder + "/zrhost-" + std::string(6, 'X');
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back(0);
  if (!::mkdtemp(buffer.data())) fail("making a temporary folder in " + pattern, std::strerror(errno));
  return buffer.data();
}

std::string makeProjectRoot(const std::string& project)
{
  std::error_code ec;
  const fs::path root = fs::absolute(project, ec);
  if (ec) fail("finding the project folder " + project, ec.message());
  fs::create_directories(root, ec);
  if (ec) fail("making the project folder " + root.string(), ec.message());
  if (!fs::is_directory(root)) fail("making the project folder " + root.string(), "it is not a folder");
  return root.string();
}

// The library's string table, from beside an installed zrhost or from the
// source tree it was built in; a copy already there (perhaps edited) stays.
void copyStringTable(const std::string& target)
{
  std::error_code ec;
  if (fs::exists(target, ec)) return;
  const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  const fs::path candidates[] = {exe.parent_path().parent_path() / "share/korvane/strings.txt",
                                 fs::path(ZRHOST_SOURCE_DATA_DIR) / "strings.txt"};
  for (const fs::path& source : candidates) {
    if (!fs::is_regular_file(source, ec)) continue;
    fs::create_directories(fs::path(target).parent_path(), ec);
    if (!ec) fs::copy_file(source, target, ec);
    if (ec) fail("copying the string table to " + target, ec.message());
    return;
  }
  fail("finding the string table strings.txt", "it is neither installed beside zrhost nor in the source tree");
}

void fillRoot(const std::string& root)
{
  for (const Location& l : kLocations) {
    const std::string folder = root + "/" + l.folder;
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) fail("making " + folder, ec.message());
    ::setenv(l.variable, folder.c_str(), 1);
  }
  copyStringTable(root + "/shared/korvane/strings.txt");
  const std::string config = root + "/app/config.dat";
  if (fs::exists(config)) return;
  std::ofstream out(config, std::ios::binary);
  out << kDefaultConfig;
  out.close();
  if (!out) fail("writing " + config, std::strerror(errno));
}

// Runs this program again with the same arguments and waits for it; gives
// its exit code, or 128 + the signal that ended it.
int runChild(char** argv)
{
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid < 0) fail("starting the run", std::strerror(errno));
  if (pid == 0) {
    ::execv("/proc/self/exe", argv);
    std::fprintf(stderr, "zrhost: starting the run failed: %s\n", std::strerror(errno));
    ::_exit(127);
  }
  // Like system(): a Ctrl-C ends the child, and this process cleans up after it.
  struct sigaction ignore = {}, oldInt = {}, oldQuit = {};
  ignore.sa_handler = SIG_IGN;
  ::sigaction(SIGINT, &ignore, &oldInt);
  ::sigaction(SIGQUIT, &ignore, &oldQuit);
  int status = 0;
  pid_t got;
  do {
    got = ::waitpid(pid, &status, 0);
  } while (got < 0 && errno == EINTR);
  ::sigaction(SIGINT, &oldInt, nullptr);
  ::sigaction(SIGQUIT, &oldQuit, nullptr);
  if (got != pid) {
    std::fprintf(stderr, "zrhost: the run failed: %s\n", std::strerror(errno));
    return 1;
  }
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  const int sig = WTERMSIG(status);
  std::fprintf(stderr, "zrhost: the run failed: ended by signal %d (%s)\n", sig, ::strsignal(sig));
  return 128 + sig;
}

} // namespace

int runInSandbox(char** argv, const HostOptions& options)
{
  const char* inside = std::getenv(kRootVariable);
  if (inside && *inside) return -1;
  if (options.project.empty() && callerPlacedTheRun()) {
    section("sandbox");
    std::printf("locations: from the ZR_* variables of the environment; nothing is made or removed\n");
    return -1;
  }

  const bool temporary = options.project.empty();
  const std::string root = temporary ? makeTemporaryRoot() : makeProjectRoot(options.project);
  fillRoot(root);
  ::setenv(kRootVariable, root.c_str(), 1);
  section("sandbox");
  std::printf("root: %s (%s)\n", root.c_str(),
              !temporary     ? "the project folder, kept"
              : options.keep ? "temporary, kept by -keep"
                             : "temporary, removed at the end");
  std::printf("config.dat: %s/app/config.dat\n", root.c_str());

  const int rc = runChild(argv);
  if (temporary && !options.keep) {
    std::error_code ec;
    fs::remove_all(root, ec);
    if (ec) {
      std::fprintf(stderr, "zrhost: removing %s failed: %s\n", root.c_str(), ec.message().c_str());
      return rc ? rc : 1;
    }
    std::printf("removed the temporary folder %s\n", root.c_str());
  } else {
    std::printf("kept %s\n", root.c_str());
  }
  return rc;
}

} // namespace zrhost
