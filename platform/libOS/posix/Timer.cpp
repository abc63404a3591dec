// The millisecond clock: the monotonic clock, so that it never runs back
// when the wall clock is set.
#include <time.h>

#include "libOS/posix/Services.h"

namespace {

class MonotonicTimer final : public iTimer
{
public:
  double getMilliseconds() const override
  {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return double(now.tv_sec) * 1000.0 + double(now.tv_nsec) / 1e6;
  }
};

} // namespace

iTimer* posix::timer()
{
  static MonotonicTimer* instance = new MonotonicTimer;
  return instance;
}
