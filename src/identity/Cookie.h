// Cookie, the identity of a stored thing across machines and years: a
// 20-byte value (16-byte id, version, sub-type, type letter) in two
// generations, the short form (type, machine number, serial; 8 characters as
// text) and the long form (type, sub-type, UUID; 40 characters). The text
// forms are file names and file contents.
//
// The pieces that the well-known cookies need are constexpr, so that those
// cookies are constant-initialised and safe to read from any load-time code.
#pragma once

#include <bit>
#include <cstdint>
#include <string_view>

#include "libOS/LightweightString.h"
#include "libzr/UUID.h"

// The type letter. typeFromChar knows B C E F G M O P R S T V and I; any
// other letter is I, the invalid type.
enum CookieType : unsigned char
{
  CookieTypeB = 'B',
  CookieTypeC = 'C',
  CookieTypeE = 'E',
  CookieTypeF = 'F',
  CookieTypeG = 'G',
  CookieTypeI = 'I', // invalid
  CookieTypeM = 'M',
  CookieTypeO = 'O',
  CookieTypeP = 'P',
  CookieTypeR = 'R',
  CookieTypeS = 'S', // sound of effects
  CookieTypeT = 'T',
  CookieTypeV = 'V', // picture of effects
};

class Cookie
{
public:
  enum eVersion : unsigned char
  {
    eShort = 0, // type, machine number, serial
    eLong = 1,  // type, sub-type, UUID
  };

  // The largest serial of the short form: four base-36 digits.
  static constexpr int kMaxSerial = 1679615;
  // The largest machine number that the two-character code can hold.
  static constexpr int kMaxMachine = 2703;
  // The machine number of the well-known cookies.
  static constexpr int kReservedMachine = 647;
  // The local machine's number where a machine is asked for; also what
  // decodeMachineNumber returns for a code that names no machine.
  static constexpr int kLocalMachine = 65535;
  // Passed as sub-type: the default, 1 for type S and 0 otherwise.
  static constexpr int kDefaultSubType = 255;

  // The invalid cookie: type I, version 0, everything else zero.
  constexpr Cookie() noexcept : id_{}, version_(eShort), subType_(0), type_(CookieTypeI), spare_(0) {}
  // Long form. An unknown type letter gives the invalid cookie.
  Cookie(CookieType type, const Zr::UUID& uuid, int subType);
  // Short form. A serial above kMaxSerial, an unknown type, an S cookie whose
  // sub-type is neither 0 to 35 nor 255, or a machine above kMaxMachine give
  // the invalid cookie. kLocalMachine stands for getLocalMachineNumber().
  constexpr Cookie(CookieType type, int serial, int subType, int machine) : Cookie()
  {
    if (uint32_t(serial) > uint32_t(kMaxSerial)) return;
    if (typeFromChar(char(type)) == CookieTypeI) return;
    if (type == CookieTypeS && subType != kDefaultSubType && (subType < 0 || subType > 35)) return;
    if (machine == kLocalMachine) machine = getLocalMachineNumber();
    if (uint32_t(machine) > uint32_t(kMaxMachine)) return;
    construct(type, serial, subType, machine);
  }
  // From text of either form; a bad text gives the invalid cookie. Never throws.
  Cookie(const char* text, bool withSubType);
  Cookie(const LightweightString<wchar_t>& text, bool withSubType);

  // Makes this a short-form cookie with no checks. Sub-type 255 is the
  // default. The last 8 bytes of the id keep what they held.
  constexpr void construct(CookieType type, int serial, int subType, int machine)
  {
    if (subType == kDefaultSubType) subType = type == CookieTypeS ? 1 : 0;
    version_ = eShort;
    type_ = type;
    subType_ = uint8_t(subType);
    putWord(id_, uint32_t(serial));
    putWord(id_ + 4, uint32_t(machine));
  }
  constexpr void invalidate() { *this = Cookie(); }
  // Stores the id and makes this a long-form cookie; type and sub-type stay.
  void setUUID(const Zr::UUID& uuid);
  // Reads either text form; a bad text leaves the invalid cookie. Never throws.
  void initFromString(const char* text, bool withSubType);

  // "V0010001"-style short text, "E03-7D26D411-99DB-4938-A59E-8FEC159D9819"-style long text, or "INVALID".
  // The sub-type is written only when asked for, or for type S. A short
  // cookie whose machine number has no code ends the program by qor_splat.
  LightweightString<char> asString(bool withSubType = false) const;
  // asString(true), widened.
  LightweightString<wchar_t> asWString() const;

