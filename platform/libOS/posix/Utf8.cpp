// The UTF-8 codec. Runs of ASCII, the common case in file names, settings and
// logs, go 16 bytes at a time; everything else goes one sequence at a time
// with the ranges of the Unicode standard's table of well-formed sequences, so
// that overlongs, surrogates and values above U+10FFFF are refused at the
// first byte that proves them wrong.
#include "libOS/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

constexpr wchar_t kReplacement = 0xFFFD;

inline bool isContinuation(uint8_t b)
{
  return (b & 0xC0) == 0x80;
}

// Widens the ASCII run at p (at most up to end) into o; returns its length.
inline size_t widenAscii(const uint8_t* p, const uint8_t* end, wchar_t* o)
{
  const uint8_t* start = p;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  while (end - p >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    if (_mm_movemask_epi8(v) != 0) break;
    const __m128i lo = _mm_unpacklo_epi8(v, zero);
    const __m128i hi = _mm_unpackhi_epi8(v, zero);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(o), _mm_unpacklo_epi16(lo, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 4), _mm_unpackhi_epi16(lo, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 8), _mm_unpacklo_epi16(hi, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 12), _mm_unpackhi_epi16(hi, zero));
    p += 16;
    o += 16;
  }
#endif
  while (end - p >= 8) {
    uint64_t word;
    std::memcpy(&word, p, 8);
    if (word & 0x8080808080808080ull) break;
    for (int i = 0; i < 8; ++i) o[i] = p[i];
    p += 8;
    o += 8;
  }
  while (p < end && *p < 0x80) *o++ = *p++;
  return size_t(p - start);
}

// Narrows the ASCII run at in (at most count characters) into o; returns its length.
inline size_t narrowAscii(const wchar_t* in, size_t count, char* o)
{
  size_t i = 0;
#if defined(__SSE2__)
  const __m128i high = _mm_set1_epi32(int(0xFFFFFF80));
  const __m128i zero = _mm_setzero_si128();
  while (count - i >= 8) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i + 4));
    // Negative values have high bits set too, so they leave the fast path.
    const __m128i bits = _mm_or_si128(_mm_and_si128(a, high), _mm_and_si128(b, high));
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(bits, zero)) != 0xFFFF) break;
    const __m128i packed = _mm_packus_epi16(_mm_packs_epi32(a, b), zero);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(o + i), packed);
    i += 8;
  }
#endif
  while (i < count && uint32_t(in[i]) < 0x80) {
    o[i] = char(in[i]);
    ++i;
  }
  return i;
}

// Bytes that encode() writes for one character.
inline size_t encodedSize(uint32_t c)
{
  if (c < 0x80) return 1;
  if (c < 0x800) return 2;
  if (c < 0x10000) return 3; // surrogates become U+FFFD, also 3 bytes
  if (c <= 0x10FFFF) return 4;
  return 3; // U+FFFD
}

} // namespace

namespace OSUtf8 {

size_t decode(const char* in, size_t bytes, wchar_t* out) noexcept
{
  if (!in || bytes == 0) return 0;
  const uint8_t* p = reinterpret_cast<const uint8_t*>(in);
  const uint8_t* const end = p + bytes;
  wchar_t* o = out;

  while (p < end) {
    const uint8_t b0 = *p;
    if (b0 < 0x80) {
      const size_t n = widenAscii(p, end, o);
      p += n;
      o += n;
      continue;
    }
    const size_t left = size_t(end - p);

    // Stray continuation bytes, and C0 and C1, which could only start overlongs.
    if (b0 < 0xC2) {
      *o++ = kReplacement;
      ++p;
      continue;
    }

    if (b0 < 0xE0) {
      if (left >= 2 && isContinuation(p[1])) {
        *o++ = wchar_t(((b0 & 0x1F) << 6) | (p[1] & 0x3F));
        p += 2;
      } else {
        *o++ = kReplacement;
        ++p;
      }
      continue;
    }

    if (b0 < 0xF0) {
      // E0 needs A0..BF (else overlong); ED needs 80..9F (else a surrogate).
      const uint8_t lo = b0 == 0xE0 ? 0xA0 : 0x80;
      const uint8_t hi = b0 == 0xED ? 0x9F : 0xBF;
      if (left < 2 || p[1] < lo || p[1] > hi) {
        *o++ = kReplacement;
        ++p;
        continue;
      }
      if (left < 3 || !isContinuation(p[2])) {
        *o++ = kReplacement;
        p += 2;
        continue;
      }
      *o++ = wchar_t(((b0 & 0x0F) << 12) | ((p[1] & 0x3F) << 6) | (p[2] & 0x3F));
      p += 3;
      continue;
    }

    if (b0 < 0xF5) {
      // F0 needs 90..BF (else overlong); F4 needs 80..8F (else above U+10FFFF).
      const uint8_t lo = b0 == 0xF0 ? 0x90 : 0x80;
      const uint8_t hi = b0 == 0xF4 ? 0x8F : 0xBF;
      if (left < 2 || p[1] < lo || p[1] > hi) {
        *o++ = kReplacement;
        ++p;
        continue;
      }
      if (left < 3 || !isContinuation(p[2])) {
        *o++ = kReplacement;
        p += 2;
        continue;
      }
      if (left < 4 || !isContinuation(p[3])) {
        *o++ = kReplacement;
        p += 3;
        continue;
      }
      *o++ = wchar_t(((b0 & 0x07) << 18) | ((p[1] & 0x3F) << 12) | ((p[2] & 0x3F) << 6) | (p[3] & 0x3F));
      p += 4;
      continue;
    }

    // F5..FF start nothing valid.
    *o++ = kReplacement;
    ++p;
  }
  return size_t(o - out);
}

size_t encode(const wchar_t* in, size_t count, char* out) noexcept
{
  if (!in || count == 0) return 0;
  char* o = out;
  size_t i = 0;
  while (i < count) {
    uint32_t c = uint32_t(in[i]);
    if (c < 0x80) {
      const size_t n = narrowAscii(in + i, count - i, o);
      i += n;
      o += n;
      continue;
    }
    ++i;
    if (c < 0x800) {
      o[0] = char(0xC0 | (c >> 6));
      o[1] = char(0x80 | (c & 0x3F));
      o += 2;
      continue;
    }
    // Negative wchar_t values arrive here as large unsigned numbers.
    if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) c = uint32_t(kReplacement);
    if (c < 0x10000) {
      o[0] = char(0xE0 | (c >> 12));
      o[1] = char(0x80 | ((c >> 6) & 0x3F));
      o[2] = char(0x80 | (c & 0x3F));
      o += 3;
    } else {
      o[0] = char(0xF0 | (c >> 18));
      o[1] = char(0x80 | ((c >> 12) & 0x3F));
      o[2] = char(0x80 | ((c >> 6) & 0x3F));
      o[3] = char(0x80 | (c & 0x3F));
      o += 4;
    }
  }
  return size_t(o - out);
}

