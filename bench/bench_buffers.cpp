// Compressed blocks beside plain zlib on the same data: the header, the
// bound and the buffer object should cost next to nothing.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <memory>
#include <random>
#include <string>

#include "buffers/ZrDataCompression.h"

namespace {

// 1 MiB of an edit file's kind: repeated text with runs of binary noise.
const std::string& mixedMiB()
{
  static const std::string data = [] {
    std::mt19937 random(7);
    const char* words[] = {"clip ", "reel_04 ", "00:01:02:03 ", "take ", "grade ", "\n"};
    std::string out;
    while (out.size() < (1u << 20)) {
      if (random() % 4 == 0)
        for (int i = 0; i < 16; ++i) out.push_back(char(random()));
      else
        out += words[random() % 6];
    }
    out.resize(1u << 20);
    return out;
  }();
  return data;
}

Zr::Ptr<ByteBufferImpl> bufferOf(const std::string& bytes)
{
  Zr::Ptr<ByteBufferImpl> buffer(new ByteBufferImpl(unsigned(bytes.size())));
  buffer->append(reinterpret_cast<const unsigned char*>(bytes.data()), unsigned(bytes.size()));
  return buffer;
}

void compressOurs(benchmark::State& state)
{
  const Zr::Ptr<ByteBufferImpl> data = bufferOf(mixedMiB());
  for (auto _ : state) {
    Zr::Ptr<ByteBufferImpl> block = ZrDataCompression::zlibCompress(data, 6);
    benchmark::DoNotOptimize(block->getBuffer());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * data->getUsed());
}
BENCHMARK(compressOurs)->Name("zlib compress 1 MiB/ours")->Unit(benchmark::kMillisecond);

void compressZlib(benchmark::State& state)
{
  const std::string& data = mixedMiB();
  for (auto _ : state) {
    uLongf size = compressBound(data.size());
    std::unique_ptr<Bytef[]> out(new Bytef[size]);
    compress2(out.get(), &size, reinterpret_cast<const Bytef*>(data.data()), data.size(), 6);
    benchmark::DoNotOptimize(out.get());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * data.size());
}
BENCHMARK(compressZlib)->Name("zlib compress 1 MiB/peer:zlib compress2")->Unit(benchmark::kMillisecond);

void uncompressOurs(benchmark::State& state)
{
  const Zr::Ptr<ByteBufferImpl> block = ZrDataCompression::zlibCompress(bufferOf(mixedMiB()), 6);
  for (auto _ : state) {
    Zr::Ptr<ByteBufferImpl> data = ZrDataCompression::zlibUncompress(block);
    benchmark::DoNotOptimize(data->getBuffer());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * (1 << 20));
}
BENCHMARK(uncompressOurs)->Name("zlib uncompress 1 MiB/ours")->Unit(benchmark::kMillisecond);

void uncompressZlib(benchmark::State& state)
{
  const std::string& data = mixedMiB();
  uLongf packedSize = compressBound(data.size());
  std::string packed(packedSize, '\0');
  compress2(reinterpret_cast<Bytef*>(packed.data()), &packedSize, reinterpret_cast<const Bytef*>(data.data()),
            data.size(), 6);
  for (auto _ : state) {
    uLongf size = data.size();
    std::unique_ptr<Bytef[]> out(new Bytef[size]);
    uncompress(out.get(), &size, reinterpret_cast<const Bytef*>(packed.data()), packedSize);
    benchmark::DoNotOptimize(out.get());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * data.size());
}
BENCHMARK(uncompressZlib)->Name("zlib uncompress 1 MiB/peer:zlib uncompress")->Unit(benchmark::kMillisecond);

} // namespace
