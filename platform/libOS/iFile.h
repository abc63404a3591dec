// iFile, an open file of the file manager, and the context of its
// asynchronous operations.
#pragma once

#include "libOS/LightweightString.h"
#include "libOS/iObject.h"

// The caller's token for one asynchronous operation. It comes back, with the
// outcome, from the completion port the file is attached to.
class iAsyncContext : public iObject
{
public:
  // Called on the thread that completes the operation, before the port hands
  // the context to a waiter. bytes is what was transferred.
  virtual void completed(unsigned int bytes, bool succeeded)
  {
    (void)bytes;
    (void)succeeded;
  }
};

class iFile : public iObject
{
public:
  enum eOpenBehaviour
  {
    eOpenExisting = 0,  // the file must exist
    eOpenForNew = 1,    // open or make it; existing content is not wanted, so it is emptied
    eOpenAlways = 2,    // open or make it, keeping what is there
    eCreateAlways = 3,  // make the file, emptying an existing one
    eCreateNew = 4,     // make the file; fail if it exists
  };

  // Share modes are bits, as the editor's files have always used them. Each
  // open takes an advisory whole-file lock without waiting, so a conflicting
  // open fails at once instead of blocking: an open that lets others both
  // read and write takes no lock; one that only reads and lets others read
  // takes a shared lock; every other open takes the file for itself.
  enum eShareMode
  {
    eShareNone = 0,    // no other open may use the file
    eShareRead = 1,    // others may read
    eShareWrite = 2,   // others may write
    eShareDelete = 4,  // others may rename or delete it; no read or write sharing
  };

  enum eTimeType
  {
    eCreated = 0,   // the birth time where the file system keeps one, else the change time
    eAccessed = 1,
    eModified = 2,
  };

  // Access bits of the file manager's open.
  enum eAccess
  {
    eRead = 1,
    eWrite = 2,
    eReadWrite = 3,
  };

  // Capability bits of getCaps.
  enum eCaps
  {
    eCapAsyncPort = 1,  // attached to a completion port
  };

  // The name the file was opened with.
  virtual LightweightString<wchar_t> getName() const = 0;

  // Reads up to count bytes at the position and moves it on. Returns the bytes
  // read: 0 at the end of the file or on failure.
  virtual unsigned int read(void* buffer, unsigned int count) = 0;
  // The same at an offset; the position moves to the end of what was read.
  virtual unsigned int readAt(unsigned long offset, void* buffer, unsigned int count) = 0;
  // Starts a read whose completion goes to the attached port with context. A
  // file with no port completes at once, on the caller's thread. False if the
  // operation could not start.
  virtual bool readAsync(void* buffer, unsigned int count, Zr::Ptr<iAsyncContext> context) = 0;
  virtual bool readAtAsync(unsigned long offset, void* buffer, unsigned int count,
                           Zr::Ptr<iAsyncContext> context) = 0;

  // Writes count bytes at the position and moves it on. Returns the bytes
  // written, which is count unless the disk is full or the file is read-only.
  virtual unsigned int write(const void* buffer, unsigned int count) = 0;
  virtual bool writeAsync(const void* buffer, unsigned int count, Zr::Ptr<iAsyncContext> context) = 0;
  virtual unsigned int writeAt(unsigned long offset, const void* buffer, unsigned int count) = 0;
  virtual bool writeAtAsync(unsigned long offset, const void* buffer, unsigned int count,
                            Zr::Ptr<iAsyncContext> context) = 0;

  // Moves the position; past the end is allowed (a later write extends).
  virtual bool positionAt(unsigned long position) = 0;
  virtual unsigned long getPosition() const = 0;

  // Times in nanoseconds since 1970-01-01 UTC; 0 on failure.
  virtual unsigned long getTime(eTimeType type) const = 0;
  // Only eAccessed and eModified can be set.
  virtual bool setTime(eTimeType type, const unsigned long& time) = 0;

  virtual unsigned long getSize() const = 0;
  // Refreshes a cached size; does nothing by default.
  virtual void recalculateSize() {}
  virtual bool truncate(unsigned long size) = 0;
  virtual bool isOpen() const = 0;
  virtual unsigned int getCaps() const { return 0; }
};
