#include "threads/Lock.h"

#include "libOS/OS.h"
#include "libOS/iThread.h"
#include "logging/DebugConsole.h"

namespace Zr {

namespace {

unsigned int callerId()
{
  return OS()->threadMgr()->currentThreadId();
}

const char* printable(const char* name)
{
  return name ? name : "";
}

} // namespace

Lock::Lock(const char* name) noexcept : name_(name), locked_(false), debug_(false) {}

Lock::~Lock()
{
  if (locked_ && section_) section_->leave();
  if (debug_)
    herc_printf("Closed semaphore handle %ld for %s.\n", reinterpret_cast<long>(section_.get()),
                printable(name_));
  section_ = nullptr;
}

void Lock::init()
{
  locked_ = false;
  debug_ = false;
  section_ = OS()->threadMgr()->createCriticalSection(nullptr);
  if (debug_)
    herc_printf("Created semaphore lock for %s at %ld\n", printable(name_),
                reinterpret_cast<long>(section_.get()));
}

int Lock::enterCriticalSection()
{
  section_->enter();
  locked_ = true;
  if (debug_)
    herc_printf("thread %d in critical section for %s.\n", static_cast<int>(callerId()), printable(name_));
  return 1;
}

int Lock::leaveCriticalSection()
{
  // Cleared while still held, so that no other thread sees it set after it
  // has entered.
  locked_ = false;
  section_->leave();
  if (debug_)
    herc_printf("thread %d left critical section for %s.\n", static_cast<int>(callerId()), printable(name_));
  return 1;
}

} // namespace Zr
