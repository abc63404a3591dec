// The gap buffer beside std::string::insert: typing 100 KB at one place, and
// typing while the place moves around the text.
#include <benchmark/benchmark.h>

#include <string>

#include "text/buf.h"

namespace {

constexpr unsigned int kTyped = 100 * 1024;

// Where the next byte goes when the place moves: a jump every 64 bytes, by
// a fixed step through the text typed so far.
unsigned int placeFor(unsigned int i, unsigned int used)
{
  return used == 0 ? 0 : (i / 64 * 7919u) % used;
}

void typeAtOnePlaceOurs(benchmark::State& state)
{
  for (auto _ : state) {
    buf b(kTyped + 16);
    b.insert('[');
    b.insert(']');
    b.backpop();
    for (unsigned int i = 0; i < kTyped; ++i) b.insert(static_cast<char>('a' + i % 26));
    benchmark::DoNotOptimize(b.getused());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kTyped);
}
BENCHMARK(typeAtOnePlaceOurs)->Name("type 100KB at one place/ours");

void typeAtOnePlaceStd(benchmark::State& state)
{
  for (auto _ : state) {
    std::string s = "[]";
    size_t at = 1;
    for (unsigned int i = 0; i < kTyped; ++i) s.insert(s.begin() + static_cast<long>(at++), static_cast<char>('a' + i % 26));
    benchmark::DoNotOptimize(s.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kTyped);
}
BENCHMARK(typeAtOnePlaceStd)->Name("type 100KB at one place/peer:std::string");

void typeMovingOurs(benchmark::State& state)
{
  for (auto _ : state) {
    buf b(kTyped + 16);
    for (unsigned int i = 0; i < kTyped; ++i) {
      if (i % 64 == 0) b.findindex(placeFor(i, b.getused()));
      b.insert(static_cast<char>('a' + i % 26));
    }
    benchmark::DoNotOptimize(b.getused());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kTyped);
}
BENCHMARK(typeMovingOurs)->Name("type 100KB at moving places/ours");

void typeMovingStd(benchmark::State& state)
{
  for (auto _ : state) {
    std::string s;
    size_t at = 0;
    for (unsigned int i = 0; i < kTyped; ++i) {
      if (i % 64 == 0) at = placeFor(i, static_cast<unsigned int>(s.size()));
      s.insert(s.begin() + static_cast<long>(at++), static_cast<char>('a' + i % 26));
    }
    benchmark::DoNotOptimize(s.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * kTyped);
}
BENCHMARK(typeMovingStd)->Name("type 100KB at moving places/peer:std::string");

} // namespace
