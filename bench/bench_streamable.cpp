// What layered persistence costs: a million small objects of a three-layer
// hierarchy (a few ints, a double, a short text) packed to and unpacked from
// a PStream over memory, beside Cereal's binary archive with the same
// classes (each base through cereal::base_class) and beside copying the same
// fields by hand, which is the floor. The bytes per second count the fields'
// bytes alone, the same for all three: our layer headers are part of the
// price.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <cereal/archives/binary.hpp>
#include <cereal/types/base_class.hpp>
#include <cereal/types/string.hpp>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "libzr/Strings.h"
#include "streaming/StreamableTraits.h"

namespace {

constexpr int kObjects = 1000000;

// The fields of object i.
struct Fields
{
  int id;
  unsigned int flags;
  short kind;
  double time;
  const char* name;
};

const std::vector<std::string>& names()
{
  static const std::vector<std::string> made = [] {
    std::vector<std::string> out;
    for (int i = 0; i < 1000; ++i) out.push_back("clip" + std::to_string(i));
    return out;
  }();
  return made;
}

Fields fieldsOf(int i)
{
  return Fields{i, unsigned(i) * 3, short(i % 7), i / 25.0, names()[size_t(i % 1000)].c_str()};
}

int64_t fieldBytes()
{
  static const int64_t total = [] {
    int64_t n = 0;
    for (int i = 0; i < kObjects; ++i) n += 4 + 4 + 2 + 8 + int64_t(std::strlen(fieldsOf(i).name)) + 1;
    return n;
  }();
  return total;
}

class Clip : public Streamable
{
  ZR_STREAMABLE(Clip, Streamable, "C", "Clip");

public:
  int id = 0;
  unsigned int flags = 0;

private:
  void pack(PStream& s) const { s << id << flags; }
  void unpack(PStream& s) { s >> id >> flags; }
};

class TimedClip : public Clip
{
  ZR_STREAMABLE(TimedClip, Clip, "T", "TimedClip");

public:
  short kind = 0;
  double time = 0;

private:
  void pack(PStream& s) const { s << kind << time; }
  void unpack(PStream& s) { s >> kind >> time; }
};

class NamedClip : public TimedClip
{
  ZR_STREAMABLE(NamedClip, TimedClip, "N", "NamedClip");

public:
  LightweightString<char> name;

private:
  void pack(PStream& s) const { s << name; }
  void unpack(PStream& s) { s >> name; }
};

// The same hierarchy for Cereal.
struct CerealClip
{
  int id = 0;
  unsigned int flags = 0;
  template <class Archive> void serialize(Archive& ar) { ar(id, flags); }
};

struct CerealTimedClip : CerealClip
{
  short kind = 0;
  double time = 0;
  template <class Archive> void serialize(Archive& ar)
  {
    ar(cereal::base_class<CerealClip>(this), kind, time);
  }
};

struct CerealNamedClip : CerealTimedClip
{
  std::string name;
  template <class Archive> void serialize(Archive& ar)
  {
    ar(cereal::base_class<CerealTimedClip>(this), name);
  }
};

// A fresh folder, emptied and removed at exit.
struct Folder
{
  Folder()
  {
    std::string pattern = "/tmp/bench_streamable_" + std::string(6, 'X');
    if (!mkdtemp(pattern.data())) abort();
    path = pattern + "/";
  }
  ~Folder()
  {
    for (const char* file : {"packed.ed5", "packed.ed5.TMP", "unpack.ed5", "unpack.ed5.TMP"})
      ::unlink((path + file).c_str());
    ::rmdir(path.c_str());
  }
  std::string file(const char* name) const { return path + name; }
  std::string path;
};

const Folder& folder()
{
  static const Folder made;
  return made;
}

LightweightString<wchar_t> wide(const std::string& path)
{
  return fromUTF8(path.c_str(), unsigned(path.size()));
}

void set(NamedClip& clip, const Fields& f)
{
  clip.id = f.id;
  clip.flags = f.flags;
  clip.kind = f.kind;
  clip.time = f.time;
  clip.name = f.name;
}

// The objects' names as shared strings, as an editor's objects hold them.
const std::vector<LightweightString<char>>& sharedNames()
{
  static const std::vector<LightweightString<char>> made = [] {
    std::vector<LightweightString<char>> out;
    for (const std::string& name : names()) out.emplace_back(name.c_str());
    return out;
  }();
  return made;
}

void packOurs(benchmark::State& state)
{
  const LightweightString<wchar_t> path = wide(folder().file("packed.ed5"));
  NamedClip clip;
  for (auto _ : state) {
    StreamFile file;
    file.create(path, iFile::eCreateAlways);
    PStream s(&file);
    for (int i = 0; i < kObjects; ++i) {
      const Fields f = fieldsOf(i);
      clip.id = f.id;
      clip.flags = f.flags;
      clip.kind = f.kind;
      clip.time = f.time;
      clip.name = sharedNames()[size_t(i % 1000)];
      s << clip;
    }
    if (s.hasError()) state.SkipWithError(s.errorText());
    benchmark::DoNotOptimize(file.cacheData());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * fieldBytes());
}

void packCereal(benchmark::State& state)
{
  CerealNamedClip clip;
  for (auto _ : state) {
    std::ostringstream out;
    {
      cereal::BinaryOutputArchive archive(out);
      for (int i = 0; i < kObjects; ++i) {
        const Fields f = fieldsOf(i);
        clip.id = f.id;
        clip.flags = f.flags;
        clip.kind = f.kind;
        clip.time = f.time;
        clip.name = names()[size_t(i % 1000)];
        archive(clip);
      }
    }
    benchmark::DoNotOptimize(out.tellp());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * fieldBytes());
}

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
    for (int i = 0; i < kObjects; ++i) {
      const Fields f = fieldsOf(i);
      put(&f.id, 4);
      put(&f.flags, 4);
      put(&f.kind, 2);
      put(&f.time, 8);
      put(f.name, std::strlen(f.name) + 1);
    }
    benchmark::DoNotOptimize(buffer.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * fieldBytes());
}