size_t encodedLength(const wchar_t* in, size_t count) noexcept
{
  if (!in) return 0;
  size_t total = 0;
  size_t i = 0;
#if defined(__SSE2__)
  // Four characters at a time: one byte each, plus one for each of the
  // thresholds 0x7F, 0x7FF and 0xFFFF passed, less one above U+10FFFF (which
  // becomes the 3-byte U+FFFD). SSE2 compares are signed, so the sign bit is
  // flipped on both sides to compare as unsigned.
  const __m128i flip = _mm_set1_epi32(int(0x80000000u));
  const __m128i above7F = _mm_set1_epi32(int(0x8000007Fu));
  const __m128i above7FF = _mm_set1_epi32(int(0x800007FFu));
  const __m128i aboveFFFF = _mm_set1_epi32(int(0x8000FFFFu));
  const __m128i above10FFFF = _mm_set1_epi32(int(0x8010FFFFu));
  while (count - i >= 4) {
    // Lane sums stay far below overflow within one batch.
    const size_t batchEnd = i + std::min<size_t>((count - i) & ~size_t(3), size_t(1) << 24);
    __m128i extra = _mm_setzero_si128();
    for (; i < batchEnd; i += 4) {
      const __m128i v = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i)), flip);
      extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, above7F));
      extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, above7FF));
      extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, aboveFFFF));
      extra = _mm_add_epi32(extra, _mm_cmpgt_epi32(v, above10FFFF));
    }
    uint32_t lanes[4];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(lanes), extra);
    total += size_t(lanes[0]) + lanes[1] + lanes[2] + lanes[3];
  }
  total += i;
#endif
  for (; i < count; ++i) total += encodedSize(uint32_t(in[i]));
  return total;
}

LightweightString<wchar_t> toWide(const char* in, size_t bytes)
{
  if (!in || bytes == 0) return LightweightString<wchar_t>();
  if (bytes >= UINT32_MAX) throw std::bad_alloc();
  // Each byte gives at most one character, so the byte count is room enough.
  LightweightString<wchar_t> text(LightweightString<wchar_t>::createImpl(unsigned(bytes), true));
  wchar_t* buffer = text.writableBuffer();
  const size_t n = decode(in, bytes, buffer);
  if (n == bytes) return text;
  // Multi-byte text decodes shorter; a string keeps the smallest power-of-two
  // capacity above its length, so copy when the result would fit a smaller block.
  unsigned int tight = 1;
  while (tight <= n) tight <<= 1;
  if (tight < text.capacity()) return LightweightString<wchar_t>(buffer, unsigned(n));
  text.resize(unsigned(n));
  return text;
}

LightweightString<char> toNarrow(const wchar_t* in, size_t count)
{
  if (!in || count == 0) return LightweightString<char>();
  const size_t bytes = encodedLength(in, count);
  if (bytes >= UINT32_MAX) throw std::bad_alloc();
  LightweightString<char> text(LightweightString<char>::createImpl(unsigned(bytes), true));
  encode(in, count, text.writableBuffer());
  return text;
}

} // namespace OSUtf8
