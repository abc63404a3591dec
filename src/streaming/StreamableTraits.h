// The layered wire format of Streamable objects, the templates that pack and
// unpack a class hierarchy layer by layer, and the macros that make a class
// persistent.
//
// A streamed object is a tree of nested layers; the outermost is always the
// base layer "$". A layer (all integers little-endian) is:
//
//   name        n + 1 bytes   the layer's short name and a zero
//   major       1 byte        the layer's version
//   minor       1 byte
//   layerChunkSize      4     bytes of this layer's own data
//   hierarchyChunkSize  4     bytes of its own data and all layers nested in it
//   data        layerChunkSize bytes, what the class's pack wrote
//   nested      the next layer of the hierarchy, in the same form
//
// The base layer is version 2.0 and its data is the hierarchy name, the short
// names of the layers below it joined by ".". Older files (stream format 1)
// keep major and minor as DynamicIntegralStorage<unsigned char, unsigned
// short> and the sizes as DynamicIntegralStorage<unsigned short, unsigned
// int>; they are read, never written. The first base layer read sets the
// stream's format to its major.
//
// Declaring a persistent class:
//
//   // Clip.h
//   class Clip : public Streamable
//   {
//     ZR_STREAMABLE(Clip, Streamable, "C", "Clip");
//   public:
//     Clip() = default;
//     explicit Clip(Streamable::BuilderType type) : Streamable(type) {}
//     int frames = 0;
//   private:
//     void pack(PStream& s) const { STRM_setLayerVersion(1, 1); s << frames << rate; }
//     void unpack(PStream& s)
//     {
//       s >> frames;
//       if (STRM_layerMinor() >= 1) s >> rate; // 1.0 data keeps the default
//     }
//     double rate = 25.0;
//   };
//
//   // Clip.cpp
//   ZR_STREAMABLE_REGISTER(Clip);
//
// A class derived from Clip names Clip as its base. Each class must declare
// its own pack and unpack (the macro checks), which write and read only that
// class's fields; the versions are per layer. ZR_STREAMABLE leaves the access
// at private. The registrar makes StreamObjectManager::readObject able to
// build the class from a stream by its short or long hierarchy name.
//
// Reading is hardened against hostile files: no read leaves the file's cached
// bytes, no seek goes past the file's end (a size that points beyond it lands
// at the end), no allocation is larger than the file, and every failure leaves
// its text on the stream. Bounds that no real file reaches: a layer name of
// at most kMaxLayerNameLength bytes, a hierarchy name of at most
// Streamable::kMaxHierarchyNameLength, and objects read through readObject
// nested at most StreamObjectManager::kMaxNesting deep.
#pragma once

#include <cstdint>
#include <new>
#include <type_traits>

#include "streaming/PStream.h"
#include "streaming/StreamClassRegistrar.h"
#include "streaming/Streamable.h"

// The header of one layer as it stands in a stream.
struct StreamLayerHeader
{
  LightweightString<char> name;
  // As read: format 1 may hold values above 255.
  unsigned int major = 0;
  unsigned int minor = 0;
  std::uint32_t layerChunkSize = StreamableChunkSizeHolder::kUnknownSize;
  std::uint32_t hierarchyChunkSize = StreamableChunkSizeHolder::kUnknownSize;
  // The offset of the layer's data, just after the header.
  std::uint32_t dataStart = 0;
};

class StreamableTraitsBase
{
public:
  // Results of packing and unpacking a layer.
  enum Result : unsigned int
  {
    ePacked = 2,
    eUnpacked = 3,
    eStreamError = 6,
    eWrongLayer = 7,
    eUnexpectedEOF = 8,
  };

  static constexpr unsigned int kMaxLayerNameLength = 1024;

  class PackFunctionStack;
  using PackFunction = unsigned int (*)(const void* object, PStream& s, PackFunctionStack& stack);

