// StreamClassRegistrar: a static object per persistent class that registers
// the class's builder with the stream object manager while the library
// loads (ZR_STREAMABLE_REGISTER in StreamableTraits.h makes one).
#pragma once

#include "core/LightweightString.h"
#include "core/Ptr.h"

class PStream;
class Streamable;

class StreamClassRegistrar
{
public:
  using Builder = Zr::Ptr<Streamable> (*)(PStream& s);

  // Registers builder under shortName and fullName, the class's short and
  // long hierarchy names. A name already taken ends the program through
  // qor_splat. Safe from any static initialiser.
  StreamClassRegistrar(const LightweightString<char>& shortName, const LightweightString<char>& fullName,
                       Builder builder);
  // Leaves the registration in place: classes stay known until the end.
  ~StreamClassRegistrar() = default;

  StreamClassRegistrar(const StreamClassRegistrar&) = delete;
  StreamClassRegistrar& operator=(const StreamClassRegistrar&) = delete;
};
