// StreamObjectManager::readObject over any file, as a loader reads objects
// until the end: three registered layers (one with a counted list, one that
// takes its data as bytes) and an object that holds another through
// readObject. Every call must move the cursor on, stay inside the cache, and
// never crash, hang or allocate more than the file holds.
//
// With ZR_FUZZ_WRITE_SEEDS=<folder> in the environment, the fuzzer first
// writes a few valid files there (the seed corpus).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "buffers/ByteBufferImpl.h"
#include "libzr/Strings.h"
#include "streaming/StreamObjectManager.h"
#include "streaming/StreamableTraits.h"

namespace {

class FuzzA : public Streamable
{
  ZR_STREAMABLE(FuzzA, Streamable, "a", "FuzzA");

public:
  int id = 0;
  LightweightString<char> name;

private:
  void pack(PStream& s) const { s << id << name; }
  void unpack(PStream& s) { s >> id >> name; }
};

class FuzzB : public FuzzA
{
  ZR_STREAMABLE(FuzzB, FuzzA, "b", "FuzzB");

public:
  std::vector<double> values;

private:
  void pack(PStream& s) const
  {
    s << unsigned(values.size());
    for (double v : values) s << v;
  }
  // The count comes from the file: grow only as values really arrive.
  void unpack(PStream& s)
  {
    unsigned int n = 0;
    s >> n;
    values.clear();
    for (unsigned int i = 0; i < n && !s.hasError(); ++i) {
      double v = 0;
      s >> v;
      if (!s.hasError()) values.push_back(v);
    }
  }
};

class FuzzC : public FuzzB
{
  ZR_STREAMABLE(FuzzC, FuzzB, "c", "FuzzC");

public:
  Zr::Ptr<ByteBufferImpl> blob;

private:
  void pack(PStream& s) const
  {
    if (blob) s.writeBinary(blob->getBuffer(), blob->getUsed(), false, true);
  }
  void unpack(PStream& s) { readChunkAsBinary(s, blob); }
};

class FuzzNest : public Streamable
{
  ZR_STREAMABLE(FuzzNest, Streamable, "n", "FuzzNest");

public:
  Zr::Ptr<Streamable> child;

private:
  void pack(PStream& s) const
  {
    s << bool(child);
    if (child) s << *child;
  }
  void unpack(PStream& s)
  {
    bool has = false;
    s >> has;
    if (has) child = theSOManager()->readObject(s);
  }
};

const std::string& tempFolder()
{
  static const std::string folder = [] {
    std::string pattern = "/tmp/zr-fuzz-readobject-" + std::string(6, 'X');
    if (!mkdtemp(pattern.data())) std::abort();
    return pattern + "/";
  }();
  return folder;
}

LightweightString<wchar_t> wide(const std::string& path)
{
  return fromUTF8(path.c_str(), unsigned(path.size()));
}

bool save(const std::string& path, const std::vector<Zr::Ptr<Streamable>>& objects)
{
  StreamFile file;
  if (!file.create(wide(path), iFile::eCreateAlways)) return false;
  PStream s(&file);
  for (const auto& object : objects) s << *object;
  return !s.hasError() && file.flush();
}

void writeSeeds(const std::string& folder)
{
  auto* a = new FuzzA;
  a->id = 3;
  a->name = "clip";
  auto* b = new FuzzB;
  b->values = {1.5, -2.0, 1e300};
  auto* c = new FuzzC;
  c->name = "blob";
  c->values = {0.25};
  c->blob = Zr::Ptr<ByteBufferImpl>(new ByteBufferImpl(5));
  c->blob->append(reinterpret_cast<const unsigned char*>("bytes"), 5);
  auto* inner = new FuzzNest;
  inner->child = Zr::Ptr<Streamable>(new FuzzA);
  auto* outer = new FuzzNest;
  outer->child = Zr::Ptr<Streamable>(inner);
  save(folder + "/a.bin", {Zr::Ptr<Streamable>(a)});
  save(folder + "/abc.bin", {Zr::Ptr<Streamable>(c), Zr::Ptr<Streamable>(b), Zr::Ptr<Streamable>(new FuzzA)});
  save(folder + "/nest.bin", {Zr::Ptr<Streamable>(outer), Zr::Ptr<Streamable>(new FuzzC)});
}

} // namespace

ZR_STREAMABLE_REGISTER(FuzzA);
ZR_STREAMABLE_REGISTER(FuzzB);
ZR_STREAMABLE_REGISTER(FuzzC);
ZR_STREAMABLE_REGISTER(FuzzNest);

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
  if (const char* folder = std::getenv("ZR_FUZZ_WRITE_SEEDS")) writeSeeds(folder);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string path = tempFolder() + "input.bin";
  FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) return 0;
  if (size) std::fwrite(data, 1, size, out);
  std::fclose(out);

  StreamFile file;
  file.create(wide(path), iFile::eOpenExisting);
  PStream s(&file);
  while (!s.eof()) {
    const std::uint32_t before = s.position();
    theSOManager()->readObject(s);
    s.clearError();
    if (s.position() <= before) __builtin_trap();
    if (s.position() > file.cacheSize()) __builtin_trap();
  }
  return 0;
}
