// The queue half of a completion port: attached files hand it their
// asynchronous operations, the port's workers perform them, and waiters
// take the results. Files hold it, so it outlives the port object; once the
// port is gone it refuses new operations.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>

#include "libOS/iIOCompletionPort.h"
#include "libOS/posix/File.h"

namespace posix {

class CompletionQueue final : public iObject
{
public:
  struct Operation
  {
    Zr::Ptr<PosixFile> file;
    bool writing = false;
    unsigned long offset = 0;
    void* buffer = nullptr;
    unsigned int count = 0;
    Zr::Ptr<iAsyncContext> context;
  };

  // Queues an operation for the workers; false once the port is closed.
  bool submit(Operation&& operation);

  // For a worker: the next operation to perform. False when the port is
  // closed and every queued operation has been taken.
  bool takeOperation(Operation& operation);

  // For a worker: the outcome of an operation it took.
  void complete(iIOCompletionPort::Result&& result);

  // The next result in the order of completion, stops included, or eTimeout.
  iIOCompletionPort::Result wait(unsigned int milliseconds);

  void postStop();

  // Operations submitted whose result no waiter has taken yet.
  unsigned int pending() const;

  // Refuses new operations and lets the workers finish the queued ones.
  void close();

private:
  mutable std::mutex lock_;
  std::condition_variable workAvailable_;
  std::condition_variable resultAvailable_;
  std::deque<Operation> operations_;
  std::deque<iIOCompletionPort::Result> results_;
  unsigned int pending_ = 0;
  bool closed_ = false;
};

} // namespace posix
