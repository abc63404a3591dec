// The classic containers beside the standard ones doing the same work:
// Array against std::vector of record pointers, DLList against std::list.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <list>
#include <vector>

#include "core/Array.h"
#include "core/DLList.h"

namespace {

constexpr int kCount = 1000;

struct Rec : ArrayRec
{
  explicit Rec(int v) : value(v) {}
  int compare(const ArrayRec& other) const override { return value - static_cast<const Rec&>(other).value; }
  int value;
};

struct Node : DLListRec
{
  int value = 0;
};

std::vector<Rec>& records()
{
  static std::vector<Rec> all = [] {
    std::vector<Rec> v;
    v.reserve(kCount);
    for (int k = 0; k < kCount; ++k) v.emplace_back(k * 2);
    return v;
  }();
  return all;
}

// Appending pointers to records that the caller keeps (a non-owning array).
void arrayAppendOurs(benchmark::State& state)
{
  for (auto _ : state) {
    Array a(false);
    for (Rec& r : records()) a.append(&r);
    benchmark::DoNotOptimize(a[0]);
  }
}
BENCHMARK(arrayAppendOurs)->Name("array append 1000/ours");

void arrayAppendStd(benchmark::State& state)
{
  for (auto _ : state) {
    std::vector<Rec*> v;
    for (Rec& r : records()) v.push_back(&r);
    benchmark::DoNotOptimize(v.data());
  }
}
BENCHMARK(arrayAppendStd)->Name("array append 1000/peer:std::vector");

// 1000 searches, half hits and half misses, in a sorted array of 1000.
void arrayLocateOurs(benchmark::State& state)
{
  Array a(false);
  for (Rec& r : records()) a.append(&r);
  a.sorted(true);
  std::vector<Rec> probes;
  for (int k = 0; k < kCount; ++k) probes.emplace_back(k);
  for (auto _ : state) {
    unsigned int hits = 0;
    unsigned int index = 0;
    for (const Rec& p : probes) hits += a.locateSorted(&p, index);
    benchmark::DoNotOptimize(hits);
  }
}
BENCHMARK(arrayLocateOurs)->Name("array locateSorted 1000 in 1000/ours");

void arrayLocateStd(benchmark::State& state)
{
  std::vector<const Rec*> v;
  for (const Rec& r : records()) v.push_back(&r);
  std::vector<Rec> probes;
  for (int k = 0; k < kCount; ++k) probes.emplace_back(k);
  for (auto _ : state) {
    unsigned int hits = 0;
    for (const Rec& p : probes) {
      auto it = std::lower_bound(v.begin(), v.end(), &p,
                                 [](const Rec* x, const Rec* y) { return x->compare(*y) < 0; });
      hits += it != v.end() && (*it)->compare(p) == 0;
    }
    benchmark::DoNotOptimize(hits);
  }
}
BENCHMARK(arrayLocateStd)->Name("array locateSorted 1000 in 1000/peer:std::lower_bound");

// Emptying an array of 1000 from the front, one record at a time.
void arrayRemoveOurs(benchmark::State& state)
{
  Array a(false);
  for (auto _ : state) {
    for (Rec& r : records()) a.append(&r);
    while (a.size()) a.remove(0u);
  }
}
BENCHMARK(arrayRemoveOurs)->Name("array fill and remove front 1000/ours");

void arrayRemoveStd(benchmark::State& state)
{
  std::vector<Rec*> v;
  for (auto _ : state) {
    for (Rec& r : records()) v.push_back(&r);
    while (!v.empty()) v.erase(v.begin());
  }
}
BENCHMARK(arrayRemoveStd)->Name("array fill and remove front 1000/peer:std::vector");

// Linking 1000 records in and taking each out again.
void listAppendExtractOurs(benchmark::State& state)
{
  std::vector<Node> nodes(kCount);
  DLList list;
  for (auto _ : state) {
    for (Node& n : nodes) list.append(&n);
    for (Node& n : nodes) list.extract(&n);
  }
}
BENCHMARK(listAppendExtractOurs)->Name("list append and extract 1000/ours");

void listAppendExtractStd(benchmark::State& state)
{
  std::vector<Node> nodes(kCount);
  std::list<Node*> list;
  std::vector<std::list<Node*>::iterator> places(kCount);
  for (auto _ : state) {
    for (int k = 0; k < kCount; ++k) places[k] = list.insert(list.end(), &nodes[k]);
    for (int k = 0; k < kCount; ++k) list.erase(places[k]);
  }
}
BENCHMARK(listAppendExtractStd)->Name("list append and extract 1000/peer:std::list");

// One pass over 1000 records.
void listApplyOurs(benchmark::State& state)
{
  std::vector<Node> nodes(kCount);
  DLList list;
  for (int k = 0; k < kCount; ++k) {
    nodes[k].value = k;
    list.append(&nodes[k]);
  }
  for (auto _ : state) {
    long sum = 0;
    list.apply([](DLListRec* r, void* arg) { *static_cast<long*>(arg) += static_cast<Node*>(r)->value; },
               &sum);
    benchmark::DoNotOptimize(sum);
  }
  list.clear();
}
BENCHMARK(listApplyOurs)->Name("list apply 1000/ours");

void listApplyStd(benchmark::State& state)
{
  std::vector<Node> nodes(kCount);
  std::list<Node*> list;
  for (int k = 0; k < kCount; ++k) {
    nodes[k].value = k;
    list.push_back(&nodes[k]);
  }
  for (auto _ : state) {
    long sum = 0;
    for (Node* n : list) sum += n->value;
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(listApplyStd)->Name("list apply 1000/peer:std::list");

} // namespace
