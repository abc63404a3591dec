// The steps of a run of zrhost, in the order main takes them. Each prints
// a heading and what it did; a step that cannot go on ends the run through
// fail().
#pragma once

#include "HostOptions.h"
#include "core/StartEnv.h"

namespace zrhost {

// The command line as StartEnv and the host's options read it.
void showCommandLine(StartEnv& env, const HostOptions& options);
// except_init, service_init, config_init (the application folder's
// config.dat), co_init, in that order.
void startLibrary();

// The settings a run uses, read with their defaults at the place of use.
struct Settings
{
  int workers = 0;
};
Settings showSettings();

// Cookies from the jar and two IdStamps.
void showCookies();
// The debug console, made and copied to standard output.
void showConsole();
// Where the platform layer puts things in this run.
void showLocations();
// Files, threads, strings and system information.
void showTour();

// The command table and the string table: finds the library's commands and
// runs one by name, and looks texts up by number.
void showCommands();

// Streams n objects of the host's own hierarchy to a file and reads them back.
void showObjects(int count);

// Starts the workers and a checker, shows the table and progress, and stops
// the workers after `seconds`. Gives the checker's co-process id: it runs on
// until co_shutdown ends it.
unsigned short runWorkers(int workers, double seconds);

// Runs the shutdown callbacks and checks their order and effects.
void shutDown(unsigned short checker);

} // namespace zrhost
