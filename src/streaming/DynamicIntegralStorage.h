// DynamicIntegralStorage<S, L>: an integer of width L that is written in the
// narrower width S when it fits. Values below S's largest are S alone; the
// largest S is an escape that says L follows. So with <unsigned char,
// unsigned short>, 254 is one byte and 255 is 0xFF followed by two bytes; with
// <unsigned short, unsigned int>, 65534 is two bytes and 65535 takes six.
//
// The older layered files (stream format 1) keep their versions and chunk
// sizes in this form. A value belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "streaming/PStream.h"

class DynamicIntegralStorageBase
{
public:
  virtual ~DynamicIntegralStorageBase() = default;
  // Writes the value in its short or long form.
  virtual void pack(PStream& s) const = 0;
  // Reads a value in either form. Past the end the stream flags its error and
  // the value reads as 0.
  virtual void unpack(PStream& s) = 0;
};

template <class S, class L> class DynamicIntegralStorage : public DynamicIntegralStorageBase
{
  static_assert(std::is_unsigned_v<S> && std::is_unsigned_v<L> && sizeof(S) < sizeof(L),
                "a narrow and a wide unsigned type");

public:
  // The short form's value that announces the long form.
  static constexpr S kEscape = std::numeric_limits<S>::max();

  DynamicIntegralStorage() = default;
  explicit DynamicIntegralStorage(L value) : value_(value) {}

  L value() const { return value_; }
  void setValue(L value) { value_ = value; }

  // Bytes the value takes on the wire.
  static constexpr std::size_t wireSize(L value)
  {
    return value < kEscape ? sizeof(S) : sizeof(S) + sizeof(L);
  }

  // Decodes a value from the `available` bytes at `bytes`. Gives the bytes
  // used, or 0 (with out untouched) when the value does not end inside them.
  static std::size_t decode(const unsigned char* bytes, std::size_t available, L& out)
  {
    if (available < sizeof(S)) return 0;
    S narrow;
    std::memcpy(&narrow, bytes, sizeof narrow);
    if (narrow != kEscape) {
      out = narrow;
      return sizeof(S);
    }
    if (available < sizeof(S) + sizeof(L)) return 0;
    std::memcpy(&out, bytes + sizeof(S), sizeof(L));
    return sizeof(S) + sizeof(L);
  }

  void pack(PStream& s) const override
  {
    if (value_ < kEscape) {
      s << S(value_);
    } else {
      s << kEscape << value_;
    }
  }

  void unpack(PStream& s) override
  {
    S narrow = 0;
    s >> narrow;
    if (narrow != kEscape) {
      value_ = narrow;
      return;
    }
    L wide = 0;
    s >> wide;
    value_ = wide;
  }

private:
  L value_ = 0;
};
