// StreamObjectManager: the registry that turns a hierarchy name read from a
// stream into an object. Each persistent class registers a builder under its
// short and its long hierarchy name while the library loads; readObject
// probes an object's base layer, looks the name up, and lets the builder
// read the object from its start.
//
// Registration belongs to load time, on the loader's thread; the map has no
// lock, and lookups afterwards only read it, from any thread.
#pragma once

#include <cstdint>
#include <map>

#include "core/LightweightString.h"
#include "core/Ptr.h"
#include "streaming/StreamClassRegistrar.h"

class GrowString;
class PStream;
class Streamable;

struct SORegisterRec
{
  StreamClassRegistrar::Builder builder = nullptr;
  LightweightString<char> shortName;
  LightweightString<char> fullName;
};

// A name and two numbers as they stand in a stream: for an object, its base
// layer's name and the first bytes after it.
class StreamObjectInfo
{
public:
  StreamObjectInfo() = default;
  // Reads a zero-terminated text and two 32-bit numbers at the cursor; what
  // the stream lacks reads as empty or 0, with its error flagged.
  explicit StreamObjectInfo(PStream& s);

  // Appends the name, a blank, and each number with a blank before it;
  // nothing when the name is empty.
  void printOn(GrowString& text) const;

  LightweightString<char> name;
  std::uint32_t first = 0;
  std::uint32_t second = 0;
};

class StreamObjectManager
{
public:
  using Builder = StreamClassRegistrar::Builder;

  // How deep readObject calls may nest (an object whose unpack reads its
  // parts through readObject); a deeper one fails with an error text, so a
  // file of endless nesting cannot exhaust the stack.
  static constexpr unsigned int kMaxNesting = 64;

  StreamObjectManager() = default;
  StreamObjectManager(const StreamObjectManager&) = delete;
  StreamObjectManager& operator=(const StreamObjectManager&) = delete;

  // Makes this the instance that theSOManager() gives.
  void init();

  // Registers builder under both names and gives true. A name that another
  // registration holds already ends the program through qor_splat: two
  // classes of one name are a programming error. (A class whose short and
  // long names are the same stands once.)
  bool registerClass(const LightweightString<char>& shortName, const LightweightString<char>& fullName,
                     Builder builder);
  // Does nothing: classes stay registered.
  void unregisterClass(const LightweightString<char>& name);
  // The builder registered under the name, or null (always for "").
  Builder lookup(const LightweightString<char>& name) const;
  // The record under the name, or null.
  const SORegisterRec* find(const LightweightString<char>& name) const;

  // Reads the object at the cursor. Null on any failure: a stream that
  // already has an error (untouched), a header that cannot be read (the text
  // is on the stream), an unknown class or a failed builder. Except for a
  // flagged stream, the cursor ends after the object even when it failed, so
  // the next object can be read. Says what went wrong on the debug console
  // and standard output. A builder that throws counts as failed and leaves
  // "Builder for <name> threw an exception." on the stream.
  Zr::Ptr<Streamable> readObject(PStream& s);
  // A clone of example (made with its clone(0)) unpacked from the stream;
  // null when example cannot clone.
  Zr::Ptr<Streamable> readObjectAs(PStream& s, const Streamable& example);
  // The name and the two numbers at the cursor, read past.
  StreamObjectInfo objectInfo(PStream& s);

  // The instance, without making one: null before the first theSOManager().
  static StreamObjectManager* instance();
  // Forgets the instance (which lives on) and gives it: for hosts and tests
  // that run without a manager. init() on it puts it back.
  static StreamObjectManager* detach();

private:
  std::map<LightweightString<char>, SORegisterRec> classes_;
};

// The instance, made on first use; never null. Safe from any static
// initialiser.
StreamObjectManager* theSOManager();

// Reads an object through the manager and hands it over: the caller owns it
// (delete it, or hold it in a Zr::Ptr). With no manager: null, and "No
// Stream Object Manager." on the stream.
PStream& operator>>(PStream& s, Streamable*& object);
