// PosixFile: the iFile of the file manager, over a POSIX descriptor.
#pragma once

#include <mutex>
#include <string>

#include "libOS/iFile.h"

namespace posix {

class CompletionQueue;

class PosixFile final : public iFile
{
public:
  // Opens `path` (a UTF-8 system path) as the file manager's open describes;
  // `name` is what the caller asked for, kept for getName. Null on failure,
  // also when the share-mode lock is held by another open. Files of
  // behaviours eOpenForNew and eCreateAlways are emptied only once the lock
  // is granted, so a refused open never empties a file another holds.
  static Zr::Ptr<PosixFile> open(const std::string& path, const LightweightString<wchar_t>& name,
                                 unsigned int access, eOpenBehaviour behaviour, eShareMode share);
  ~PosixFile() override;

  LightweightString<wchar_t> getName() const override { return name_; }

  unsigned int read(void* buffer, unsigned int count) override;
  unsigned int readAt(unsigned long offset, void* buffer, unsigned int count) override;
  unsigned int write(const void* buffer, unsigned int count) override;
  unsigned int writeAt(unsigned long offset, const void* buffer, unsigned int count) override;

  // The asynchronous forms. With a port, the operation is queued there and
  // the call returns true; the forms without an offset use the position and
  // move it on by `count` at once, so that consecutive calls cover
  // consecutive ranges. Without a port the operation runs now, as read or
  // write would, the context's completed() is called, and the result is the
  // operation's success. A read succeeds if the system reported no error and
  // it got at least one byte (or none was asked for); a write succeeds if it
  // wrote every byte. The buffer must stay valid until the completion.
  bool readAsync(void* buffer, unsigned int count, Zr::Ptr<iAsyncContext> context) override;
  bool readAtAsync(unsigned long offset, void* buffer, unsigned int count,
                   Zr::Ptr<iAsyncContext> context) override;
  bool writeAsync(const void* buffer, unsigned int count, Zr::Ptr<iAsyncContext> context) override;
  bool writeAtAsync(unsigned long offset, const void* buffer, unsigned int count,
                    Zr::Ptr<iAsyncContext> context) override;

  bool positionAt(unsigned long position) override;
  unsigned long getPosition() const override;
  unsigned long getTime(eTimeType type) const override;
  bool setTime(eTimeType type, const unsigned long& time) override;
  unsigned long getSize() const override;
  bool truncate(unsigned long size) override;
  bool isOpen() const override { return fd_ >= 0; }
  unsigned int getCaps() const override;

  // Reads or writes at an offset without touching the position; loops over
  // short transfers and interruptions. `ok` is false on a system error.
  // Thread-safe; the port's workers use it.
  unsigned int transferAt(bool writing, unsigned long offset, void* buffer, unsigned int count, bool& ok);

  // transferAt, judged as the asynchronous forms report it: true on success,
  // with the bytes transferred in `bytes`.
  bool performAt(bool writing, unsigned long offset, void* buffer, unsigned int count, unsigned int& bytes);

  // Routes the asynchronous operations to `port`. False if the file is
  // already attached to another port.
  bool attachTo(const Zr::Ptr<CompletionQueue>& port);

private:
  PosixFile(int fd, const LightweightString<wchar_t>& name, unsigned int access);
  bool startAsync(bool writing, bool atPosition, unsigned long offset, void* buffer, unsigned int count,
                  Zr::Ptr<iAsyncContext> context);

  const int fd_;
  const LightweightString<wchar_t> name_;
  const unsigned int access_;
  mutable std::mutex lock_; // guards position_ and port_
  unsigned long position_ = 0;
  Zr::Ptr<CompletionQueue> port_;
};

} // namespace posix