  // One layer still to be packed: its packHeaderAndObject and the object as
  // that layer's class sees it. Entries live on the frames of the packing
  // calls, so a pack allocates nothing.
  struct PackFunctionStackEntry
  {
    PackFunction function = nullptr;
    const void* object = nullptr;
    PackFunctionStackEntry* next = nullptr;
  };

  class PackFunctionStack
  {
  public:
    void pushFront(PackFunctionStackEntry& entry)
    {
      entry.next = top_;
      top_ = &entry;
    }
    PackFunctionStackEntry* unhookTop()
    {
      PackFunctionStackEntry* entry = top_;
      if (entry) top_ = entry->next;
      return entry;
    }
    PackFunctionStackEntry* top() const { return top_; }
    bool empty() const { return top_ == nullptr; }

  private:
    PackFunctionStackEntry* top_ = nullptr;
  };

  // What the shared halves need to know of one layer's class.
  struct LayerOps
  {
    const char* shortName;
    const char* longName;
    // The same names as shared texts, which the header read shares when the
    // stream names the layer by them.
    const LightweightString<char>* sharedShortName;
    const LightweightString<char>* sharedLongName;
    bool isBase;
    void (*pack)(const void* object, PStream& s);
    void (*unpack)(void* object, PStream& s);
  };

  // Writes one layer and, through the stack, the layers nested in it.
  static unsigned int packLayer(const LayerOps& ops, const void* object, StreamableLayerVersion& version,
                                PStream& s, PackFunctionStack& stack);
  // Reads one layer into object, whose whole is `whole`.
  static unsigned int unpackLayer(const LayerOps& ops, void* object, Streamable* whole,
                                  StreamableLayerVersion& version, PStream& s);

  // Result of readBoundedText.
  enum TextRead
  {
    eTextRead,
    eTextTooLong, // no zero within the bound: the bytes looked at are passed over
    eTextAtEnd,   // the file ended first: the cursor is at the end, text holds what was there
  };
  // Reads a zero-terminated text of at most maxLength bytes, never beyond
  // the file's end; reports nothing on the stream. A text equal to `knownA`
  // or `knownB` shares its block instead of taking a new one from the heap.
  static TextRead readBoundedText(PStream& s, LightweightString<char>& text, unsigned int maxLength,
                                  const LightweightString<char>* knownA = nullptr,
                                  const LightweightString<char>* knownB = nullptr);
  // How many of the next `want` bytes of the file are there, brought into
  // the cache; 0 at the end or with no file.
  static std::uint32_t bytesAvailable(PStream& s, std::uint64_t want);
  // Moves the cursor to offset, or to the file's end when offset lies
  // beyond it, so that a size from a hostile file cannot leave the cache.
  static void seekWithin(PStream& s, std::uint64_t offset);
  // The header of the layer whose unpack is running on this thread, or null.
  static const StreamLayerHeader* currentLayer();
};

// Reads the header of one layer at the cursor, as the unpacker does: by the
// stream's format, switching the format when the name is "$" or
// "Streamable", with major and minor 0 and the sizes 0xFFFFFFFF where the
// file ends. Gives 0 with the cursor at the layer's data; otherwise the
// result (3 for an empty layer at the end of the file, 6 for a bad version
// or name, 8 for an end of file inside the header) with its text appended to
// the stream's error text. The texts name `object` (its long hierarchy name)
// and `layerName`; without them, the name read. A tool walks a file's
// objects with it without knowing their classes.
unsigned int readStreamLayerHeader(PStream& s, StreamLayerHeader& header, const Streamable* object = nullptr,
                                   const char* layerName = nullptr);

