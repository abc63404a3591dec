// The makers of the POSIX services that OS() hands out. Each returns the one
// instance of its service, made on first call and kept for the life of the
// process (never destroyed, so that threads still running at exit can use it).
#pragma once

#include "libOS/OS.h"

namespace posix {

iAllocator* allocator();
iThreadManager* threadManager();
iFileManager* fileManager();
iRegistry* registry();
iTimer* timer();
iKeyboard* keyboard();
iDebug* debug();
iMessageBox* messageBox();
iLocations* locations();
iSystemInfo* systemInfo();

// An in-memory character grid, the default status window.
Zr::Ptr<iStatusWindow> makeMemoryStatusWindow(const iStatusWindow::Params& params);

// A completion port with its worker threads.
Zr::Ptr<iIOCompletionPort> makeCompletionPort();

// Tells systemd's watchdog, if NOTIFY_SOCKET is set.
bool notifyWatchdog();

} // namespace posix
