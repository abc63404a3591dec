// A PStream reading any file: every value form, texts, counted bytes, skips
// and a packed settings block, chosen by the file's own bytes. Reads must
// stay inside the cache (the sanitizers watch), a failed read gives 0 and
// leaves the cursor, and the error text only ever grows until cleared.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/configb.h"
#include "identity/IdStamp.h"
#include "libzr/Strings.h"
#include "streaming/PStream.h"

namespace {

const std::string& inputPath()
{
  static const std::string path = [] {
    // mkdtemp replaces the six trailing X characters.
    std::string pattern = "/tmp/zr-fuzz-pstream-" + std::string(6, 'X');
    char* folder = pattern.data();
    if (!mkdtemp(folder)) std::abort();
    return std::string(folder) + "/input.bin";
  }();
  return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string& path = inputPath();
  FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) return 0;
  if (size) std::fwrite(data, 1, size, out);
  std::fclose(out);

  StreamFile file;
  file.create(fromUTF8(path.c_str(), unsigned(path.size())), iFile::eOpenExisting);
  PStream s(&file);
  // Each turn reads a selector byte and then a value of that kind; a turn
  // that fails leaves the cursor, so the selector read moves it at least one
  // byte on and the loop ends.
  for (unsigned turn = 0; turn <= size && !s.eof(); ++turn) {
    unsigned char selector = 0;
    s >> selector;
    const unsigned before = s.position();
    const unsigned errorLength = s.length();
    bool failed = false;
    switch (selector % 12) {
    case 0: {
      short v;
      s >> v;
      failed = s.length() != errorLength && v != 0;
      break;
    }
    case 1: {
      int v;
      s >> v;
      failed = s.length() != errorLength && v != 0;
      break;
    }
    case 2: {
      long long v;
      s >> v;
      failed = s.length() != errorLength && v != 0;
      break;
    }
    case 3: {
      float v;
      s >> v;
      failed = s.length() != errorLength && v != 0;
      break;
    }
    case 4: {
      double v;
      s >> v;
      failed = s.length() != errorLength && v != 0;
      break;
    }
    case 5: {
      bool v;
      s >> v;
      failed = s.length() != errorLength && v;
      break;
    }
    case 6: {
      LightweightString<char> text;
      s >> text;
      failed = s.length() != errorLength && !text.empty();
      if (s.length() == errorLength && s.position() != before + text.size() + 1) __builtin_trap();
      break;
    }
    case 7: {
      LightweightString<char> text;
      s.readCounted(text);
      failed = s.length() != errorLength && !text.empty();
      break;
    }
    case 8: {
      unsigned char n = 0;
      s >> n;
      s.skip(n);
      break;
    }
    case 9: {
      IdStamp stamp(1, 2, 3);
      stamp.unpack(s, selector & 0x10 ? 'S' : 1);
      break;
    }
    case 10: {
      configb block;
      block.unpack(s, 0);
      break;
    }
    default: {
      GrowString text;
      file.readBinary(text, selector & 0x20);
      break;
    }
    }
    if (failed) __builtin_trap();
    if (s.length() < errorLength) __builtin_trap();
    if (s.position() > file.cacheSize()) __builtin_trap();
    if (s.length() > 4096) s.clearError();
  }
  return 0;
}
