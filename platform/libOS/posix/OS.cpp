// OS(): the POSIX platform object, an assembly of the services in this folder.
#include <mutex>

#include "libOS/posix/Services.h"

namespace {

class PosixOS final : public iOS
{
public:
  iAllocator* allocator() override { return posix::allocator(); }
  iThreadManager* threadMgr() override { return posix::threadManager(); }
  iFileManager* fileManager() override { return posix::fileManager(); }
  iRegistry* registry() override { return posix::registry(); }
  iTimer* timer() override { return posix::timer(); }
  iKeyboard* keyboard() override { return posix::keyboard(); }
  iDebug* debug() override { return posix::debug(); }
  iMessageBox* messageBox() override { return posix::messageBox(); }
  iLocations* locations() override { return posix::locations(); }
  iSystemInfo* systemInfo() override { return posix::systemInfo(); }

  Zr::Ptr<iStatusWindow> createStatusWindow(const iStatusWindow::Params& params) override
  {
    StatusWindowFactory factory;
    {
      std::lock_guard<std::mutex> guard(lock_);
      factory = factory_;
    }
    return factory ? factory(params) : posix::makeMemoryStatusWindow(params);
  }

  void setStatusWindowFactory(StatusWindowFactory factory) override
  {
    std::lock_guard<std::mutex> guard(lock_);
    factory_ = std::move(factory);
  }

  Zr::Ptr<iIOCompletionPort> createCompletionPort() override { return posix::makeCompletionPort(); }

  bool keepAlive() override { return posix::notifyWatchdog(); }

private:
  std::mutex lock_;
  StatusWindowFactory factory_;
};

} // namespace

iOS* OS()
{
  // Never destroyed: threads may still call in while the process exits.
  static PosixOS* os = new PosixOS;
  return os;
}

iAllocator* OSAllocator() { return posix::allocator(); }
