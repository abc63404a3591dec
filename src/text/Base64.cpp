#include "text/Base64.h"

#include <cstring>

constinit const char kBase64Alphabet[65] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

namespace {

// The value of one character, -1 outside the alphabet.
int valueOf(unsigned char c)
{
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

} // namespace

LightweightString<char> base64Encode(const unsigned char* bytes, size_t n)
{
  if (!bytes || n == 0) return {};
  const size_t outLength = (n + 2) / 3 * 4;
  LightweightString<char> out;
  out.resizeFor(unsigned(outLength));
  char* o = out.writableBuffer();
  size_t i = 0;
  for (; i + 3 <= n; i += 3) {
    const unsigned v = unsigned(bytes[i]) << 16 | unsigned(bytes[i + 1]) << 8 | bytes[i + 2];
    *o++ = kBase64Alphabet[v >> 18];
    *o++ = kBase64Alphabet[(v >> 12) & 63];
    *o++ = kBase64Alphabet[(v >> 6) & 63];
    *o++ = kBase64Alphabet[v & 63];
  }
  if (i < n) {
    const bool two = i + 1 < n;
    const unsigned v = unsigned(bytes[i]) << 16 | (two ? unsigned(bytes[i + 1]) << 8 : 0u);
    *o++ = kBase64Alphabet[v >> 18];
    *o++ = kBase64Alphabet[(v >> 12) & 63];
    *o++ = two ? kBase64Alphabet[(v >> 6) & 63] : '=';
    *o++ = '=';
  }
  return out;
}

unsigned char* base64Decode(const char* text, size_t* n)
{
  const size_t length = text ? std::strlen(text) : 0;
  auto* out = new unsigned char[length + 10];
  size_t written = 0;
  unsigned bits = 0;
  int held = 0;
  for (size_t i = 0; i < length; ++i) {
    const int v = valueOf(static_cast<unsigned char>(text[i]));
    if (v < 0) break; // "=" or any other character ends the data
    bits = bits << 6 | unsigned(v);
    held += 6;
    if (held >= 8) {
      held -= 8;
      out[written++] = static_cast<unsigned char>(bits >> held);
      bits &= (1u << held) - 1;
    }
  }
  if (n) *n = written;
  return out;
}
