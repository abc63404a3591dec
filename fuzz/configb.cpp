// Any bytes, read as a block by every reader, must give a block whose text
// form reads back to the same block; tokenise must keep its indices inside
// the line.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <unistd.h>

#include "core/configb.h"

namespace {

void checkTokenise(const std::string& line)
{
  int ns, ne, vs, ve, ts, te;
  if (tokenise(line.c_str(), &ns, &ne, &vs, &ve, &ts, &te) == 0) return;
  const int length = int(std::strlen(line.c_str()));
  if (ns < 0 || ns > ne || ne > length || vs > length || ve > length || ve < ne) __builtin_trap();
  if (ts != te && (ts <= ns || te > length || ts > te + 1)) __builtin_trap();
}

// The text form of a block reads back as the same text form.
void checkRoundTrip(const configb& block)
{
  const LightweightString<char> text = block.asString();
  configb back;
  if (!back.fromString(text)) __builtin_trap();
  const LightweightString<char> again = back.asString();
  if (!(again == text)) __builtin_trap();
}

std::string tempFile()
{
  static std::string path = "/tmp/fuzz_configb_" + std::to_string(getpid()) + ".dat";
  return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string bytes(reinterpret_cast<const char*>(data), size);

  // Each line of the input through tokenise.
  size_t start = 0;
  while (start <= bytes.size()) {
    size_t end = bytes.find('\n', start);
    if (end == std::string::npos) end = bytes.size();
    checkTokenise(bytes.substr(start, end - start));
    start = end + 1;
  }

  configb fromText;
  fromText.fromString(LightweightString<char>(bytes.data(), unsigned(bytes.size())));
  checkRoundTrip(fromText);

  {
    std::ofstream out(tempFile(), std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
  }
  configb fromFile;
  std::ifstream in(tempFile(), std::ios::binary);
  const int result = fromFile.read_from_file(&in);
  in.close();
  std::remove(tempFile().c_str());
  if (result != 0 && result != 1) __builtin_trap();
  if (fromFile.get_dirty()) __builtin_trap();
  checkRoundTrip(fromFile);
  return 0;
}
