#include "libOS/posix/ThreadId.h"

#include <pthread.h>
#include <unistd.h>

namespace posix {

__thread unsigned int tlsCachedTid __attribute__((tls_model("initial-exec"))) = 0;

namespace {

// The one thread of a forked child is a copy of the thread that forked, with
// that thread's cached id: forget it so that the child reads its own.
void forgetTidInChild()
{
  tlsCachedTid = 0;
}

struct ForkHook
{
  ForkHook() { pthread_atfork(nullptr, nullptr, &forgetTidInChild); }
};
ForkHook forkHook;

} // namespace

unsigned int lookUpTid() noexcept
{
  return tlsCachedTid = unsigned(gettid());
}

} // namespace posix
