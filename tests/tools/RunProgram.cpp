#include "RunProgram.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include "support/TestEnv.h"

namespace zrtest {

namespace {

std::vector<char*> pointers(const std::vector<std::string>& words)
{
  std::vector<char*> list;
  for (const std::string& w : words) list.push_back(const_cast<char*>(w.c_str()));
  list.push_back(nullptr);
  return list;
}

[[noreturn]] void execute(const std::string& program, const std::vector<std::string>& args,
                          const std::vector<std::string>* env)
{
  std::vector<std::string> argv{program};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<char*> argPointers = pointers(argv);
  if (env) {
    std::vector<char*> envPointers = pointers(*env);
    ::execve(program.c_str(), argPointers.data(), envPointers.data());
  } else {
    ::execv(program.c_str(), argPointers.data());
  }
  ::_exit(127);
}

int exitCodeOf(int status)
{
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Waits for pid; kills it when it has not ended in time.
int waitFor(pid_t pid, int timeoutMs)
{
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  int status = 0;
  for (;;) {
    const pid_t got = ::waitpid(pid, &status, WNOHANG);
    if (got == pid) return exitCodeOf(status);
    if (got < 0 && errno != EINTR) return -1;
    if (std::chrono::steady_clock::now() > deadline) {
      ::kill(pid, SIGKILL);
      ::waitpid(pid, &status, 0);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

} // namespace

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& args,
                         const std::vector<std::string>* env, int timeoutMs)
{
  static int runs = 0;
  const std::string dir = makeTempDir("run" + std::to_string(++runs));
  const std::string outPath = dir + "out", errPath = dir + "err";
  const pid_t pid = ::fork();
  if (pid == 0) {
    const int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(out, 1);
    ::dup2(err, 2);
    execute(program, args, env);
  }
  ProgramResult run;
  if (pid > 0) run.exitCode = waitFor(pid, timeoutMs);
  run.out = readFile(outPath);
  run.err = readFile(errPath);
  return run;
}

ProgramResult runOnTerminal(const std::string& program, const std::vector<std::string>& args,
                            const std::vector<std::string>& env)
{
  ProgramResult run;
  int master = -1;
  const pid_t pid = ::forkpty(&master, nullptr, nullptr, nullptr);
  if (pid == 0) execute(program, args, &env);
  if (pid < 0) return run;
  // Drain the terminal as the child writes, or it blocks on a full buffer.
  char chunk[4096];
  for (;;) {
    pollfd p{master, POLLIN, 0};
    if (::poll(&p, 1, 120000) <= 0) break;
    const ssize_t got = ::read(master, chunk, sizeof chunk);
    if (got <= 0) break; // EIO once the child and its children have closed it
    run.out.append(chunk, size_t(got));
  }
  ::close(master);
  run.exitCode = waitFor(pid, 10000);
  return run;
}

bool contains(const std::string& text, const std::string& part)
{
  return text.find(part) != std::string::npos;
}

std::vector<std::string> listFolder(const std::string& path)
{
  std::vector<std::string> names;
  DIR* dir = ::opendir(path.c_str());
  if (!dir) return names;
  while (dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  ::closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

} // namespace zrtest
