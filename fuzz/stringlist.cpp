// Any block split into lines: no line holds a line end, the lines and the
// breaks between them account for every byte, and no line is lost or made up.
#include <cstddef>
#include <cstdint>

#include "core/StringList.h"

namespace {

bool isLineEnd(char c)
{
  return c == '\r' || c == '\n';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  if (size > 0xFFFFFFu) return 0;
  const char* text = reinterpret_cast<const char*>(data);
  StringList list;
  list.buildFromBuffer(text, unsigned(size));
  size_t offset = 0;
  for (unsigned int k = 0; k < list.size(); ++k) {
    const LightweightString<char> line = list.get(k);
    // Each line is the next run of bytes of the block, as it stands there.
    for (unsigned int i = 0; i < line.size(); ++i) {
      if (offset >= size || text[offset] != line.c_str()[i] || isLineEnd(line.c_str()[i])) __builtin_trap();
      ++offset;
    }
    // Then one break of one or two unlike line-end bytes, or the end.
    if (offset == size) {
      if (k + 1 != list.size()) __builtin_trap();
      break;
    }
    if (!isLineEnd(text[offset])) __builtin_trap();
    const char first = text[offset++];
    if (offset < size && isLineEnd(text[offset]) && text[offset] != first) ++offset;
  }
  if (offset != size) __builtin_trap();
  return 0;
}
