// System information from /proc and the process limits.
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "libOS/posix/Services.h"

namespace {

// The user half of the x86-64 address space (47 bits).
constexpr unsigned long kUserAddressSpace = 1ul << 47;

// A "Name:   1234 kB" line of a /proc file, in bytes; 0 if absent.
unsigned long procField(const char* file, const char* name)
{
  FILE* f = std::fopen(file, "re");
  if (!f) return 0;
  char line[256];
  unsigned long value = 0;
  const size_t len = std::strlen(name);
  while (std::fgets(line, sizeof line, f)) {
    if (std::strncmp(line, name, len) == 0 && line[len] == ':') {
      value = std::strtoul(line + len + 1, nullptr, 10) * 1024ul;
      break;
    }
  }
  std::fclose(f);
  return value;
}

class ProcSystemInfo final : public iSystemInfo
{
public:
  bool getMemoryInfo(MemoryInfo& info) override
  {
    info = MemoryInfo();
    info.totalPhysical = procField("/proc/meminfo", "MemTotal");
    info.freePhysical = procField("/proc/meminfo", "MemAvailable");
    info.processSize = procField("/proc/self/status", "VmRSS");
    const unsigned long mapped = procField("/proc/self/status", "VmSize");
    rlimit limit{};
    unsigned long total = kUserAddressSpace;
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) total = limit.rlim_cur;
    info.totalAddressSpace = total;
    info.freeAddressSpace = mapped < total ? total - mapped : 0;
    iAllocator* allocator = posix::allocator();
    info.pooledBytes = allocator->pooledBytes();
    info.poolLimit = allocator->poolLimit();
    return info.totalPhysical != 0;
  }

  unsigned int getProcessorCount() override
  {
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) == 0) return unsigned(CPU_COUNT(&set));
    const long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? unsigned(n) : 1;
  }
};

} // namespace

iSystemInfo* posix::systemInfo()
{
  static ProcSystemInfo* instance = new ProcSystemInfo;
  return instance;
}
