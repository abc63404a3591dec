// Loading a text file of 100,000 lines into lines, beside the floor of
// reading the same bytes with read(2) and the usual std::getline loop.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "files/TextFile.h"
#include "libzr/Strings.h"

namespace {

// A 100,000-line file of 20 to 60 characters a line, made once.
const std::string& sample()
{
  static const std::string path = [] {
    // mkdtemp fills in the six trailing characters.
    std::string pattern = "/tmp/bench_textfile_" + std::string(6, 'X');
    const char* made = mkdtemp(pattern.data());
    if (!made) std::abort();
    std::string file = std::string(made) + "/lines.txt";
    FILE* out = std::fopen(file.c_str(), "wb");
    if (!out) std::abort();
    for (int k = 0; k < 100000; ++k)
      std::fprintf(out, "setting_%06d = %s\n", k, std::string(size_t(k % 41), 'v').c_str());
    std::fclose(out);
    return file;
  }();
  return path;
}

void loadOurs(benchmark::State& state)
{
  const LightweightString<wchar_t> name = fromUTF8(LightweightString<char>(sample().c_str()));
  for (auto _ : state) {
    TextFile file;
    if (!file.load(name)) state.SkipWithError("load failed");
    benchmark::DoNotOptimize(file.size());
  }
}
BENCHMARK(loadOurs)->Name("textfile load 100000 lines/ours")->Unit(benchmark::kMillisecond);

void loadRead(benchmark::State& state)
{
  for (auto _ : state) {
    const int fd = open(sample().c_str(), O_RDONLY);
    struct stat st;
    fstat(fd, &st);
    std::vector<char> bytes(size_t(st.st_size) + 1);
    size_t done = 0;
    while (done < size_t(st.st_size)) {
      const ssize_t got = read(fd, bytes.data() + done, size_t(st.st_size) - done);
      if (got <= 0) break;
      done += size_t(got);
    }
    close(fd);
    benchmark::DoNotOptimize(bytes.data());
  }
}
BENCHMARK(loadRead)->Name("textfile load 100000 lines/peer:read(2)")->Unit(benchmark::kMillisecond);

void loadGetline(benchmark::State& state)
{
  for (auto _ : state) {
    std::ifstream in(sample());
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    benchmark::DoNotOptimize(lines.data());
  }
}
BENCHMARK(loadGetline)->Name("textfile load 100000 lines/peer:std::getline")->Unit(benchmark::kMillisecond);

} // namespace
