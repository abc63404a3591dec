// The calling thread's kernel id, kept per thread so that the critical
// sections can test their owner without a system call.
#pragma once

namespace posix {

// The cache behind currentTid(); 0 until the thread first asks. Initial-exec,
// so that a read is one load: libOS is linked at start, not opened later.
extern __thread unsigned int tlsCachedTid __attribute__((tls_model("initial-exec")));

// Fills the cache with gettid().
unsigned int lookUpTid() noexcept;

// gettid() of the calling thread; never 0. Correct in a forked child too.
inline unsigned int currentTid() noexcept
{
  const unsigned int tid = tlsCachedTid;
  return tid ? tid : lookUpTid();
}

} // namespace posix
