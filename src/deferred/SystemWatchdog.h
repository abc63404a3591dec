// The system watchdog: a heartbeat that a supervising process watches, and
// life support, which keeps the heart beating while the application is busy
// in something that cannot beat it itself (a modal dialog, a long load).
#pragma once

class SystemWatchdog
{
public:
  // Sets the named event "SpawnWatchdogHeartbeatEvent {C5681AE0-CD18-4828-84C9-DE6891CAFEAC}"
  // that a watching process opens, and tells the platform's supervisor. Any thread.
  static void heartbeat();
  // Holders may overlap: the heart beats every 500 ms from the first begin
  // until the last end. The first call starts the "$ Watchdog Life Support"
  // thread. Any thread.
  static void beginLifeSupport();
  static void endLifeSupport();
  // Heartbeats so far in this process, for diagnostics and tests.
  static unsigned int heartbeatCount();
};
