// The keep-alive: systemd's watchdog notification. sd_notify does nothing and
// returns 0 when NOTIFY_SOCKET is not set.
#include <systemd/sd-daemon.h>

#include "libOS/posix/Services.h"

bool posix::notifyWatchdog() { return sd_notify(0, "WATCHDOG=1") > 0; }
