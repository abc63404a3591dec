// The small services of OS(): clock, key state, stack traces, message box,
// locations, system information and the keep-alive.
#pragma once

#include <functional>
#include <vector>

#include "libOS/LightweightString.h"

// The high-resolution clock.
class iTimer
{
public:
  virtual ~iTimer() = default;
  // Milliseconds from a fixed point in the past, monotonic, fractions kept.
  virtual double getMilliseconds() const = 0;
};

// The key-state table. No display is needed: the host (or a test) sets the
// state of keys as its window system reports them.
class iKeyboard
{
public:
  virtual ~iKeyboard() = default;
  // True while the key is down. Key codes are the editor's: a character in
  // the low byte, modifier bits above.
  virtual bool isKeyDown(int keyCode) const = 0;
  virtual void setKeyDown(int keyCode, bool down) = 0;
  // Lets every key up.
  virtual void clear() = 0;
};

// Stack traces of the calling thread.
class iDebug
{
public:
  virtual ~iDebug() = default;
  // One line per frame, innermost first, with demangled names where the
  // program has symbols: "#3 0x7f... Zr::Thing::run(int) (libzrbase.so+0x1234)".
  // skipFrames drops that many frames of the caller's own.
  virtual std::vector<LightweightString<char>> getStackTrace(unsigned int skipFrames = 0) = 0;
  // True if a debugger is attached to the process.
  virtual bool isDebuggerPresent() = 0;
};

// Modal messages for the user.
class iMessageBox
{
public:
  virtual ~iMessageBox() = default;
  enum eButtons
  {
    eOK = 0,
    eOKCancel = 1,
    eYesNo = 4,
  };
  enum eResult
  {
    eResultOK = 1,
    eResultCancel = 2,
    eResultYes = 6,
    eResultNo = 7,
  };
  using Sink = std::function<int(const LightweightString<wchar_t>& text,
                                 const LightweightString<wchar_t>& title, int buttons)>;

  // Shows a message and gives the button chosen. With no sink set by the
  // host, the message goes to standard error and the answer is the one that
  // changes nothing: OK, Cancel or No.
  virtual int show(const LightweightString<wchar_t>& text, const LightweightString<wchar_t>& title,
                   int buttons = eOK) = 0;
  // Replaces the sink; an empty function restores the default.
  virtual void setSink(Sink sink) = 0;
};

// Where things live on this machine. Each root can be moved by an environment
// variable (see the README); tests move them all to a fresh folder.
class iLocations
{
public:
  virtual ~iLocations() = default;
  enum eSpecialFolder
  {
    eSharedData = 3,  // data shared by the users of this machine
    eUserData = 4,    // this user's data
  };
  // A special folder with a trailing separator; empty for an unknown id.
  virtual LightweightString<wchar_t> getSpecialFolder(int id) = 0;
  // The per-machine application folder, with a trailing separator.
  virtual LightweightString<wchar_t> getMachineApplicationFolder() = 0;
  // The name of the sub-folder that the application keeps in the machine folder.
  virtual LightweightString<wchar_t> getMachineSubFolderName() = 0;
  // The folder that stands for drive `letter` of Windows-style paths, with a
  // trailing separator.
  virtual LightweightString<wchar_t> getDriveRoot(wchar_t letter) = 0;
  // The folder of the registry stores, with a trailing separator.
  virtual LightweightString<wchar_t> getRegistryFolder(int type) = 0;
  // Reads the environment again; for tests that move the roots.
  virtual void refresh() = 0;
};

class iSystemInfo
{
public:
  virtual ~iSystemInfo() = default;
  struct MemoryInfo
  {
    unsigned long totalPhysical = 0;      // bytes of RAM
    unsigned long freePhysical = 0;       // bytes available to programs without swapping
    unsigned long processSize = 0;        // this process's resident bytes
    unsigned long totalAddressSpace = 0;  // bytes the process may map; 0 when unlimited
    unsigned long freeAddressSpace = 0;   // of that, bytes not yet mapped
    unsigned long pooledBytes = 0;        // free bytes the allocator keeps
    unsigned long poolLimit = 0;          // the allocator's pool limit
  };
  // Fills the record from /proc; false if the figures could not be read.
  virtual bool getMemoryInfo(MemoryInfo& info) = 0;
  // Processors this process may run on.
  virtual unsigned int getProcessorCount() = 0;
};
