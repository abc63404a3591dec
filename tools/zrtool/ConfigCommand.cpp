// zrtool config: the entries of a settings file, as the library reads them.
#include <cstdio>
#include <filesystem>

#include "Tool.h"
#include "core/configb.h"
#include "libzr/Strings.h"

namespace zrtool {

int runConfig(const Args& args)
{
  if (args.size() != 1) return usageError("config", "expects one FILE");
  const std::string& file = args[0];
  std::string reason;
  if (!isReadableFile(file, reason)) return cannotRead(file, reason);

  // The library maps Windows-style paths; an absolute path passes as it is.
  std::error_code ec;
  const std::filesystem::path absolute = std::filesystem::absolute(file, ec);
  if (ec) return cannotRead(file, ec.message());
  const std::string local = absolute.string();

  configb block;
  const int rc = block.readFromFile(fromUTF8(local.c_str(), unsigned(local.size())));
  for (const auto& [name, entry] : block.entries()) {
    std::printf("%s", name.c_str());
    if (entry.type_.size() > 0) std::printf(":%s", entry.type_.c_str());
    std::printf(" =");
    if (entry.value_.size() > 0) std::printf(" %s", entry.value_.c_str());
    std::printf("\n");
  }
  if (rc != 0) std::printf("# no end line: the file ended first, or a line was too long to read\n");
  return eOk;
}

} // namespace zrtool
