// Streamable: the base of every object that persists as a hierarchy of named,
// versioned layers. Each class of a hierarchy writes its own layer, so that an
// old reader skips the tail of a newer layer, a new reader reads an old layer
// with its new fields at their defaults, and a reader without the class steps
// over the whole object. StreamableTraits.h has the wire layout, the pack and
// unpack procedures and the macros that declare a persistent class.
//
// An object belongs to one thread while it is packed or unpacked: packing
// writes the layers' version fields.
#pragma once

#include <cstdint>

#include "core/LightweightString.h"
#include "core/Ptr.h"
#include "core/iObject.h"

class ByteBufferImpl;
class GrowString;
class PStream;
class Streamable;
template <class T, class Base> struct StreamableTraits;
template <class T> struct StreamableLayerOps;

// The version of one layer: 1.0 until its pack raises it.
struct StreamableLayerVersion
{
  unsigned char major = 1;
  unsigned char minor = 0;
};

// The size of the layers nested in the base layer, found while unpacking.
class StreamableChunkSizeHolder
{
public:
  static constexpr std::uint32_t kUnknownSize = 0xFFFFFFFF;

  std::uint32_t STRM_chunkSize() const { return chunkSize_; }
  void STRM_setChunkSize(std::uint32_t size) { chunkSize_ = size; }

private:
  std::uint32_t chunkSize_ = kUnknownSize;
};

class Streamable : public StreamableChunkSizeHolder, public iObject
{
public:
  // How an object came to be: 0 by ordinary code, 1 by a builder reading a
  // stream, 3 as the probe that reads any object's header. Other values are
  // the callers' own.
  enum BuilderType : int
  {
    eOrdinary = 0,
    eBuilt = 1,
    eHeaderProbe = 3,
  };

  using STRM_Base = void;
  using STRM_Traits = StreamableTraits<Streamable, void>;

  explicit Streamable(BuilderType type = eOrdinary);
  // Copies the base layer's version; the copy is an ordinary object with no
  // unpacked hierarchy name.
  Streamable(const Streamable& other);
  Streamable& operator=(const Streamable& other);
  ~Streamable() override;

  // Reads the object's layers from the outermost on. Gives 3 when all were
  // read, else the first failure (6 stream error, 7 wrong layer, 8 end of
  // file); the error text is on the stream.
  virtual unsigned int STRM_hierarchyUnpack(PStream& s);
  // Writes the object's layers, the base layer outermost. Gives 2, or 6 when
  // the stream has an error.
  virtual unsigned int STRM_hierarchyPack(PStream& s) const;
  // Appends a description; the base prints "Streamable".
  virtual void printOn(GrowString& text) const;
  // Copies another object's state; the base cannot and says so.
  virtual void assign(const Streamable* other);
  // The names of the layers joined by ".", the base's name first when
  // includeBase, short names ("$", "P") or long names ("Streamable", "Point").
  virtual LightweightString<char> hierarchyName(bool includeBase, bool shortNames) const;
  // A copy made with the given builder type; the base gives null.
  virtual Zr::Ptr<Streamable> clone(BuilderType type) const;

  static const char* shortLayerName() { return "$"; }
  static const char* layerName() { return "Streamable"; }
  // The base's name when includeBase, else empty.
  static LightweightString<char> subHierarchyName(bool includeBase, bool shortNames);
  // name, with the base's name and "." in front when includeBase.
  static LightweightString<char> STRM_L_Streamable_buildHierarchyName(const LightweightString<char>& name,
                                                                      bool includeBase, bool shortNames);

  // For an unpack that wants its layer's data as bytes: reads the whole layer
  // into a new buffer held by `buffer` (left alone for an empty layer). Call
  // it first thing in unpack. A layer that claims more bytes than the stream
  // holds flags "Unexpected EOF." and allocates nothing.
  static void readChunkAsBinary(PStream& s, Zr::Ptr<ByteBufferImpl>& buffer);

  // 0 for one object, 1 when either is null, else 0 for the same hierarchy
  // and 1 for different ones.
  static int compareTypes(const Streamable* a, const Streamable* b);

  // Clears text and prints the object into it.
  void asString(GrowString& text) const;
  // The long name of the most derived layer: "Streamable" for the base.
  LightweightString<char> className() const;

  BuilderType STRM_ctorBuilderType() const { return builderType_; }
  // The hierarchy name the base layer read, empty before an unpack.
  const LightweightString<char>& STRM_unpackedHierarchyName() const { return unpackedHierarchyName_; }
  // The base layer's version as last packed or unpacked.
  unsigned char STRM_major() const { return STRM_layer_.major; }
  unsigned char STRM_minor() const { return STRM_layer_.minor; }

  // The base layer's data: its version (2.0) and the hierarchy name.
  void pack(PStream& s) const;
  // Reads what pack wrote and checks the name against this class, unless
  // this is the header probe, which takes any name.
  void unpack(PStream& s);

  // The longest hierarchy name a stream may give; a longer one is an error.
  static constexpr unsigned int kMaxHierarchyNameLength = 16384;

protected:
  // For builders of classes that have no constructor taking a BuilderType.
  void STRM_setCtorBuilderType(BuilderType type) { builderType_ = type; }
  void STRM_setLayerVersion(unsigned char major, unsigned char minor) const
  {
    STRM_layer_.major = major;
    STRM_layer_.minor = minor;
  }

private:
  friend struct StreamableTraits<Streamable, void>;
  friend struct StreamableLayerOps<Streamable>;
  template <class T, class Base> friend struct StreamableTraits;

  mutable StreamableLayerVersion STRM_layer_;
  BuilderType builderType_;
  LightweightString<char> unpackedHierarchyName_;
};

// Packs the object's layers.
PStream& operator<<(PStream& s, const Streamable& object);
// Unpacks into the object. A stream that already has an error says so on the
// debug console and standard output, forgets it, and tries.
PStream& operator>>(PStream& s, Streamable& object);
