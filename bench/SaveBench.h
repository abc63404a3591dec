// What the save benchmarks share: a fresh folder, a content to save, and the
// peer of every durable save, the replace done by hand (write to a temporary
// name, fsync, rename, fsync of the folder) in the same folder.
#pragma once

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "libOS/LightweightString.h"
#include "libzr/Strings.h"

namespace savebench {

// A fresh folder, removed with what the benchmarks left in it at exit.
struct Folder
{
  Folder()
  {
    // mkdtemp replaces the six trailing X characters.
    std::string pattern = "/tmp/bench_save_" + std::string(6, 'X');
    if (!mkdtemp(pattern.data())) abort();
    path = pattern + "/";
  }
  ~Folder()
  {
    for (const char* file : {"ours.ed5", "plain.ed5", "streamed.ed5", "records.ed5"}) {
      ::unlink((path + file).c_str());
      ::unlink((path + file + ".TMP").c_str());
    }
    ::rmdir(path.c_str());
  }
  std::string path;
};

inline const std::string& folder()
{
  static const Folder made;
  return made.path;
}

inline LightweightString<wchar_t> wide(const std::string& path)
{
  return fromUTF8(path.c_str(), unsigned(path.size()));
}

inline std::string content(size_t size)
{
  std::string out(size, '\0');
  for (size_t i = 0; i < size; ++i) out[i] = char(i * 7 + (i >> 9));
  return out;
}

inline void savePlain(benchmark::State& state)
{
  const std::string data = content(size_t(state.range(0)));
  const std::string path = folder() + "plain.ed5";
  const std::string temp = path + ".TMP";
  for (auto _ : state) {
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    bool ok = fd >= 0 && ::write(fd, data.data(), data.size()) == ssize_t(data.size()) && ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok && ::rename(temp.c_str(), path.c_str()) == 0;
    const int dir = ::open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ok = dir >= 0 && ::fsync(dir) == 0 && ok;
    ::close(dir);
    if (!ok) state.SkipWithError("save failed");
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(data.size()));
}

} // namespace savebench
