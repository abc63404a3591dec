// A crash-safe save through ZrkFile beside the same durable replace by hand:
// write to a temporary name, fsync, rename, fsync the folder. Both write to
// the same folder; the disk's flush dominates both.
#include <string>

#include "SaveBench.h"
#include "files/ZrkFile.h"

namespace {

using namespace savebench;

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