  // 0 for equal. Orders by type (higher first), then sub-type, then id
  // (higher first); the version is not compared.
  int compare(const Cookie& other) const;
  bool operator==(const Cookie& other) const { return compare(other) == 0; }
  bool operator!=(const Cookie& other) const { return compare(other) != 0; }

  constexpr CookieType type() const { return CookieType(type_); }
  constexpr eVersion version() const { return eVersion(version_); }
  constexpr int subType() const { return subType_; }
  constexpr bool valid() const { return type_ != CookieTypeI; }
  Zr::UUID uuid() const { return Zr::UUID::fromBytes(id_); }
  // Short form fields, read from the first 8 bytes of the id.
  constexpr uint32_t serial() const { return getWord(id_); }
  constexpr uint32_t machine() const { return getWord(id_ + 4); }

  // Meanings of serials on the reserved machine. wipeType and wipeDirection
  // look at the serial only.
  bool isDissolve() const;
  bool isFilmDissolve() const;
  bool isWipe() const;
  int wipeType() const;
  int wipeDirection() const;
  bool isEffectGraph() const;
  bool isInput() const;

  static constexpr CookieType typeFromChar(char c)
  {
    return std::string_view("BCEFGMOPRSTV").find(c) != std::string_view::npos ? CookieType(c) : CookieTypeI;
  }
  // Whether a text is a well-formed cookie text of either length. Null is false.
  static bool isValid(const char* text);
  // 0-9, then a-z and A-Z from 10; anything else is 0.
  static int charToDigit(char c);
  // "0" to "9" below 10, "A" onwards from 10.
  static char digitToChar(int d);
  // Machine number to its code, -1 out of range; and back, 65535 for a bad code.
  static int encodeMachineNumber(int machine);
  static unsigned int decodeMachineNumber(unsigned int code);
  // This machine's number, cached once isValidMachineNum accepts it;
  // otherwise our_machine_number_get_from_file() is asked again. The first
  // call reads settings and files; there is no lock.
  static int getLocalMachineNumber();
  // A repair tool for a lost "cookie.num": the highest serial of this
  // machine among the P and E names in the projects base, logged as
  // "Highest Cookie num found is %u\n". 0 when the machine number is 0.
  static unsigned int findHighestCookieNum();

  // Two characters of a code: first in the low byte, second in the high one.
  // Throws Zr::Exception::RuntimeError above 2703.
  static unsigned short get2DigitBase52Map36Code(unsigned int code);
  // The code of two characters, in either case. Throws
  // Zr::Exception::RuntimeError for a character outside the alphabet.
  static unsigned int base52Map36ToInt(char first, char second);

private:
  // Serial and machine are stored in native byte order, as the editor's
  // files have always held them.
  static constexpr void putWord(uint8_t* p, uint32_t v)
  {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> shiftOf(i));
  }
  static constexpr uint32_t getWord(const uint8_t* p)
  {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v |= uint32_t(p[i]) << shiftOf(i);
    return v;
  }
  static constexpr int shiftOf(int byte)
  {
    return 8 * (std::endian::native == std::endian::little ? byte : 3 - byte);
  }

  bool onReservedMachine() const;
  static int localMachineNumber_;
  void retype(CookieType type, unsigned char subType)
  {
    type_ = type;
    subType_ = subType;
  }
  friend Cookie convertCookie(const Cookie& source, CookieType type, unsigned char subType);

  // Raw bytes rather than a Zr::UUID, so that the constructors can be constexpr.
  uint8_t id_[16];
  uint8_t version_;
  uint8_t subType_;
  uint8_t type_;
  // Keeps the value 20 bytes long, and its every byte defined when it is written out.
  uint8_t spare_;
};

// 1 to 2703, except the reserved 647.
bool isValidMachineNum(int machine);
// The same id and version with a new type and sub-type (255: the default).
Cookie convertCookie(const Cookie& source, CookieType type, unsigned char subType);

// The well-known cookies, on the reserved machine.
extern const Cookie video_black;
extern const Cookie audio_black;
extern const Cookie video_dissolve;
extern const Cookie film_dissolve;
extern const Cookie audio_dissolve;
extern const Cookie video_mix50;
extern const Cookie audio_mix50;
extern const Cookie invalid_cookie;
