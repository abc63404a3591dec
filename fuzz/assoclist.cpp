// Any bytes, read as an associative file, must not crash or hang, and the
// pairs read must come back unchanged through writeToFile and a second read,
// in both the ordered and the sorted form.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/AssocList.h"

namespace {

const std::string& folder()
{
  static const std::string path = [] {
    // mkdtemp fills in the six trailing characters.
    std::string pattern = "/tmp/fuzz_assoclist_" + std::string(6, 'X');
    const char* made = mkdtemp(pattern.data());
    if (!made) std::abort();
    return std::string(made) + "/";
  }();
  return path;
}

void writeBytes(const std::string& path, const uint8_t* data, size_t size)
{
  FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) std::abort();
  if (size) std::fwrite(data, 1, size, out);
  std::fclose(out);
}

void checkRoundTrip(const AssocListRep& rep, bool sorted)
{
  const std::string copy = folder() + "copy.txt";
  if (!rep.writeToFile(copy.c_str())) std::abort();
  AssocListRep back(copy.c_str(), sorted);
  if (back.size() != rep.size()) __builtin_trap();
  for (unsigned int k = 0; k < rep.size(); ++k) {
    const AssocListRec* record = rep.at(k);
    if (!(back.get(record->name()) == record->value())) __builtin_trap();
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string input = folder() + "input.txt";
  writeBytes(input, data, size);
  AssocListRep plain(input.c_str(), false);
  AssocListRep sorted(input.c_str(), true);
  if (plain.size() != sorted.size()) __builtin_trap();
  checkRoundTrip(plain, false);
  checkRoundTrip(sorted, true);
  return 0;
}
