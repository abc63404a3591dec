// The shared string and the growable array beside std::string, Qt's QString
// and std::vector: copies, appends, comparisons, push_back and search.
#include <benchmark/benchmark.h>

#include <QString>
#include <algorithm>
#include <string>
#include <vector>

#include "Zr/Vector.h"
#include "core/LightweightString.h"
#include "libOS/OS.h"

namespace {

using String = LightweightString<char>;

// A 64-character clip path, long enough that no peer keeps it inline.
constexpr char kText[] = "C:\\ZRPROJ\\media\\reel_04\\clip_0017_take_03_final_grade_v2.mov.bak";
static_assert(sizeof(kText) == 65);

// The same text with its last character changed, in a block of its own.
std::string nearlyText()
{
  std::string text(kText);
  text.back() = '?';
  return text;
}

size_t osBlocks()
{
  return OS()->allocator()->liveBlocks();
}

void copyOurs(benchmark::State& state)
{
  const String text(kText);
  for (auto _ : state) {
    String copy(text);
    benchmark::DoNotOptimize(copy.c_str());
  }
  // Blocks that an empty string and a held copy add to the allocator.
  const size_t before = osBlocks();
  const String empty;
  const String held(text);
  state.counters["blocks_empty_and_copy"] = double(osBlocks() - before);
  benchmark::DoNotOptimize(empty.c_str());
  benchmark::DoNotOptimize(held.c_str());
}
BENCHMARK(copyOurs)->Name("string copy 64 chars/ours");

void copyStd(benchmark::State& state)
{
  const std::string text(kText);
  for (auto _ : state) {
    std::string copy(text);
    benchmark::DoNotOptimize(copy.data());
  }
}
BENCHMARK(copyStd)->Name("string copy 64 chars/peer:std::string");

void copyQt(benchmark::State& state)
{
  const QString text = QString::fromLatin1(kText);
  for (auto _ : state) {
    QString copy(text);
    benchmark::DoNotOptimize(copy.constData());
  }
}
BENCHMARK(copyQt)->Name("string copy 64 chars/peer:QString");

// 64 pieces of 16 characters, from empty to 1 KB, as a path or a log line grows.
constexpr int kPieces = 64;
const char* const kPiece = "clip_0017_take_0";

void appendOurs(benchmark::State& state)
{
  for (auto _ : state) {
    String s;
    for (int k = 0; k < kPieces; ++k) s.append(kPiece, 16);
    benchmark::DoNotOptimize(s.c_str());
  }
}
BENCHMARK(appendOurs)->Name("string append 64 x 16 chars/ours");

void appendStd(benchmark::State& state)
{
  for (auto _ : state) {
    std::string s;
    for (int k = 0; k < kPieces; ++k) s.append(kPiece, 16);
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(appendStd)->Name("string append 64 x 16 chars/peer:std::string");

void appendQt(benchmark::State& state)
{
  const QString piece = QString::fromLatin1(kPiece);
  for (auto _ : state) {
    QString s;
    for (int k = 0; k < kPieces; ++k) s.append(piece);
    benchmark::DoNotOptimize(s.constData());
  }
}
BENCHMARK(appendQt)->Name("string append 64 x 16 chars/peer:QString");

// A fresh 64-character string made and dropped on two threads at once, as
// every thread of the editor makes names and paths: the allocator's
// bookkeeping must not make the threads wait for each other.
void makeOnTwoThreadsOurs(benchmark::State& state)
{
  for (auto _ : state) {
    String made(kText);
    benchmark::DoNotOptimize(made.c_str());
  }
}
BENCHMARK(makeOnTwoThreadsOurs)->Name("string make 64 chars, 2 threads/ours")->Threads(2)->UseRealTime();

void makeOnTwoThreadsStd(benchmark::State& state)
{
  for (auto _ : state) {
    std::string made(kText);
    benchmark::DoNotOptimize(made.data());
  }
}
BENCHMARK(makeOnTwoThreadsStd)
    ->Name("string make 64 chars, 2 threads/peer:std::string")
    ->Threads(2)
    ->UseRealTime();

void compareOurs(benchmark::State& state)
{
  const String a(kText);
  const String b(nearlyText().c_str());
  for (auto _ : state) {
    benchmark::DoNotOptimize(String::compare(a.c_str(), b.c_str()));
  }
}
BENCHMARK(compareOurs)->Name("string compare 64 chars/ours");

void compareStd(benchmark::State& state)
{
  const std::string a(kText);
  const std::string b(nearlyText());
  for (auto _ : state) {
    benchmark::DoNotOptimize(a.compare(b));
  }
}
BENCHMARK(compareStd)->Name("string compare 64 chars/peer:std::string");

void compareQt(benchmark::State& state)
{
  const QString a = QString::fromLatin1(kText);
  const QString b = QString::fromStdString(nearlyText());
  for (auto _ : state) {
    benchmark::DoNotOptimize(QString::compare(a, b));
  }
}
BENCHMARK(compareQt)->Name("string compare 64 chars/peer:QString");

constexpr int kItems = 1000;

void pushBackOurs(benchmark::State& state)
{
  for (auto _ : state) {
    Vector<int> v;
    for (int k = 0; k < kItems; ++k) v.push_back(k);
    benchmark::DoNotOptimize(v.begin());
  }
}
BENCHMARK(pushBackOurs)->Name("Vector push_back 1000 ints/ours");

void pushBackStd(benchmark::State& state)
{
  for (auto _ : state) {
    std::vector<int> v;
    for (int k = 0; k < kItems; ++k) v.push_back(k);
    benchmark::DoNotOptimize(v.data());
  }
}
BENCHMARK(pushBackStd)->Name("Vector push_back 1000 ints/peer:std::vector");

// A search for the last element: the whole array is walked.
void locateOurs(benchmark::State& state)
{
  Vector<int> v;
  for (int k = 0; k < kItems; ++k) v.push_back(k);
  const Vector<int>& searched = v;
  int wanted = kItems - 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(wanted);
    unsigned int index = 0;
    benchmark::DoNotOptimize(searched.locate(wanted, index));
    benchmark::DoNotOptimize(index);
  }
}
BENCHMARK(locateOurs)->Name("Vector locate in 1000 ints/ours");

void locateStd(benchmark::State& state)
{
  std::vector<int> v;
  for (int k = 0; k < kItems; ++k) v.push_back(k);
  int wanted = kItems - 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(wanted);
    auto found = std::find(v.begin(), v.end(), wanted);
    benchmark::DoNotOptimize(found);
  }
}
BENCHMARK(locateStd)->Name("Vector locate in 1000 ints/peer:std::find");

} // namespace
