// Any bytes read as a registry file must write back to a text that reads
// as the same contents, with no unreadable line.
#include <cstddef>
#include <cstdint>

#include "libOS/posix/RegistryFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  using namespace posix::RegistryFile;
  Contents first;
  unsigned badLines = 0;
  parse(reinterpret_cast<const char*>(data), size, first, badLines);
  const std::string text = write(first);
  Contents second;
  unsigned badAgain = 0;
  parse(text.data(), text.size(), second, badAgain);
  if (badAgain != 0 || second != first) __builtin_trap();
  // Writing is deterministic: the same contents give the same text.
  if (write(second) != text) __builtin_trap();
  return 0;
}
