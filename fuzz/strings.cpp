// The string-table loader and the rewording loader over any bytes: the input
// up to the first "\n--\n" is strings.txt, the rest the user's rewording
// file. Any input loads; the table holds only string lines; a rewording
// never adds or removes a number; every text takes every form.
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "files/Paths.h"
#include "files/TextFile.h"
#include "libOS/OS.h"
#include "libOS/iFileManager.h"
#include "libzr/Strings.h"
#include "settings/ResourceStrings.h"

namespace {

std::string makeFolder(const char* name)
{
  std::string pattern = std::string("/tmp/fuzz_strings_") + name + "_" + std::string(6, 'X');
  const char* made = mkdtemp(pattern.data());
  if (!made) std::abort();
  return std::string(made) + "/";
}

void writeFile(const std::string& path, const uint8_t* data, size_t size)
{
  FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) std::abort();
  if (size) std::fwrite(data, 1, size, out);
  std::fclose(out);
}

std::string narrow(const LightweightString<wchar_t>& s)
{
  return toUTF8(s).c_str();
}

bool isStringName(const LightweightString<char>& name)
{
  for (const char* prefix : {"IDS_", "Err_", "OsErr_"})
    if (std::strncmp(name.c_str(), prefix, std::strlen(prefix)) == 0) return true;
  return false;
}

std::vector<ResId> numbers()
{
  std::vector<ResId> ids;
  for (const auto& entry : Zr::Language::getStringTable()) ids.push_back(entry.first);
  return ids;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
  setenv("ZR_SHARED_DATA_DIR", makeFolder("shared").c_str(), 1);
  setenv("ZR_USER_DATA_DIR", makeFolder("user").c_str(), 1);
  OS()->locations()->refresh();
  // The loader's assertions would flood the fuzzer's output.
  const int null = open("/dev/null", O_WRONLY);
  if (null >= 0) dup2(null, 1);
  if (!OS()->fileManager()->makeDirectory(getLanguageFileDir(), true)) std::abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string input(reinterpret_cast<const char*>(data), size);
  const size_t split = input.find("\n--\n");
  const size_t stringsSize = split == std::string::npos ? size : split;
  const std::string stringsFile = narrow(getLanguageFileDir()) + "strings.txt";
  const std::string rewording = narrow(Zr::Language::getRewordingFilename(iSettings::eUser));
  writeFile(stringsFile, data, stringsSize);
  std::remove(rewording.c_str());
  // A file without lines is fatal by design.
  if (TextFile(fromUTF8(LightweightString<char>(stringsFile.c_str())), true).empty()) return 0;

  Zr::Language::reloadStringTable();
  const std::vector<ResId> before = numbers();
  for (const auto& entry : Zr::Language::getStringTable()) {
    if (!entry.second.name_.empty() && !isStringName(entry.second.name_)) __builtin_trap();
    if (!(resourceStrW(entry.first) == entry.second.value_)) __builtin_trap();
    for (int format = 0; format <= 7; ++format) {
      const LightweightString<wchar_t> formed = resourceStrW(entry.first, format);
      if (formed.size() != entry.second.value_.size()) __builtin_trap();
    }
    (void)makeProductSpecific(entry.second.value_);
  }

  if (split != std::string::npos) {
    writeFile(rewording, data + split + 4, size - split - 4);
    Zr::Language::reloadStringTable();
    if (numbers() != before) __builtin_trap();
  }
  return 0;
}
