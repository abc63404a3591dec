// What a save through StreamFile and PStream costs: the durable replace of
// 100 MiB beside the same by hand (write, fsync, rename, fsync of the
// folder) in the same folder, and packing small records through PStream
// beside copying the same fields into a buffer by hand, which is the floor.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "SaveBench.h"
#include "streaming/PStream.h"

namespace {

using namespace savebench;

// Written as a saving object streams itself: 64 KiB at a time.
void saveOurs(benchmark::State& state)
{
  const std::string data = content(size_t(state.range(0)));
  const LightweightString<wchar_t> name = wide(folder() + "streamed.ed5");
  for (auto _ : state) {
    StreamFile file;
    bool ok = file.create(name, iFile::eCreateAlways);
    for (size_t at = 0; ok && at < data.size(); at += 65536)
      ok = file.write(data.data() + at, unsigned(std::min<size_t>(65536, data.size() - at)));
    if (!ok || !file.flush()) state.SkipWithError("save failed");
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(data.size()));
}

BENCHMARK(saveOurs)
    ->Name("StreamFile save 100 MiB durably/ours")
    ->Arg(100 << 20)
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(savePlain)
    ->Name("StreamFile save 100 MiB durably/peer:write+fsync+rename")
    ->Arg(100 << 20)
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

// One small record: a few ints, a double and a short text.
struct Record
{
  int id;
  unsigned int flags;
  short kind;
  double time;
  char name[12];
};

const std::vector<Record>& records()
{
  static const std::vector<Record> made = [] {
    std::vector<Record> out(1000000);
    for (size_t i = 0; i < out.size(); ++i) {
      out[i] = Record{int(i), unsigned(i * 3), short(i % 7), double(i) / 25.0, {}};
      std::snprintf(out[i].name, sizeof out[i].name, "clip%zu", i % 1000);
    }
    return out;
  }();
  return made;
}

// The packed size of all records, for the bytes-per-second figure.
int64_t packedBytes()
{
  int64_t total = 0;
  for (const Record& r : records()) total += 4 + 4 + 2 + 8 + int64_t(std::strlen(r.name)) + 1;
  return total;
}

void packOurs(benchmark::State& state)
{
  const LightweightString<wchar_t> name = wide(folder() + "records.ed5");
  for (auto _ : state) {
    StreamFile file;
    file.create(name, iFile::eCreateAlways);
    PStream s(&file);
    for (const Record& r : records()) s << r.id << r.flags << r.kind << r.time << r.name;
    if (s.hasError()) state.SkipWithError(s.errorText());
    benchmark::DoNotOptimize(file.cacheData());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * packedBytes());
}

// The same bytes copied field by field into a growing buffer.
void packFloor(benchmark::State& state)
{
  for (auto _ : state) {
    std::vector<unsigned char> buffer;
    buffer.reserve(4096);
    auto put = [&](const void* p, size_t n) {
      const size_t at = buffer.size();
      buffer.resize(at + n);
      std::memcpy(buffer.data() + at, p, n);
    };
    for (const Record& r : records()) {
      put(&r.id, 4);
      put(&r.flags, 4);
      put(&r.kind, 2);
      put(&r.time, 8);
      put(r.name, std::strlen(r.name) + 1);
    }
    benchmark::DoNotOptimize(buffer.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * packedBytes());
}

BENCHMARK(packOurs)->Name("PStream pack 1M records/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(packFloor)->Name("PStream pack 1M records/peer:memcpy")->Unit(benchmark::kMillisecond);

} // namespace
