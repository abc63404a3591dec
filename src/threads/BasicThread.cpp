#include "threads/BasicThread.h"

#include "libOS/OS.h"
#include "threads/Coprocess.h"

BasicThread::BasicThread()
    : finished_(OS()->threadMgr()->createEvent(false, false, nullptr)), running_(false), tid_(0)
{}

BasicThread::~BasicThread()
{
  finished_ = nullptr;
}

unsigned int BasicThread::beginThread(const char* name, int priority)
{
  running_.store(true);
  const unsigned short id = co_create(&BasicThread::threadFnS, name, priority, this, -1, 0);
  tid_ = coThreadId(id);
  return tid_;
}

iThread::eExecRC BasicThread::threadFnS(void* self)
{
  BasicThread* thread = static_cast<BasicThread*>(self);
  // Our own hold on the event: the owner may wake, and destroy itself, while
  // set() is still returning.
  const Zr::Ptr<iThreadEvent> finished = thread->finished_;
  thread->threadFn();
  finished->set();
  return iThread::eOK;
}

void BasicThread::endThread()
{
  if (!running_.exchange(false)) return;
  finished_->wait(iWaitable::kInfinite);
}
