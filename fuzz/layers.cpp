// The layer unpacker over any bytes, in stream format 1 or 2 as the first
// byte chooses: a three-layer object read again and again, and the header
// reader that walks layers without their classes. Every read must move the
// cursor on and stay inside the cache.
//
// With ZR_FUZZ_WRITE_SEEDS=<folder> in the environment, the fuzzer first
// writes a few valid inputs there (the seed corpus).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "libzr/Strings.h"
#include "streaming/DynamicIntegralStorage.h"
#include "streaming/StreamableTraits.h"

namespace {

class LayerA : public Streamable
{
  ZR_STREAMABLE(LayerA, Streamable, "A", "LayerA");

public:
  int a = 0;

private:
  void pack(PStream& s) const { s << a; }
  void unpack(PStream& s) { s >> a; }
};

class LayerB : public LayerA
{
  ZR_STREAMABLE(LayerB, LayerA, "B", "LayerB");

public:
  LightweightString<char> b;

private:
  void pack(PStream& s) const { s << b; }
  void unpack(PStream& s) { s >> b; }
};

class LayerC : public LayerB
{
  ZR_STREAMABLE(LayerC, LayerB, "C", "LayerC");

public:
  double c = 0;

private:
  void pack(PStream& s) const { s << c; }
  void unpack(PStream& s)
  {
    // A newer minor has one more field.
    s >> c;
    if (STRM_layerMinor() > 0) s >> c;
  }
};

const std::string& inputPath()
{
  static const std::string path = [] {
    std::string pattern = "/tmp/zr-fuzz-layers-" + std::string(6, 'X');
    if (!mkdtemp(pattern.data())) std::abort();
    return pattern + "/input.bin";
  }();
  return path;
}

LightweightString<wchar_t> wide(const std::string& path)
{
  return fromUTF8(path.c_str(), unsigned(path.size()));
}

// A seed: the selector byte, then what fn writes.
template <class Fn> void writeSeed(const std::string& path, unsigned char selector, Fn fn)
{
  StreamFile file;
  if (!file.create(wide(path), iFile::eCreateAlways)) return;
  PStream s(&file);
  s << selector;
  fn(s);
  file.flush();
}

// One layer in the widths of format 1.
void layer1(PStream& s, const char* name, unsigned short major, unsigned short minor, unsigned int own,
            unsigned int all)
{
  s << name;
  DynamicIntegralStorage<unsigned char, unsigned short>(major).pack(s);
  DynamicIntegralStorage<unsigned char, unsigned short>(minor).pack(s);
  DynamicIntegralStorage<unsigned short, unsigned int>(own).pack(s);
  DynamicIntegralStorage<unsigned short, unsigned int>(all).pack(s);
}

void writeSeeds(const std::string& folder)
{
  LayerC c;
  c.a = 5;
  c.b = "layer";
  c.c = 0.5;
  writeSeed(folder + "/format2.bin", 1, [&](PStream& s) { s << c << c; });
  writeSeed(folder + "/walk2.bin", 3, [&](PStream& s) { s << c; });
  // A format 1 object: each header takes 8 bytes; the data 6 (the name), 4, 2 and 8.
  writeSeed(folder + "/format1.bin", 0, [](PStream& s) {
    layer1(s, "$", 1, 0, 6, 6 + 8 + 4 + 8 + 2 + 8 + 8);
    s << "A.B.C";
    layer1(s, "A", 1, 0, 4, 4 + 8 + 2 + 8 + 8);
    s << 7;
    layer1(s, "B", 1, 0, 2, 2 + 8 + 8);
    s << "x";
    layer1(s, "C", 1, 0, 8, 8);
    s << 2.5;
  });
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
  if (const char* folder = std::getenv("ZR_FUZZ_WRITE_SEEDS")) writeSeeds(folder);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  if (size == 0) return 0;
  const std::string& path = inputPath();
  FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) return 0;
  std::fwrite(data + 1, 1, size - 1, out);
  std::fclose(out);

  StreamFile file;
  file.create(wide(path), iFile::eOpenExisting);
  PStream s(&file);
  s.setFormat((data[0] & 1) ? 2 : 1);
  const bool walk = data[0] & 2;
  while (!s.eof()) {
    const std::uint32_t before = s.position();
    if (walk) {
      StreamLayerHeader header;
      if (readStreamLayerHeader(s, header) == 0)
        StreamableTraitsBase::seekWithin(s, std::uint64_t(header.dataStart) + header.layerChunkSize);
    } else {
      LayerC object;
      const unsigned int result = object.STRM_hierarchyUnpack(s);
      if (result != 3 && result != 6 && result != 7 && result != 8) __builtin_trap();
    }
    s.clearError();
    if (s.position() <= before) __builtin_trap();
    if (s.position() > file.cacheSize()) __builtin_trap();
  }
  return 0;
}
