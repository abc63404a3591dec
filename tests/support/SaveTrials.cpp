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
  const auto cycle =
    std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start) / 2;
  std::mt19937 random(seed);
  std::uniform_int_distribution<long> delay(0, std::max<long>(cycle.count(), 200));

  for (int trial = 0; trial < trials; ++trial) {
    const pid_t child = fork();
    if (child < 0) {
      result.failure = "fork failed";
      return result;
    }
    if (child == 0) {
      for (unsigned long n = 0;; ++n) save(path, n % 2 ? small : large);
    }
    const long wait = delay(random);
    const timespec pause{wait / 1000000, (wait % 1000000) * 1000};
    nanosleep(&pause, nullptr);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
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
