// Persistent test classes and byte builders shared by the layered object and
// object manager suites.
#pragma once

#include <string>

#include "StreamTestSupport.h"
#include "buffers/ByteBufferImpl.h"
#include "streaming/PStream.h"
#include "streaming/StreamableTraits.h"
#include "text/GrowString.h"

namespace strmtest {

using namespace streamtest;

// A layer with no data of its own.
class Point : public Streamable
{
  ZR_STREAMABLE(Point, Streamable, "P", "Point");

public:
  Point() = default;
  explicit Point(BuilderType type) : Streamable(type) {}

private:
  void pack(PStream&) const {}
  void unpack(PStream&) {}
};

// Three layers: a few ints, a double and a short text.
class Alpha : public Streamable
{
  ZR_STREAMABLE(Alpha, Streamable, "A", "Alpha");

public:
  Alpha() = default;
  explicit Alpha(BuilderType type) : Streamable(type) {}
  int id = -1;
  unsigned int flags = 0;

private:
  void pack(PStream& s) const { s << id << flags; }
  void unpack(PStream& s) { s >> id >> flags; }
};

class Beta : public Alpha
{
  ZR_STREAMABLE(Beta, Alpha, "B", "Beta");

public:
  Beta() = default;
  explicit Beta(BuilderType type) : Alpha(type) {}
  double time = -1;
  LightweightString<char> name;

private:
  void pack(PStream& s) const { s << time << name; }
  void unpack(PStream& s) { s >> time >> name; }
};

class Gamma : public Beta
{
  ZR_STREAMABLE(Gamma, Beta, "G", "Gamma");

public:
  Gamma() = default;
  explicit Gamma(BuilderType type) : Beta(type) {}
  short kind = -1;
  Zr::Ptr<Streamable> clone(BuilderType type) const override
  {
    auto* copy = new Gamma(type);
    return Zr::Ptr<Streamable>(copy);
  }

private:
  void pack(PStream& s) const { s << kind; }
  void unpack(PStream& s) { s >> kind; }
};

// Two generations of one layer "V": 1.0 holds x; 1.1 adds y. The leaf below
// it is the same in both.
template <bool Newer> class Versioned : public Streamable
{
  ZR_STREAMABLE(Versioned, Streamable, "V", "Versioned");

public:
  int x = -1;
  int y = 77; // the default a 1.0 file leaves

private:
  void pack(PStream& s) const
  {
    s << x;
    if (Newer) {
      STRM_setLayerVersion(1, 1);
      s << y;
    }
  }
  void unpack(PStream& s)
  {
    s >> x;
    if (Newer && this->STRM_layerMinor() >= 1) s >> y;
  }
};

template <bool Newer> class Leaf : public Versioned<Newer>
{
  ZR_STREAMABLE(Leaf, Versioned<Newer>, "L", "Leaf");

public:
  int z = -1;

private:
  void pack(PStream& s) const { s << z; }
  void unpack(PStream& s) { s >> z; }
};

// Its layer's data is an opaque block.
class Blob : public Streamable
{
  ZR_STREAMABLE(Blob, Streamable, "Bl", "Blob");

public:
  Blob() = default;
  explicit Blob(BuilderType type) : Streamable(type) {}
  Zr::Ptr<ByteBufferImpl> data;

private:
  void pack(PStream& s) const
  {
    if (data) s.writeBinary(data->getBuffer(), data->getUsed(), false, true);
  }
  void unpack(PStream& s) { readChunkAsBinary(s, data); }
};

// Reads the first `take` bytes of its layer, as an older reader would.
class Partial : public Streamable
{
  ZR_STREAMABLE(Partial, Streamable, "Pa", "Partial");

public:
  unsigned int take = 0;
  LightweightString<char> got;

private:
  void pack(PStream&) const {}
  void unpack(PStream& s)
  {
    std::string bytes(take, '\0');
    s.readBytes(bytes.data(), take);
    got = LightweightString<char>(bytes.data(), take);
  }
};

inline Bytes packed(const Streamable& object)
{
  return written([&](PStream& s) { s << object; });
}

inline Bytes operator+(const Bytes& a, const Bytes& b)
{
  Bytes out(a.size() + b.size());
  if (!a.empty()) std::memcpy(out.data(), a.data(), a.size());
  if (!b.empty()) std::memcpy(out.data() + a.size(), b.data(), b.size());
  return out;
}

// A layer header in format 2.
inline Bytes header2(const std::string& name, unsigned char major, unsigned char minor, std::uint32_t layer,
                     std::uint32_t hierarchy)
{
  Bytes out;
  appendText(out, name);
  out.push_back(major);
  out.push_back(minor);
  appendRaw(out, layer);
  appendRaw(out, hierarchy);
  return out;
}

// The dynamic forms of format 1.
inline void appendSmall(Bytes& out, unsigned int v)
{
  if (v < 255) {
    out.push_back((unsigned char)v);
  } else {
    out.push_back(255);
    appendRaw(out, std::uint16_t(v));
  }
}

inline void appendMedium(Bytes& out, std::uint32_t v)
{
  if (v < 65535) {
    appendRaw(out, std::uint16_t(v));
  } else {
    appendRaw(out, std::uint16_t(65535));
    appendRaw(out, v);
  }
}

inline Bytes header1(const std::string& name, unsigned int major, unsigned int minor, std::uint32_t layer,
                     std::uint32_t hierarchy)
{
  Bytes out;
  appendText(out, name);
  appendSmall(out, major);
  appendSmall(out, minor);
  appendMedium(out, layer);
  appendMedium(out, hierarchy);
  return out;
}

inline Bytes text(const std::string& t)
{
  Bytes out;
  appendText(out, t);
  return out;
}

template <class T> Bytes raw(T value)
{
  Bytes out(sizeof value);
  std::memcpy(out.data(), &value, sizeof value);
  return out;
}

} // namespace strmtest
