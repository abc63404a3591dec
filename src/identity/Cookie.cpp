#include "identity/Cookie.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "core/Crash.h"
#include "core/Exception.h"
#include "libzr/Strings.h"

namespace {

// The machine code's alphabet: base 36, then the 16 extras.
constexpr char kAlphabet52[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ()[]{}+-&$@!=;_~";
constexpr const char* kExtras = kAlphabet52 + 36;
constexpr char kInvalidText[] = "INVALID";

constexpr unsigned kShortLength = 8;
constexpr unsigned kLongLength = 40;

// Position of each byte in the 52-character alphabet after upper-casing, -1
// if absent. A table rather than strchr, which would find the terminator.
constexpr std::array<int8_t, 256> makePositions()
{
  std::array<int8_t, 256> positions{};
  for (int8_t& p : positions) p = -1;
  for (int i = 0; i < 52; ++i) {
    const unsigned char c = static_cast<unsigned char>(kAlphabet52[i]);
    positions[c] = int8_t(i);
    if (c >= 'A' && c <= 'Z') positions[c - 'A' + 'a'] = int8_t(i);
  }
  return positions;
}
constexpr std::array<int8_t, 256> kPositions = makePositions();

int positionOf(char c)
{
  return kPositions[static_cast<unsigned char>(c)];
}

// base52Map36ToInt without the exception, for the parser: bad text is common
// there, and an exception takes a stack trace.
bool decodePair(char first, char second, unsigned int& code)
{
  const int p = positionOf(first);
  const int q = positionOf(second);
  if (p < 0 || q < 0) return false;
  if (p > 35)
    code = unsigned(p * 52 + q);
  else if (q > 35)
    code = unsigned(p * 16 + q + 1260);
  else
    code = unsigned(p * 36 + q);
  return true;
}

bool isAsciiAlnum(char c)
{
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDecimal(char c)
{
  return c >= '0' && c <= '9';
}

bool isHex(char c)
{
  return isDecimal(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// The hexadecimal positions that isValid checks in a long text. 19 is missing
// and 29 appears twice: texts that the editor has always accepted depend on it.
constexpr int kLongHexPositions[] = {4,  5,  6,  7,  8,  9,  10, 11, 13, 14, 15, 16, 18, 29, 20, 21,
                                     23, 24, 25, 26, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39};

bool isValidShortText(const char* text)
{
  if (!std::strchr("EFGOPRSV", text[0])) return false;
  if (positionOf(text[1]) < 0 || positionOf(text[3]) < 0) return false;
  // The alphabet test above folds case; the text form has only upper case.
  if ((text[1] >= 'a' && text[1] <= 'z') || (text[3] >= 'a' && text[3] <= 'z')) return false;
  for (unsigned i = 2; i < kShortLength; ++i)
    if (i != 3 && !isAsciiAlnum(text[i])) return false;
  return true;
}

bool isValidLongText(const char* text)
{
  const char first = text[0];
  if (!((first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z'))) return false;
  if (!isDecimal(text[1]) || !isDecimal(text[2])) return false;
  for (int i : {3, 12, 17, 22, 27})
    if (text[i] != '-') return false;
  for (int i : kLongHexPositions)
    if (!isHex(text[i])) return false;
  return true;
}

// "%02d" of a sub-type, which has at most three digits.
char* writeSubType(char* out, unsigned subType)
{
  if (subType >= 100) *out++ = char('0' + subType / 100);
  *out++ = char('0' + subType / 10 % 10);
  *out++ = char('0' + subType % 10);
  return out;
}

LightweightString<wchar_t> widen(const LightweightString<char>& text)
{
  LightweightString<wchar_t> wide;
  wide.resizeFor(text.size());
  wchar_t* out = wide.writableBuffer();
  for (unsigned i = 0; i < text.size(); ++i) out[i] = wchar_t(static_cast<unsigned char>(text.c_str()[i]));
  return wide;
}

bool inRange(uint32_t value, uint32_t low, uint32_t high)
{
  return value >= low && value <= high;
}

// The four ranges of wipe serials: each holds wipe types 1 to 20 above its base.
constexpr uint32_t kWipeBases[] = {46656, 47952, 93312, 94608};
constexpr uint32_t kWipeTypes = 20;

} // namespace

Cookie::Cookie(CookieType type, const Zr::UUID& uuid, int subType) : Cookie()
{
  if (typeFromChar(char(type)) == CookieTypeI) return;
  type_ = type;
  subType_ = uint8_t(subType);
  setUUID(uuid);
}

Cookie::Cookie(const char* text, bool withSubType) : Cookie()
{
  initFromString(text, withSubType);
}

Cookie::Cookie(const LightweightString<wchar_t>& text, bool withSubType) : Cookie()
{
  if (text.size() == kShortLength) {
    initFromString(toUTF8(text).c_str(), withSubType);
    return;
  }
  if (text.size() != kLongLength) return;
  const wchar_t* chars = text.c_str();
  // wchar_t is signed: a negative character must not pass for its low byte.
  const CookieType type = uint32_t(chars[0]) < 0x80 ? typeFromChar(char(chars[0])) : CookieTypeI;
  if (type == CookieTypeI) return;
  const Zr::UUID id(chars + 4);
  if (!id.valid()) return;
  // wcstol reads the sub-type as "%d" would, and gives 0 where no number stands.
  const long subType = std::wcstol(chars + 1, nullptr, 10);
  type_ = type;
  subType_ = withSubType ? uint8_t(subType) : 0;
  setUUID(id);
}

void Cookie::setUUID(const Zr::UUID& uuid)
{
  std::memcpy(id_, uuid.data(), sizeof id_);
  version_ = eLong;
}

void Cookie::initFromString(const char* text, bool withSubType)
{
  invalidate();
  if (!text || !text[0]) return;
  const CookieType type = typeFromChar(text[0]);
  if (type == CookieTypeI) return;
  // Measures no further than one past the long form, whatever the text's length.
  const size_t length = strnlen(text, kLongLength + 1);

  if (length == kShortLength) {
    unsigned int code = 0;
    if (!decodePair(text[1], text[3], code)) return;
    const unsigned int machine = decodeMachineNumber(code);
    if (machine == unsigned(kLocalMachine)) return;
    const int subType = withSubType ? charToDigit(text[2]) : kDefaultSubType;
    int serial = 0;
    for (unsigned i = 4; i < kShortLength; ++i) serial = serial * 36 + charToDigit(text[i]);
    construct(type, serial, subType, int(machine));
    return;
  }

  if (length == kLongLength) {
    const Zr::UUID id(text + 4);
    if (!id.valid()) return;
    type_ = type;
    subType_ = withSubType ? uint8_t(std::strtol(text + 1, nullptr, 10)) : 0;
    setUUID(id);
  }
}

LightweightString<char> Cookie::asString(bool withSubType) const
{
  if (!valid()) return LightweightString<char>(kInvalidText);
  const bool writeSub = withSubType || type_ == CookieTypeS;

  if (version_ == eShort) {
    const int code = encodeMachineNumber(int(machine()));
    unsigned short chars = 0;
    bool encoded = code >= 0;
    if (encoded) {
      try {
        chars = get2DigitBase52Map36Code(unsigned(code));
      } catch (const Zr::Exception::Base&) {
        encoded = false;
      }
    }
    if (!encoded) {
      qor_splat("Failed to encode machine number in cookie_string::construct");
      return LightweightString<char>(kInvalidText);
    }
    char text[kShortLength];
    text[0] = char(type_);
    text[1] = char(chars & 0xFF);
    text[2] = writeSub ? digitToChar(subType_) : '0';
    text[3] = char(chars >> 8);
    uint32_t serialLeft = serial();
    for (int i = 7; i >= 4; --i) {
      text[i] = digitToChar(int(serialLeft % 36));
      serialLeft /= 36;
    }
    return LightweightString<char>(text, kShortLength);
  }

  char text[kLongLength + 2];
  char* out = text;
  *out++ = char(type_);
  out = writeSubType(out, writeSub ? subType_ : 0);
  *out++ = '-';
  uuid().format(out);
  return LightweightString<char>(text, unsigned(out - text) + Zr::UUID::kTextLength);
}

LightweightString<wchar_t> Cookie::asWString() const
{
  return widen(asString(true));
}

int Cookie::compare(const Cookie& other) const
{
  // The type difference runs from other to this, so a higher type sorts first.
  if (const uint32_t byType = uint32_t(other.type_) - uint32_t(type_)) return int(byType);
  if (const int bySubType = int(subType_) - int(other.subType_)) return bySubType;
  const int byId = std::memcmp(id_, other.id_, sizeof id_);
  if (byId == 0) return 0;
  return byId > 0 ? -1 : 1;
}

bool Cookie::onReservedMachine() const
{
  return machine() == uint32_t(kReservedMachine);
}

bool Cookie::isDissolve() const
{
  const uint32_t s = serial();
  return onReservedMachine() && (s == 2 || s == 4 || s == 1298 || s == 1300);
}

bool Cookie::isFilmDissolve() const
{
  const uint32_t s = serial();
  return onReservedMachine() && (s == 4 || s == 1300);
}

bool Cookie::isWipe() const
{
  return onReservedMachine() && wipeType() != 0;
}

int Cookie::wipeType() const
{
  const uint32_t s = serial();
  for (uint32_t base : kWipeBases)
    if (inRange(s, base + 1, base + kWipeTypes)) return int(s - base);
  return 0;
}

int Cookie::wipeDirection() const
{
  const uint32_t s = serial();
  if (inRange(s, kWipeBases[0] + 1, kWipeBases[0] + kWipeTypes)) return 0;
  if (inRange(s, kWipeBases[1] + 1, kWipeBases[1] + kWipeTypes)) return 0;
  return 1;
}

bool Cookie::isEffectGraph() const
{
  return onReservedMachine() && serial() == 46677;
}

bool Cookie::isInput() const
{
  return onReservedMachine() && inRange(serial(), 46678, 46685);
}

bool Cookie::isValid(const char* text)
{
  if (!text) return false;
  const size_t length = strnlen(text, kLongLength + 1);
  if (length == kShortLength) return isValidShortText(text);
  if (length == kLongLength) return isValidLongText(text);
  return false;
}

int Cookie::charToDigit(char c)
{
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'z') return c - 'a' + 10;
  if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
  return 0;
}

char Cookie::digitToChar(int d)
{
  return d < 10 ? char('0' + d) : char(d + 55);
}

int Cookie::encodeMachineNumber(int machine)
{
  if (machine < 0) return -1;
  if (machine < 648) return 2 * machine + 1;
  if (machine < 1296) return 2 * machine - 1296;
  if (machine <= kMaxMachine) return machine;
  return -1;
}

unsigned int Cookie::decodeMachineNumber(unsigned int code)
{
  // Codes up to 1295 interleave the machines below 648 (odd codes) with
  // those from 648 to 1295 (even codes).
  if (code > 1295) return code <= unsigned(kMaxMachine) ? code : unsigned(kLocalMachine);
  if (code % 2 == 0) return code / 2 + 648;
  return code / 2;
}

unsigned short Cookie::get2DigitBase52Map36Code(unsigned int code)
{
  char first = 0;
  char second = 0;
  if (code < 1296) {
    first = kAlphabet52[(code / 36) % 36];
    second = kAlphabet52[code % 36];
  } else if (code < 1872) {
    first = kAlphabet52[((code - 1296) / 16) % 36];
    second = kExtras[code % 16];
  } else if (code <= unsigned(kMaxMachine)) {
    first = kExtras[(code - 1872) / 52];
    second = kAlphabet52[(code - 1872) % 52];
  } else {
    throw Zr::Exception::RuntimeError("Number out of range in get2DigitBase52Map36Code!", __FILE__, __LINE__);
  }
  const unsigned low = static_cast<unsigned char>(first);
  const unsigned high = static_cast<unsigned char>(second);
  return static_cast<unsigned short>(low | high << 8);
}

unsigned int Cookie::base52Map36ToInt(char first, char second)
{
  unsigned int code = 0;
  if (!decodePair(first, second, code))
    throw Zr::Exception::RuntimeError("Invalid character(s) passed to base52Map36ToInt", __FILE__, __LINE__);
  return code;
}

bool isValidMachineNum(int machine)
{
  return machine >= 1 && machine <= Cookie::kMaxMachine && machine != Cookie::kReservedMachine;
}

Cookie convertCookie(const Cookie& source, CookieType type, unsigned char subType)
{
  Cookie result = source;
  if (subType == Cookie::kDefaultSubType) subType = type == CookieTypeS ? 1 : 0;
  result.retype(type, subType);
  return result;
}

constinit const Cookie video_black(CookieTypeV, 1, 0, Cookie::kReservedMachine);
constinit const Cookie audio_black(CookieTypeS, 1, 0, Cookie::kReservedMachine);
constinit const Cookie video_dissolve(CookieTypeV, 2, 0, Cookie::kReservedMachine);
constinit const Cookie film_dissolve(CookieTypeV, 4, 0, Cookie::kReservedMachine);
constinit const Cookie audio_dissolve(CookieTypeS, 2, 0, Cookie::kReservedMachine);
constinit const Cookie video_mix50(CookieTypeV, 3, 0, Cookie::kReservedMachine);
constinit const Cookie audio_mix50(CookieTypeS, 3, 0, Cookie::kReservedMachine);
constinit const Cookie invalid_cookie;