// The packed file that the unpack benchmark reads, written once.
const std::string& packedFile()
{
  static const std::string path = [] {
    const std::string name = folder().file("unpack.ed5");
    StreamFile file;
    file.create(wide(name), iFile::eCreateAlways);
    PStream s(&file);
    NamedClip clip;
    for (int i = 0; i < kObjects; ++i) {
      set(clip, fieldsOf(i));
      s << clip;
    }
    if (s.hasError() || !file.flush()) abort();
    return name;
  }();
  return path;
}

void unpackOurs(benchmark::State& state)
{
  const LightweightString<wchar_t> path = wide(packedFile());
  NamedClip clip;
  for (auto _ : state) {
    state.PauseTiming();
    StreamFile file;
    file.create(path, iFile::eOpenExisting);
    PStream s(&file);
    state.ResumeTiming();
    int64_t sum = 0;
    for (int i = 0; i < kObjects; ++i) {
      s >> clip;
      sum += clip.id + clip.kind + clip.name.size();
    }
    if (s.hasError()) state.SkipWithError(s.errorText());
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * fieldBytes());
}

void unpackCereal(benchmark::State& state)
{
  std::ostringstream out;
  {
    cereal::BinaryOutputArchive archive(out);
    CerealNamedClip clip;
    for (int i = 0; i < kObjects; ++i) {
      const Fields f = fieldsOf(i);
      clip.id = f.id;
      clip.flags = f.flags;
      clip.kind = f.kind;
      clip.time = f.time;
      clip.name = f.name;
      archive(clip);
    }
  }
  const std::string bytes = out.str();
  CerealNamedClip clip;
  for (auto _ : state) {
    std::istringstream in(bytes);
    cereal::BinaryInputArchive archive(in);
    int64_t sum = 0;
    for (int i = 0; i < kObjects; ++i) {
      archive(clip);
      sum += clip.id + clip.kind + int64_t(clip.name.size());
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * fieldBytes());
}

void unpackFloor(benchmark::State& state)
{
  std::vector<unsigned char> buffer;
  for (int i = 0; i < kObjects; ++i) {
    const Fields f = fieldsOf(i);
    auto put = [&](const void* q, size_t n) {
      const auto* b = static_cast<const unsigned char*>(q);
      buffer.insert(buffer.end(), b, b + n);
    };
    put(&f.id, 4);
    put(&f.flags, 4);
    put(&f.kind, 2);
    put(&f.time, 8);
    put(f.name, std::strlen(f.name) + 1);
  }
  for (auto _ : state) {
    const unsigned char* at = buffer.data();
    int64_t sum = 0;
    Fields f{};
    std::string name;
    for (int i = 0; i < kObjects; ++i) {
      std::memcpy(&f.id, at, 4);
      std::memcpy(&f.flags, at + 4, 4);
      std::memcpy(&f.kind, at + 8, 2);
      std::memcpy(&f.time, at + 10, 8);
      const size_t n = std::strlen(reinterpret_cast<const char*>(at + 18));
      name.assign(reinterpret_cast<const char*>(at + 18), n);
      at += 18 + n + 1;
      sum += f.id + f.kind + int64_t(name.size());
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * fieldBytes());
}

BENCHMARK(packOurs)->Name("pack 1M objects/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(packCereal)->Name("pack 1M objects/peer:cereal")->Unit(benchmark::kMillisecond);
BENCHMARK(packFloor)->Name("pack 1M objects/peer:memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(unpackOurs)->Name("unpack 1M objects/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(unpackCereal)->Name("unpack 1M objects/peer:cereal")->Unit(benchmark::kMillisecond);
BENCHMARK(unpackFloor)->Name("unpack 1M objects/peer:memcpy")->Unit(benchmark::kMillisecond);

} // namespace
