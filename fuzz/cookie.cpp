// Reads arbitrary bytes as cookie text, narrow and wide. Nothing throws;
// whatever does not parse is the invalid cookie in every byte; a text that
// passes the validity test parses; and a parsed cookie whose text is valid
// prints back to a text that parses to the same cookie.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "identity/Cookie.h"

namespace {

void checkInvalidOrWhole(const Cookie& c)
{
  if (!c.valid() && std::memcmp(&c, &invalid_cookie, sizeof c) != 0) abort();
}

void checkRoundTrip(const Cookie& c, bool withSubType)
{
  const LightweightString<char> printed = c.asString(true);
  if (!Cookie::isValid(printed.c_str())) abort();
  if (Cookie(printed.c_str(), true) != c) abort();
  // Without the sub-type, the text reads back as the default sub-type.
  const Cookie plain(printed.c_str(), withSubType);
  if (plain.type() != c.type() || plain.uuid() != c.uuid() || plain.version() != c.version()) abort();
  if (Cookie(c.asWString(), true) != c) abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  if (size == 0) return 0;
  // The first byte chooses the sub-type flag; the rest is the text.
  const bool withSubType = data[0] & 1;
  const std::string raw(reinterpret_cast<const char*>(data + 1), size - 1);
  const char* text = raw.c_str(); // up to the first zero, as a C text reads

  try {
    const Cookie narrow(text, withSubType);
    checkInvalidOrWhole(narrow);
    const bool wellFormed = Cookie::isValid(text);
    if (wellFormed && !narrow.valid() && std::strlen(text) == 8) abort();
    if (wellFormed && narrow.valid()) checkRoundTrip(Cookie(text, true), withSubType);

    Cookie reused(CookieTypeV, 1, 0, 1);
    reused.initFromString(text, withSubType);
    if (std::memcmp(&reused, &narrow, sizeof narrow) != 0) abort();

    // Bytes as Latin-1 wide characters, and as wide characters above ASCII
    // or negative whose low byte is the same: those must never parse.
    LightweightString<wchar_t> wide;
    LightweightString<wchar_t> high;
    LightweightString<wchar_t> negative;
    for (unsigned char c : raw) {
      wide.push_back(wchar_t(c));
      high.push_back(wchar_t(c) + 0x100);
      negative.push_back(wchar_t(int32_t(0xFFFFFF00u | c)));
    }
    checkInvalidOrWhole(Cookie(wide, withSubType));
    if (Cookie(high, withSubType).valid() || Cookie(negative, withSubType).valid()) abort();
  } catch (...) {
    abort();
  }
  return 0;
}
