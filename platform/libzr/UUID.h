// Zr::UUID, a 16-byte identifier: random version-4 values, their ordering and
// their 36-character text form.
//
// The text form prints the bytes in GUID field order: the first 4 bytes as a
// little-endian 32-bit number, then two little-endian 16-bit numbers, then the
// last 8 bytes as they stand, in upper-case hex with hyphens at 8, 13, 18 and
// 23. A number stored in the first 4 bytes therefore reads as itself.
#pragma once

#include <cstdint>
#include <type_traits>

#include "libOS/LightweightString.h"

namespace Zr {

class UUID
{
public:
  // Characters of the text form, terminator not counted.
  static constexpr unsigned int kTextLength = 36;

  // The nil UUID (all zero), which is not valid().
  UUID() noexcept : bytes_{} {}

  // Parses the text form in either case; any other text gives the nil UUID.
  explicit UUID(const char* text) noexcept;
  explicit UUID(const wchar_t* text) noexcept;
  explicit UUID(const LightweightString<char>& text) noexcept;
  explicit UUID(const LightweightString<wchar_t>& text) noexcept;

  // A new random version-4 UUID from the kernel's generator. Unique across
  // threads and processes, also in a child made by fork. Thread-safe.
  static UUID generate();

  // Same as the constructors from text.
  static UUID fromString(const char* text) noexcept { return UUID(text); }
  static UUID fromString(const wchar_t* text) noexcept { return UUID(text); }

  // The UUID holding these 16 bytes.
  static UUID fromBytes(const void* bytes16) noexcept;

  // False for the nil UUID, which is also what a failed parse gives.
  bool valid() const noexcept;

  // The 36-character text form.
  LightweightString<char> asString() const;
  LightweightString<wchar_t> asWString() const;
  // Writes the text form and a terminator into out, which holds 37 bytes.
  void format(char* out) const noexcept;

  const uint8_t* data() const noexcept { return bytes_; }
  uint8_t* data() noexcept { return bytes_; }

  // Byte-wise (memcmp) order.
  bool operator<(const UUID& other) const noexcept;
  bool operator==(const UUID& other) const noexcept;
  bool operator!=(const UUID& other) const noexcept { return !(*this == other); }

private:
  uint8_t bytes_[16];
};

static_assert(sizeof(UUID) == 16, "a UUID is its 16 bytes");
static_assert(std::is_trivially_copyable_v<UUID>, "a UUID is a plain value");

} // namespace Zr
