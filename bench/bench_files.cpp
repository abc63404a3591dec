// A crash-safe save through ZrkFile beside the same durable replace by hand:
// write to a temporary name, fsync, rename, fsync the folder. Both write to
// the same folder; the disk's flush dominates both.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "files/ZrkFile.h"
#include "libzr/Strings.h"

namespace {

// A fresh folder, removed with what the benchmarks left in it at exit.
struct Folder
{
  Folder()
  {
    // mkdtemp replaces the six trailing X characters.
    std::string pattern = "/tmp/bench_files_" + std::string(6, 'X');
    char* name = pattern.data();
    if (!mkdtemp(name)) abort();
    path = std::string(name) + "/";
  }
  ~Folder()
  {
    for (const char* file : {"ours.ed5", "plain.ed5", "ours.ed5.TMP", "plain.ed5.TMP"})
      ::unlink((path + file).c_str());
    ::rmdir(path.c_str());
  }
  std::string path;
};

const std::string& folder()
{
  static const Folder made;
  return made.path;
}

std::string content(size_t size)
{
  std::string out(size, '\0');
  for (size_t i = 0; i < size; ++i) out[i] = char(i * 7 + (i >> 9));
  return out;
}

// Written as a saving object would stream itself: 64 KiB at a time.
void saveOurs(benchmark::State& state)
{
  const std::string data = content(size_t(state.range(0)));
  const std::string path = folder() + "ours.ed5";
  const LightweightString<wchar_t> name = fromUTF8(path.c_str(), unsigned(path.size()));
  for (auto _ : state) {
    ZrkFile file(name, iFile::eWrite, iFile::eCreateAlways, iFile::eShareNone);
    for (size_t at = 0; at < data.size(); at += 65536) {
      const size_t n = std::min<size_t>(65536, data.size() - at);
      file.write(reinterpret_cast<const unsigned char*>(data.data()) + at, unsigned(n));
    }
    if (!file.close()) state.SkipWithError("save failed");
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(data.size()));
}

void savePlain(benchmark::State& state)
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

BENCHMARK(saveOurs)->Name("save 1 MiB durably/ours")->Arg(1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(savePlain)
    ->Name("save 1 MiB durably/peer:write+fsync+rename")
    ->Arg(1 << 20)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(saveOurs)
    ->Name("save 100 MiB durably/ours")
    ->Arg(100 << 20)
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(savePlain)
    ->Name("save 100 MiB durably/peer:write+fsync+rename")
    ->Arg(100 << 20)
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

} // namespace
