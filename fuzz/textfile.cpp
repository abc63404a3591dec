// Any file loads without crashing; its lines hold no line ends; saving and
// loading again gives the same lines, except for what the format cannot say
// (an empty last line, or a first line that begins with a byte order mark).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "files/TextFile.h"
#include "libzr/Strings.h"

namespace {

const std::string& folder()
{
  static const std::string path = [] {
    // mkdtemp fills in the six trailing characters.
    std::string pattern = "/tmp/fuzz_textfile_" + std::string(6, 'X');
    const char* made = mkdtemp(pattern.data());
    if (!made) std::abort();
    return std::string(made) + "/";
  }();
  return path;
}

LightweightString<wchar_t> wide(const std::string& path)
{
  return fromUTF8(LightweightString<char>(path.c_str()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string input = folder() + "input.txt";
  FILE* out = std::fopen(input.c_str(), "wb");
  if (!out) std::abort();
  if (size) std::fwrite(data, 1, size, out);
  std::fclose(out);

  TextFile file;
  if (!file.load(wide(input))) __builtin_trap();
  for (unsigned int k = 0; k < file.size(); ++k) {
    const LightweightString<char> line = file[k];
    if (std::memchr(line.c_str(), '\r', line.size()) || std::memchr(line.c_str(), '\n', line.size()))
      __builtin_trap();
  }
  if (file.size() == 0) return 0;
  const bool lastEmpty = file[file.size() - 1].empty();
  const bool firstMarked = TextFile::getBOMLength(file[0].c_str(), file[0].size()) != 0;
  if (lastEmpty || firstMarked) return 0;

  const TextFile::eEOLStyle style = size % 2 ? TextFile::eCRLF : TextFile::eLF;
  if (!file.save(wide(folder() + "copy.txt"), style)) std::abort();
  TextFile back(wide(folder() + "copy.txt"), true);
  if (!(static_cast<const Vector<LightweightString<char>>&>(back) == file) || back.size() != file.size())
    __builtin_trap();
  return 0;
}
