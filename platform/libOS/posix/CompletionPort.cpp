// The portable completion port: worker threads perform the operations of
// attached files with pread and pwrite, and queue the results for waiters.
#include "libOS/posix/CompletionPort.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "libOS/posix/Services.h"

namespace posix {

bool CompletionQueue::submit(Operation&& operation)
{
  {
    std::lock_guard<std::mutex> guard(lock_);
    if (closed_) return false;
    operations_.push_back(std::move(operation));
    ++pending_;
  }
  workAvailable_.notify_one();
  return true;
}

bool CompletionQueue::takeOperation(Operation& operation)
{
  std::unique_lock<std::mutex> guard(lock_);
  workAvailable_.wait(guard, [this] { return closed_ || !operations_.empty(); });
  if (operations_.empty()) return false;
  operation = std::move(operations_.front());
  operations_.pop_front();
  return true;
}

void CompletionQueue::complete(iIOCompletionPort::Result&& result)
{
  {
    std::lock_guard<std::mutex> guard(lock_);
    results_.push_back(std::move(result));
  }
  resultAvailable_.notify_one();
}

iIOCompletionPort::Result CompletionQueue::wait(unsigned int milliseconds)
{
  std::unique_lock<std::mutex> guard(lock_);
  auto ready = [this] { return !results_.empty(); };
  if (milliseconds == ~0u)
    resultAvailable_.wait(guard, ready);
  else if (!resultAvailable_.wait_for(guard, std::chrono::milliseconds(milliseconds), ready))
    return iIOCompletionPort::Result();
  iIOCompletionPort::Result result = std::move(results_.front());
  results_.pop_front();
  if (result.status != iIOCompletionPort::eStop) --pending_;
  return result;
}

void CompletionQueue::postStop()
{
  iIOCompletionPort::Result stop;
  stop.status = iIOCompletionPort::eStop;
  complete(std::move(stop));
}

unsigned int CompletionQueue::pending() const
{
  std::lock_guard<std::mutex> guard(lock_);
  return pending_;
}

void CompletionQueue::close()
{
  {
    std::lock_guard<std::mutex> guard(lock_);
    closed_ = true;
  }
  workAvailable_.notify_all();
}

namespace {

// Each worker holds the queue, so that a worker that drops the last handle
// to the port (from a context's completed()) can still finish.
void work(Zr::Ptr<CompletionQueue> queue)
{
  pthread_setname_np(pthread_self(), "zr io port");
  CompletionQueue::Operation op;
  while (queue->takeOperation(op)) {
    unsigned int bytes = 0;
    const bool ok = op.file->performAt(op.writing, op.offset, op.buffer, op.count, bytes);
    if (op.context) op.context->completed(bytes, ok);
    iIOCompletionPort::Result result;
    result.status = ok ? iIOCompletionPort::eSucceeded : iIOCompletionPort::eFailed;
    result.bytes = bytes;
    result.context = std::move(op.context);
    op = CompletionQueue::Operation(); // drops the file before the waiter can see the result
    queue->complete(std::move(result));
  }
}

class PosixCompletionPort final : public iIOCompletionPort
{
public:
  PosixCompletionPort() : queue_(new CompletionQueue)
  {
    const unsigned int workers = std::clamp(std::thread::hardware_concurrency(), 2u, 4u);
    for (unsigned int i = 0; i < workers; ++i) {
      try {
        workers_.emplace_back(work, queue_);
      } catch (const std::system_error&) {
        break;
      }
    }
  }

  // Operations already queued are performed and their results kept for any
  // waiter that still holds the queue; new ones are refused.
  ~PosixCompletionPort() override
  {
    queue_->close();
    for (std::thread& t : workers_) {
      if (t.get_id() == std::this_thread::get_id())
        t.detach();
      else
        t.join();
    }
  }

  bool started() const { return !workers_.empty(); }

  bool attach(Zr::Ptr<iFile> file) override
  {
    Zr::Ptr<PosixFile> ours = file.dynamicCast<PosixFile>();
    return ours && ours->attachTo(queue_);
  }

  Result wait(unsigned int milliseconds) override { return queue_->wait(milliseconds); }
  void postStop() override { queue_->postStop(); }
  unsigned int pending() const override { return queue_->pending(); }

private:
  Zr::Ptr<CompletionQueue> queue_;
  std::vector<std::thread> workers_;
};

} // namespace

Zr::Ptr<iIOCompletionPort> makeCompletionPort()
{
  PosixCompletionPort* port = new (std::nothrow) PosixCompletionPort;
  if (port && !port->started()) {
    delete port;
    port = nullptr;
  }
  return Zr::Ptr<iIOCompletionPort>(port);
}

} // namespace posix
