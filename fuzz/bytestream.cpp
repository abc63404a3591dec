// Token, character and line reading over arbitrary bytes. The first bytes
// choose the options: comment stripping, the escape character, a delimiter
// count and the delimiters; the rest is the text.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "streaming/ByteStream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  if (size < 3) return 0;
  const bool strip = data[0] & 1;
  const int mode = (data[0] >> 1) & 3;
  const char escape = static_cast<char>(data[1]);
  size_t count = data[2] % 8;
  if (size < 3 + count) return 0;
  char delimiters[9] = {};
  std::memcpy(delimiters, data + 3, count);
  const uint8_t* body = data + 3 + count;
  const size_t length = size - 3 - count;

  GrowString text;
  if (length > 0) {
    if (!text.growTo(static_cast<unsigned int>(length))) return 0;
    std::memcpy(text.data(), body, length);
  }
  ByteStream stream(text);
  stream.init(delimiters, strip, escape);

  // Every read consumes at least one byte or sets the flag, so the text's
  // length (and one more for the end) bounds the loop.
  for (size_t steps = 0; steps <= length + 1 && !stream.eof(); ++steps) {
    switch (mode) {
    case 0: {
      GrowString token;
      stream >> token;
      if (token.length() > length) __builtin_trap();
      break;
    }
    case 1:
      stream.getChar();
      break;
    case 2: {
      GrowString line;
      stream.getLine(line);
      break;
    }
    default: {
      unsigned int value;
      stream >> value;
      break;
    }
    }
  }
  if (!stream.eof()) __builtin_trap();
  return 0;
}