// The parts that are the same for every layer's class, the base included.
template <class T> struct StreamableLayerOps : StreamableTraitsBase
{
  static unsigned int packHeaderAndObject(const T* object, PStream& s, PackFunctionStack& stack)
  {
    return packLayer(ops(), object, object->T::STRM_layer_, s, stack);
  }

  static unsigned int unpackHeaderAndObject(T* object, PStream& s)
  {
    return unpackLayer(ops(), object, object, object->T::STRM_layer_, s);
  }

protected:
  static unsigned int packEntry(const void* object, PStream& s, PackFunctionStack& stack)
  {
    return packHeaderAndObject(static_cast<const T*>(object), s, stack);
  }

  static void pushEntry(const T* object, PackFunctionStackEntry& entry, PackFunctionStack& stack)
  {
    entry.function = &packEntry;
    entry.object = object;
    stack.pushFront(entry);
  }

private:
  static LayerOps ops()
  {
    static const LightweightString<char> sharedShort(T::shortLayerName());
    static const LightweightString<char> sharedLong(T::layerName());
    LayerOps ops{};
    ops.shortName = T::shortLayerName();
    ops.longName = T::layerName();
    ops.sharedShortName = &sharedShort;
    ops.sharedLongName = &sharedLong;
    ops.isBase = std::is_same_v<T, Streamable>;
    ops.pack = &packData;
    ops.unpack = &unpackData;
    return ops;
  }
  static void packData(const void* object, PStream& s) { static_cast<const T*>(object)->T::pack(s); }
  static void unpackData(void* object, PStream& s) { static_cast<T*>(object)->T::unpack(s); }
};

// One class T of a hierarchy, directly derived from Base.
template <class T, class Base> struct StreamableTraits : StreamableLayerOps<T>
{
  using typename StreamableTraitsBase::PackFunctionStack;
  using typename StreamableTraitsBase::PackFunctionStackEntry;

  // Pushes T's layer and goes on up to the base, which starts writing.
  static unsigned int pack(const T* object, PStream& s, PackFunctionStack& stack)
  {
    PackFunctionStackEntry entry;
    StreamableLayerOps<T>::pushEntry(object, entry, stack);
    return Base::STRM_Traits::pack(object, s, stack);
  }

  static unsigned int hierarchyPack(const T* object, PStream& s)
  {
    PackFunctionStack stack;
    return pack(object, s, stack);
  }

  // The layers above T first; T's own only when they were read.
  static unsigned int hierarchyUnpack(T* object, PStream& s)
  {
    const unsigned int result = Base::STRM_Traits::hierarchyUnpack(object, s);
    if (result != StreamableTraitsBase::ePacked && result != StreamableTraitsBase::eUnpacked) return result;
    return StreamableLayerOps<T>::unpackHeaderAndObject(object, s);
  }

  // Makes a T for a stream and reads it. Null when the memory is not there
  // or the unpack gives 6; any other result gives the object as far as it
  // was read.
  static Zr::Ptr<Streamable> build(PStream& s)
  {
    T* made = nullptr;
    if constexpr (std::is_constructible_v<T, Streamable::BuilderType>) {
      made = new (std::nothrow) T(Streamable::eBuilt);
    } else {
      made = new (std::nothrow) T();
      if (made) made->STRM_setCtorBuilderType(Streamable::eBuilt);
    }
    if (!made) return Zr::Ptr<Streamable>();
    Zr::Ptr<Streamable> handle(static_cast<Streamable*>(made));
    if (made->STRM_hierarchyUnpack(s) == StreamableTraitsBase::eStreamError) return Zr::Ptr<Streamable>();
    return handle;
  }

  static LightweightString<char> subHierarchyName(bool includeBase, bool shortNames)
  {
    // Made once per class: packing writes the name for every object.
    static const LightweightString<char> names[4] = {makeName(false, false), makeName(false, true),
                                                     makeName(true, false), makeName(true, true)};
    return names[(includeBase ? 2 : 0) + (shortNames ? 1 : 0)];
  }

private:
  static LightweightString<char> makeName(bool includeBase, bool shortNames)
  {
    const LightweightString<char> above = Base::subHierarchyName(includeBase, shortNames);
    const char* own = shortNames ? T::shortLayerName() : T::layerName();
    if (above.empty()) return LightweightString<char>(own);
    return above + "." + own;
  }
};

