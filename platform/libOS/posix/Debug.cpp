// Stack traces: the C library's backtrace for the frames, elfutils' libdwfl
// for the names (it reads the symbol tables, so functions with internal
// linkage are named too, and the line tables where the program has them), the
// C++ runtime to demangle. The dynamic linker's dladdr is the fallback.
#include <cxxabi.h>
#include <dlfcn.h>
#include <elfutils/libdwfl.h>
#include <execinfo.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>

#include "libOS/posix/Services.h"

namespace {

constexpr int kMaxFrames = 128;

const char* baseName(const char* path)
{
  const char* slash = path ? std::strrchr(path, '/') : nullptr;
  return slash ? slash + 1 : (path ? path : "??");
}

// A demangled copy of a symbol name, or the name itself.
std::string demangle(const char* name)
{
  int status = 0;
  char* demangled = abi::__cxa_demangle(name, nullptr, nullptr, &status);
  std::string result = status == 0 && demangled ? demangled : name;
  std::free(demangled);
  return result;
}

class BacktraceDebug final : public iDebug
{
public:
  BacktraceDebug()
  {
    // The first backtrace loads the unwinder; do it now, not inside a fault handler.
    void* frames[2];
    backtrace(frames, 2);
    callbacks_.find_elf = dwfl_linux_proc_find_elf;
    callbacks_.find_debuginfo = dwfl_standard_find_debuginfo;
    callbacks_.debuginfo_path = &debuginfoPath_;
  }

  std::vector<LightweightString<char>> getStackTrace(unsigned int skipFrames) override
  {
    void* frames[kMaxFrames];
    const int n = backtrace(frames, kMaxFrames);
    std::vector<LightweightString<char>> lines;
    // The caller's frame is the one that returns where this call returns
    // (a sanitizer may add frames of its own in front). Return addresses
    // point behind the call, so names and lines are looked up one byte earlier.
    void* const caller = __builtin_return_address(0);
    int callerFrame = 0;
    while (callerFrame < n && frames[callerFrame] != caller) ++callerFrame;
    if (callerFrame == n) callerFrame = 1;
    const int first = callerFrame + int(skipFrames);
    // A fault inside a lookup must not wait for itself: without the lock, dladdr names the frames.
    std::unique_lock<std::mutex> guard(lock_, std::try_to_lock);
    for (int i = first; i < n; ++i) {
      const uintptr_t address = uintptr_t(frames[i]);
      lines.push_back(describe(i - first, address, address - 1, guard.owns_lock()));
    }
    return lines;
  }

  bool isDebuggerPresent() override
  {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
      if (line.compare(0, 10, "TracerPid:") == 0) return std::atoi(line.c_str() + 10) != 0;
    return false;
  }

private:
  // The session of this process, made at first use and renewed when a module
  // appears that it does not know (a library loaded since).
  Dwfl* session(bool renew)
  {
    if (dwfl_ && !renew) return dwfl_;
    if (dwfl_) dwfl_end(dwfl_);
    dwfl_ = dwfl_begin(&callbacks_);
    if (!dwfl_) return nullptr;
    dwfl_report_begin(dwfl_);
    if (dwfl_linux_proc_report(dwfl_, getpid()) != 0 || dwfl_report_end(dwfl_, nullptr, nullptr) != 0) {
      dwfl_end(dwfl_);
      dwfl_ = nullptr;
    }
    return dwfl_;
  }

  Dwfl_Module* moduleOf(uintptr_t address)
  {
    Dwfl* dwfl = session(false);
    Dwfl_Module* module = dwfl ? dwfl_addrmodule(dwfl, address) : nullptr;
    if (!module && (dwfl = session(true))) module = dwfl_addrmodule(dwfl, address);
    return module;
  }

  LightweightString<char> describe(int index, uintptr_t address, uintptr_t lookup, bool locked)
  {
    char text[1024];
    Dwfl_Module* module = locked ? moduleOf(lookup) : nullptr;
    if (module) {
      Dwarf_Addr base = 0;
      const char* path = dwfl_module_info(module, nullptr, &base, nullptr, nullptr, nullptr, nullptr, nullptr);
      GElf_Sym symbol;
      GElf_Off offset = 0;
      const char* name = dwfl_module_addrinfo(module, lookup, &offset, &symbol, nullptr, nullptr, nullptr);
      int line = 0;
      const char* source = nullptr;
      if (Dwfl_Line* where = dwfl_module_getsrc(module, lookup))
        source = dwfl_lineinfo(where, nullptr, &line, nullptr, nullptr, nullptr);
      char place[512] = "";
      if (source && line > 0) std::snprintf(place, sizeof place, " at %s:%d", baseName(source), line);
      if (name)
        std::snprintf(text, sizeof text, "#%d 0x%lx %s+0x%lx (%s+0x%lx)%s", index, (unsigned long)address,
                      demangle(name).c_str(), (unsigned long)(offset + (address - lookup)), baseName(path),
                      (unsigned long)(address - base), place);
      else
        std::snprintf(text, sizeof text, "#%d 0x%lx ?? (%s+0x%lx)%s", index, (unsigned long)address,
                      baseName(path), (unsigned long)(address - base), place);
      return LightweightString<char>(text);
    }
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(lookup), &info) && info.dli_fname) {
      const unsigned long moduleOffset = (unsigned long)(address - uintptr_t(info.dli_fbase));
      if (info.dli_sname)
        std::snprintf(text, sizeof text, "#%d 0x%lx %s+0x%lx (%s+0x%lx)", index, (unsigned long)address,
                      demangle(info.dli_sname).c_str(), (unsigned long)(address - uintptr_t(info.dli_saddr)),
                      baseName(info.dli_fname), moduleOffset);
      else
        std::snprintf(text, sizeof text, "#%d 0x%lx ?? (%s+0x%lx)", index, (unsigned long)address,
                      baseName(info.dli_fname), moduleOffset);
    } else {
      std::snprintf(text, sizeof text, "#%d 0x%lx ??", index, (unsigned long)address);
    }
    return LightweightString<char>(text);
  }

  std::mutex lock_;
  Dwfl_Callbacks callbacks_{};
  char* debuginfoPath_ = nullptr;
  Dwfl* dwfl_ = nullptr;
};

} // namespace

iDebug* posix::debug()
{
  static BacktraceDebug* instance = new BacktraceDebug;
  return instance;
}
