// Where a run of zrhost keeps its files. The libraries read the locations
// (and settings through them) in their load-time initialisers, before main,
// so the folders and the ZR_* variables must be in place before they load:
// zrhost makes them, then runs itself again in a child process.
//
// - With any ZR_* location variable set, the caller has placed the run:
//   zrhost runs where it is and makes nothing.
// - With -project <dir>, <dir> becomes the root of every location and stays.
// - Otherwise a fresh folder under $TMPDIR (or /tmp) is the root, removed
//   when the run ends unless -keep is given.
//
// Under the root: user/ shared/ machine/ registry/ drives/ app/ (one per
// ZR_* variable), and app/config.dat, written with the host's defaults
// unless one is there already, so that a project's settings can be edited
// between runs.
#pragma once

#include <string>

#include "HostOptions.h"

namespace zrhost {

// Set in the child to the root it runs in.
constexpr const char* kRootVariable = "ZRHOST_ROOT";

// The embedded config.dat.
extern const char kDefaultConfig[];

// Returns -1 when this process is to run the steps itself; otherwise makes
// the root, runs the program again inside it, cleans up, and returns the
// child's exit code. A failure to make the root ends the process through
// fail().
int runInSandbox(char** argv, const HostOptions& options);

} // namespace zrhost
