// Cmd::Context, what a command function receives when it runs.
#pragma once

namespace Cmd {

// The three words a command sees. The command map fills in userData with the
// pointer given at registration; the caller sets the other two.
struct Context
{
  // The kind of key event that runs the command: 0 for a plain call or a
  // key-down of a command that ignores key-up, 1 for key-down and 2 for
  // key-up of one that wants both.
  int eventType = 0;
  // Whatever the caller wants the command to see; null from the key system.
  void* callerContext_ = nullptr;
  // The registration's user data.
  void* userData = nullptr;
};

} // namespace Cmd
