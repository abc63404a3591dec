// IdStamp: a 12-byte unique value made locally with no persistent counter:
// the machine number, whole seconds since a private epoch, and a counter of
// the stamps made within that second. It names edits and records where a
// Cookie would be too heavy.
//
// The tick word also carries a small magic type from bit 26 up, which marks
// a special, non-unique stamp. The tick count is masked with 30 bits while
// the type is read from bit 26: bits 26 to 29 belong to both. Files hold
// values made with this arithmetic, so it stays exactly so.
//
// Text form: "%08X%08X%X" (machine, time, tick word); a null stamp (time 0)
// gives "". Stream form: that text and a zero.
//
// Making a stamp uses class-wide state with no lock: stamps are made on the
// main thread. Everything else works on the value alone.
#pragma once

#include <cstdint>

#include "core/LightweightString.h"

class PStream;

namespace IdStampMagic {
// The magic types a tick word can carry (6 bits from bit 26).
enum MagicType
{
  eNotMagic = 0,
  // Stands for any stamp, in a match.
  eAnyStamp = 1,
  // Stands for no stamp in particular, unlike the null stamp which is unset.
  eNoStamp = 2,
  // The stamp of a default value.
  eDefault = 3,
};
} // namespace IdStampMagic

class IdStamp
{
public:
  // The seconds of the private epoch after the Unix epoch.
  static constexpr std::uint32_t kEpoch = 803733504;
  static constexpr std::uint32_t kTickMask = 0x3FFFFFFF;
  static constexpr int kMagicShift = 26;

  // A new stamp, unique on this machine: within one second the tick word
  // counts up; a new second, or a full counter, starts it again at 0. The
  // machine number is read once, and again while it reads as 0.
  IdStamp();
  IdStamp(std::uint32_t machine, std::uint32_t time, std::uint32_t ticks);
  // From the text form: 8 hexadecimal characters of machine, 8 of time and
  // the rest for the tick word, each read by strtol in base 16, so bad text
  // gives what strtol gives. Null or "" gives the null stamp.
  explicit IdStamp(const char* text);

  std::uint32_t machineNum() const { return machine_; }
  std::uint32_t timeBits() const { return time_; }
  // The tick word's low 30 bits, magic type bits 26 to 29 included.
  std::uint32_t tickCount() const { return ticks_ & kTickMask; }
  // The tick word as it is.
  std::uint32_t tickWord() const { return ticks_; }

  // True when the time is set.
  bool valid() const { return time_ != 0; }
  // Makes the null stamp (all words 0).
  void nullify();
  void invalidate() { nullify(); }

  // Machine, then time, then the whole tick word, each as the 32-bit
  // difference this less other; 0 for equal stamps.
  int compare(const IdStamp& other) const;
  bool operator==(const IdStamp& other) const { return compare(other) == 0; }
  bool operator!=(const IdStamp& other) const { return compare(other) != 0; }
  // A strict order by machine, time and tick word, for maps.
  bool operator<(const IdStamp& other) const;

  // "%08X%08X%X", or "" for a null stamp.
  LightweightString<char> asString() const;
  // Writes the text form and a zero.
  void pack(PStream& stream) const;
  // Reads the text form. Version 'S' first passes over 38 bytes and then
  // counts as 1; a version 1 stamp with a tick word above 0x3FFFFFF is
  // reported on the debug console and standard output, and kept as read.
  // Errors travel in the stream.
  void unpack(PStream& stream, unsigned char version);

  // ORs the type, shifted to bit 26, over the low 30 bits of the tick word.
  void setMagicType(IdStampMagic::MagicType type);
  IdStampMagic::MagicType getMagicType() const { return IdStampMagic::MagicType(ticks_ >> kMagicShift); }
  bool isMagic() const { return ticks_ >= (1u << kMagicShift); }

  // For tests and repair tools: the state the next new stamp counts from.
  static void setCounterState(std::uint32_t seconds, std::uint32_t tickWord);
  // The seconds since the private epoch now, as a new stamp takes them.
  static std::uint32_t now();

private:
  std::uint32_t machine_;
  std::uint32_t time_;
  std::uint32_t ticks_;
};
