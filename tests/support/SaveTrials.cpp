#include "support/SaveTrials.h"

#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>

#include "support/TestEnv.h"

namespace zrtest {

std::string pattern(size_t size, unsigned char seed)
{
  std::string out(size, '\0');
  for (size_t i = 0; i < size; ++i) out[i] = char(seed + i * 7 + (i >> 9));
  return out;
}

SaveTrialResult killWhileSaving(const std::string& path, const std::string& small, const std::string& large,
                                const SaveFn& save, int trials, unsigned int seed)
{
  SaveTrialResult result;
  if (!save(path, small)) {
    result.failure = "the first save failed";
    return result;
  }
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 4; ++i) save(path, i % 2 ? small : large);
  long cycle = std::max<long>(
    std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count() / 2,
    200);
  std::mt19937 random(seed);

  // The disk may slow down while other tests run: when one content has not
  // been seen yet, more trials run with a wider window, so that both states
  // are checked however the timing falls.
  const int most = trials * 8;
  for (int trial = 0; trial < most; ++trial) {
    if (trial >= trials && result.small > 0 && result.large > 0) break;
    if (trial >= trials && (trial - trials) % (trials / 2 + 1) == 0) cycle *= 2;
    int ready[2];
    if (pipe(ready) != 0) {
      result.failure = "pipe failed";
      return result;
    }
    const pid_t child = fork();
    if (child < 0) {
      result.failure = "fork failed";
      return result;
    }
    if (child == 0) {
      close(ready[0]);
      const char go = 1;
      if (write(ready[1], &go, 1) != 1) _exit(1);
      for (unsigned long n = 0;; ++n) save(path, n % 2 ? small : large);
    }
    // The window starts when the child is ready: a fork's own cost (large
    // under the sanitizers) would otherwise eat the first save's time.
    close(ready[1]);
    char go = 0;
    const bool started = read(ready[0], &go, 1) == 1;
    close(ready[0]);
    const long wait = std::uniform_int_distribution<long>(0, cycle)(random);
    const timespec pause{wait / 1000000, (wait % 1000000) * 1000};
    if (started) nanosleep(&pause, nullptr);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    if (!started) {
      result.failure = "trial " + std::to_string(trial) + ": the child did not start";
      return result;
    }
    const std::string now = readFile(path);
    if (now == small) {
      ++result.small;
    } else if (now == large) {
      ++result.large;
    } else {
      result.failure = "trial " + std::to_string(trial) + " after " + std::to_string(wait) + " us left " +
                       std::to_string(now.size()) + " bytes";
      return result;
    }
  }
  return result;
}

} // namespace zrtest
