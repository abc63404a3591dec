// An I/O completion port: files attached to it complete their asynchronous
// reads and writes here, and any number of threads wait for the results.
#pragma once

#include "libOS/iFile.h"
#include "libOS/iObject.h"

class iIOCompletionPort : public iObject
{
public:
  enum eStatus
  {
    eFailed = 0,     // an operation completed with an error
    eSucceeded = 1,  // an operation completed
    eStop = 2,       // postStop was called; one waiter receives each stop
    eTimeout = 3,    // nothing completed in time
  };

  struct Result
  {
    int status = eTimeout;
    unsigned int bytes = 0;
    Zr::Ptr<iAsyncContext> context;  // as given when the operation began
  };

  // Attaches a file of the file manager: its asynchronous operations then run
  // on the port's workers and complete here. False for a file of another
  // kind, or one attached to another port.
  virtual bool attach(Zr::Ptr<iFile> file) = 0;

  // Waits for the next completion or stop (kInfinite milliseconds: for ever).
  virtual Result wait(unsigned int milliseconds) = 0;

  // Wakes one waiter with eStop.
  virtual void postStop() = 0;

  // Operations started and not yet handed to a waiter.
  virtual unsigned int pending() const = 0;
};
