// Decodes arbitrary bytes and checks the result against a reference decoder
// written from the definition rather than from the tables, then encodes it
// back and decodes again.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "libOS/Utf8.h"

namespace {

constexpr uint32_t kReplacement = 0xFFFD;

bool isScalarValue(uint32_t c)
{
  return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
}

// The length a lead byte announces; 0 for bytes that lead nothing.
unsigned announcedLength(uint8_t b)
{
  if (b < 0x80) return 1;
  if ((b & 0xE0) == 0xC0) return 2;
  if ((b & 0xF0) == 0xE0) return 3;
  if ((b & 0xF8) == 0xF0) return 4;
  return 0;
}

// Whether the k bytes at p (lead first, continuation bytes after) can still
// become a well-formed sequence of `length` bytes: the values reachable by
// filling in the missing bytes form an interval, which must meet a scalar
// value that needs exactly this length.
bool canComplete(const uint8_t* p, unsigned k, unsigned length)
{
  static const uint8_t leadMask[5] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  static const uint32_t minimum[5] = {0, 0, 0x80, 0x800, 0x10000};
  uint32_t low = p[0] & leadMask[length], high = low;
  for (unsigned i = 1; i < length; ++i) {
    const uint32_t known = i < k ? uint32_t(p[i] & 0x3F) : 0;
    low = (low << 6) | (i < k ? known : 0x00);
    high = (high << 6) | (i < k ? known : 0x3F);
  }
  const auto meets = [&](uint32_t from, uint32_t to) { return from <= to && low <= to && high >= from; };
  const uint32_t least = minimum[length];
  return meets(least, 0xD7FF) || meets(least > 0xE000 ? least : 0xE000, 0x10FFFF);
}

std::vector<uint32_t> referenceDecode(const uint8_t* data, size_t size)
{
  std::vector<uint32_t> out;
  size_t i = 0;
  while (i < size) {
    const unsigned length = announcedLength(data[i]);
    if (length == 0) {
      out.push_back(kReplacement);
      ++i;
      continue;
    }
    if (length == 1) {
      out.push_back(data[i++]);
      continue;
    }
    unsigned k = 1;
    while (k < length && i + k < size && (data[i + k] & 0xC0) == 0x80 && canComplete(data + i, k + 1, length))
      ++k;
    if (k == length) {
      static const uint8_t leadMask[5] = {0, 0x7F, 0x1F, 0x0F, 0x07};
      uint32_t c = data[i] & leadMask[length];
      for (unsigned j = 1; j < length; ++j) c = (c << 6) | (data[i + j] & 0x3F);
      out.push_back(c);
    } else {
      out.push_back(kReplacement);
    }
    i += k;
  }
  return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const char* bytes = reinterpret_cast<const char*>(data);
  std::vector<wchar_t> decoded(size);
  const size_t n = OSUtf8::decode(bytes, size, decoded.data());
  if (n > size) abort();
  decoded.resize(n);

  const std::vector<uint32_t> expected = referenceDecode(data, size);
  if (expected.size() != n) abort();
  for (size_t i = 0; i < n; ++i) {
    const uint32_t c = uint32_t(decoded[i]);
    if (!isScalarValue(c)) abort();
    if (c != expected[i]) abort();
  }

  std::vector<char> encoded(4 * n);
  const size_t m = OSUtf8::encode(decoded.data(), n, encoded.data());
  if (m != OSUtf8::encodedLength(decoded.data(), n)) abort();
  std::vector<wchar_t> again(m);
  if (OSUtf8::decode(encoded.data(), m, again.data()) != n) abort();
  again.resize(n);
  if (again != decoded) abort();

  // The string forms agree with the buffer forms.
  const LightweightString<wchar_t> wide = OSUtf8::toWide(bytes, size);
  if (wide.size() != n) abort();
  for (size_t i = 0; i < n; ++i)
    if (wide[unsigned(i)] != decoded[i]) abort();
  const LightweightString<char> narrow = OSUtf8::toNarrow(wide.c_str(), wide.size());
  if (narrow.size() != m) abort();
  for (size_t i = 0; i < m; ++i)
    if (narrow[unsigned(i)] != encoded[i]) abort();

  // The bytes read as wide characters, any value at all: encoding gives what
  // encodedLength says, and decoding gives back each scalar value, with
  // U+FFFD for the rest.
  const size_t count = size / sizeof(wchar_t);
  std::vector<wchar_t> chars(count);
  std::memcpy(chars.data(), data, count * sizeof(wchar_t));
  std::vector<char> out(4 * count);
  const size_t written = OSUtf8::encode(chars.data(), count, out.data());
  if (written != OSUtf8::encodedLength(chars.data(), count)) abort();
  std::vector<wchar_t> back(written);
  if (OSUtf8::decode(out.data(), written, back.data()) != count) abort();
  for (size_t i = 0; i < count; ++i) {
    const uint32_t c = uint32_t(chars[i]);
    if (uint32_t(back[i]) != (isScalarValue(c) ? c : kReplacement)) abort();
  }
  return 0;
}
