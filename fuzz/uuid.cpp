// Parses arbitrary text as a UUID: whatever parses prints back as the same
// text in upper case, and what does not parse is the nil UUID.
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "libzr/UUID.h"

namespace {

// The form by its definition: 36 characters, hyphens at 8, 13, 18, 23, hex
// digits elsewhere.
bool hasTheForm(const std::string& text)
{
  if (text.size() != 36) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
    if (hyphen ? text[i] != '-' : !std::isxdigit(static_cast<unsigned char>(text[i]))) return false;
  }
  return true;
}

std::string upper(std::string text)
{
  for (char& c : text) c = char(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string raw(reinterpret_cast<const char*>(data), size);
  const std::string text(raw.c_str()); // up to the first zero, as a C text reads
  const Zr::UUID id(text.c_str());

  const bool shouldParse = hasTheForm(text) && text != "00000000-0000-0000-0000-000000000000";
  if (id.valid() != shouldParse) abort();
  if (!id.valid() && id != Zr::UUID()) abort();
  if (id.valid()) {
    const LightweightString<char> printed = id.asString();
    if (upper(text) != printed.c_str()) abort();
    if (Zr::UUID(printed) != id) abort();
  }

  // The counted form must refuse embedded zeros; the wide form must agree,
  // and wide characters above ASCII must never pass for digits.
  const Zr::UUID counted(LightweightString<char>(raw.data(), unsigned(raw.size())));
  if (counted != (raw.size() == text.size() ? id : Zr::UUID())) abort();
  std::vector<wchar_t> wide(text.begin(), text.end());
  wide.push_back(0);
  if (Zr::UUID(wide.data()) != id) abort();
  for (wchar_t& c : wide)
    if (c) c += 0x100;
  if (Zr::UUID(wide.data()).valid()) abort();
  return 0;
}
