// IdStamp's text reader over any bytes: a stamp read from text writes a text
// that reads back as the same stamp, and its text has the fixed form.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "identity/IdStamp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string text(reinterpret_cast<const char*>(data), size);
  const IdStamp stamp(text.c_str());
  const LightweightString<char> written = stamp.asString();
  if (!stamp.valid()) {
    if (!written.empty()) __builtin_trap();
    return 0;
  }
  // 8 + 8 digits, then 1 to 8 for the tick word.
  if (written.size() < 17 || written.size() > 24) __builtin_trap();
  const IdStamp back(written.c_str());
  if (back != stamp || back.tickWord() != stamp.tickWord()) __builtin_trap();
  if (back.asString() != written) __builtin_trap();
  return 0;
}
