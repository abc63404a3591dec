#include "support/TestEnv.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace zrtest {
namespace {

std::string& rootStore()
{
  static std::string root;
  return root;
}

std::map<std::string, ChildFn>& roles()
{
  static std::map<std::string, ChildFn> table;
  return table;
}

std::string selfPath()
{
  char buf[4096];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) throw std::runtime_error("cannot read /proc/self/exe");
  buf[n] = 0;
  return buf;
}

} // namespace

const std::string& tempRoot()
{
  std::string& root = rootStore();
  if (root.empty()) {
    const char* env = std::getenv("ZR_TEST_ROOT");
    if (env && *env) root = env;
  }
  return root;
}

std::string makeTempDir(const std::string& name)
{
  static int serial = 0;
  std::string dir = tempRoot() + "/t" + std::to_string(getpid()) + "_" + std::to_string(++serial) + "_" + name + "/";
  std::filesystem::create_directories(dir);
  return dir;
}

void writeFile(const std::string& path, const std::string& content)
{
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

std::string readFile(const std::string& path)
{
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

int spawnChild(const std::string& role, const std::vector<std::string>& args)
{
  const std::string self = selfPath();
  pid_t pid = fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(self.c_str()));
    argv.push_back(const_cast<char*>("--zr-child"));
    argv.push_back(const_cast<char*>(role.c_str()));
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(self.c_str(), argv.data());
    _exit(127);
  }
  return pid;
}

int waitChild(int pid, int timeoutMs)
{
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    int status = 0;
    pid_t r = waitpid(pid, &status, WNOHANG);
    if (r == pid) {
      if (WIFEXITED(status)) return WEXITSTATUS(status);
      if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
      return -1;
    }
    if (r < 0 && errno != EINTR) return -1;
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

int runChild(const std::string& role, const std::vector<std::string>& args, int timeoutMs)
{
  int pid = spawnChild(role, args);
  return pid < 0 ? -1 : waitChild(pid, timeoutMs);
}

ChildRegistrar::ChildRegistrar(const char* role, ChildFn fn) { roles()[role] = fn; }

int runChildRole(const std::string& role, const std::vector<std::string>& args)
{
  auto it = roles().find(role);
  if (it == roles().end()) return 126;
  return it->second(args);
}

void setUpFreshRoots()
{
  const char* tmp = std::getenv("TMPDIR");
  // mkdtemp replaces the six trailing X characters.
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/zrtest-" + std::string(6, 'X');
  std::vector<char> buf(pattern.begin(), pattern.end());
  buf.push_back(0);
  if (!mkdtemp(buf.data())) throw std::runtime_error("mkdtemp failed");
  std::string root = buf.data();
  rootStore() = root;
  setenv("ZR_TEST_ROOT", root.c_str(), 1);
  const char* dirs[][2] = {
      {"ZR_USER_DATA_DIR", "/user/"},     {"ZR_SHARED_DATA_DIR", "/shared/"},
      {"ZR_MACHINE_DIR", "/machine/"},    {"ZR_REGISTRY_DIR", "/registry/"},
      {"ZR_DRIVE_ROOT", "/drives/"},      {"ZR_APP_DIR", "/app/"},
  };
  for (auto& d : dirs) {
    std::string path = root + d[1];
    std::filesystem::create_directories(path);
    setenv(d[0], path.c_str(), 1);
  }
}

void removeRoots()
{
  const std::string& root = rootStore();
  if (root.empty() || std::getenv("ZR_KEEP_TEST_ROOT")) return;
  std::error_code ec;
  std::filesystem::remove_all(root, ec);
}

} // namespace zrtest