// The base layer closes the recursion: it starts the writing.
template <> struct StreamableTraits<Streamable, void> : StreamableLayerOps<Streamable>
{
  static unsigned int pack(const Streamable* object, PStream& s, PackFunctionStack& stack)
  {
    PackFunctionStackEntry entry;
    pushEntry(object, entry, stack);
    return packHeaderAndObject(object, s, stack);
  }

  static unsigned int hierarchyPack(const Streamable* object, PStream& s)
  {
    PackFunctionStack stack;
    return pack(object, s, stack);
  }

  static unsigned int hierarchyUnpack(Streamable* object, PStream& s)
  {
    return unpackHeaderAndObject(object, s);
  }

  static Zr::Ptr<Streamable> build(PStream& s);

  static LightweightString<char> subHierarchyName(bool includeBase, bool shortNames)
  {
    return Streamable::subHierarchyName(includeBase, shortNames);
  }
};

// Inside a class body: makes Class a layer of BaseClass with the given short
// and long names. The class then declares its own
//   void pack(PStream&) const;  and  void unpack(PStream&);
// clang-format off
#define ZR_STREAMABLE(Class, BaseClass, ShortName, LongName)                                                 \
public:                                                                                                     \
  using STRM_Base = BaseClass;                                                                              \
  using STRM_Traits = StreamableTraits<Class, BaseClass>;                                                   \
  static const char* shortLayerName() { return ShortName; }                                                 \
  static const char* layerName() { return LongName; }                                                       \
  static LightweightString<char> subHierarchyName(bool includeBase, bool shortNames)                        \
  {                                                                                                         \
    return STRM_Traits::subHierarchyName(includeBase, shortNames);                                          \
  }                                                                                                         \
  LightweightString<char> hierarchyName(bool includeBase, bool shortNames) const override                   \
  {                                                                                                         \
    return subHierarchyName(includeBase, shortNames);                                                       \
  }                                                                                                         \
  unsigned int STRM_hierarchyPack(PStream& s) const override                                                \
  {                                                                                                         \
    static_assert(std::is_same_v<decltype(&Class::pack), void (Class::*)(PStream&) const>,                   \
                  #Class " must declare its own void pack(PStream&) const");                                \
    static_assert(std::is_same_v<decltype(&Class::unpack), void (Class::*)(PStream&)>,                       \
                  #Class " must declare its own void unpack(PStream&)");                                    \
    return STRM_Traits::hierarchyPack(this, s);                                                             \
  }                                                                                                         \
  unsigned int STRM_hierarchyUnpack(PStream& s) override { return STRM_Traits::hierarchyUnpack(this, s); }  \
  static Zr::Ptr<Streamable> STRM_L_##Class##_builder(PStream& s) { return STRM_Traits::build(s); }         \
  static StreamClassRegistrar STRM_L_##Class##_registrar_;                                                  \
  unsigned char STRM_layerMajor() const { return STRM_layer_.major; }                                       \
  unsigned char STRM_layerMinor() const { return STRM_layer_.minor; }                                       \
                                                                                                            \
protected:                                                                                                  \
  /* For pack: the version this layer's data is written in. */                                              \
  void STRM_setLayerVersion(unsigned char major, unsigned char minor) const                                 \
  {                                                                                                         \
    STRM_layer_.major = major;                                                                              \
    STRM_layer_.minor = minor;                                                                              \
  }                                                                                                         \
                                                                                                            \
private:                                                                                                    \
  friend struct StreamableTraits<Class, BaseClass>;                                                         \
  friend struct StreamableLayerOps<Class>;                                                                  \
  mutable StreamableLayerVersion STRM_layer_

// At namespace scope in one source file: registers Class with the stream
// object manager while the library loads.
#define ZR_STREAMABLE_REGISTER(Class)                                                                       \
  StreamClassRegistrar Class::STRM_L_##Class##_registrar_(Class::subHierarchyName(false, true),             \
                                                          Class::subHierarchyName(false, false),            \
                                                          &Class::STRM_L_##Class##_builder)
// clang-format on
