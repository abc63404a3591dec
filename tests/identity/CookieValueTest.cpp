// The cookie as a value: its checks on construction, its order, the meanings
// of reserved serials, conversion between types, and its byte layout.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "identity/Cookie.h"

namespace {

const Zr::UUID kUuid("12345678-9ABC-DEF0-0123-456789ABCDEF");

Cookie reserved(int serial)
{
  return Cookie(CookieTypeV, serial, 0, Cookie::kReservedMachine);
}

int sign(int v)
{
  return (v > 0) - (v < 0);
}

Zr::UUID uuidWithFirstByte(uint8_t first)
{
  uint8_t bytes[16] = {first, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  return Zr::UUID::fromBytes(bytes);
}

// The well-known cookies are constant-initialised; this fails to compile if
// the constructors they use stop being constexpr.
static_assert(Cookie(CookieTypeV, 3, 0, Cookie::kReservedMachine).serial() == 3);

TEST(DefaultCookie, IsInvalidWithEveryFieldZero)
{
  const Cookie c;
  EXPECT_EQ(c.type(), CookieTypeI);
  EXPECT_EQ(c.version(), Cookie::eShort);
  EXPECT_EQ(c.subType(), 0);
  EXPECT_EQ(c.serial(), 0u);
  EXPECT_EQ(c.machine(), 0u);
  EXPECT_FALSE(c.uuid().valid());
  EXPECT_EQ(std::memcmp(&c, &invalid_cookie, sizeof c), 0);
  // Invalidating returns every byte to the default.
  Cookie d(CookieTypeS, kUuid, 5);
  d.invalidate();
  EXPECT_EQ(std::memcmp(&d, &c, sizeof c), 0);
}

TEST(ShortConstructor, ChecksSerialTypeSoundSubTypeAndMachine)
{
  for (const Cookie& c :
       {Cookie(CookieTypeV, Cookie::kMaxSerial + 1, 0, 1), Cookie(CookieTypeV, -1, 0, 1),
        Cookie(CookieTypeS, 1, 36, 1), Cookie(CookieTypeS, 1, -1, 1), Cookie(CookieTypeI, 1, 0, 1),
        Cookie(CookieType('X'), 1, 0, 1), Cookie(CookieType('v'), 1, 0, 1),
        Cookie(CookieTypeV, 1, 0, Cookie::kMaxMachine + 1), Cookie(CookieTypeV, 1, 0, -1)})
    EXPECT_EQ(std::memcmp(&c, &invalid_cookie, sizeof c), 0) << c.serial() << " " << c.machine();
  EXPECT_TRUE(Cookie(CookieTypeV, Cookie::kMaxSerial, 0, 1).valid());
  EXPECT_TRUE(Cookie(CookieTypeV, 0, 0, Cookie::kMaxMachine).valid());
  EXPECT_EQ(Cookie(CookieTypeS, 1, 35, 1).subType(), 35);
  EXPECT_EQ(Cookie(CookieTypeS, 1, Cookie::kDefaultSubType, 1).subType(), 1);
  EXPECT_EQ(Cookie(CookieTypeV, 1, Cookie::kDefaultSubType, 1).subType(), 0);
  EXPECT_EQ(Cookie(CookieTypeV, 1, 36, 1).subType(), 36);
}

TEST(Construct, LeavesTheLastEightBytesOfTheId)
{
  Cookie c(CookieTypeV, kUuid, 3);
  c.construct(CookieTypeS, 9, Cookie::kDefaultSubType, 20);
  EXPECT_EQ(c.version(), Cookie::eShort);
  EXPECT_EQ(c.type(), CookieTypeS);
  EXPECT_EQ(c.subType(), 1);
  EXPECT_EQ(c.serial(), 9u);
  EXPECT_EQ(c.machine(), 20u);
  EXPECT_EQ(std::memcmp(c.uuid().data() + 8, kUuid.data() + 8, 8), 0);
}

TEST(SetUuid, MakesALongCookieOfTheSameTypeAndSubType)
{
  Cookie c(CookieTypeS, 1, 5, 1);
  c.setUUID(kUuid);
  EXPECT_EQ(c.version(), Cookie::eLong);
  EXPECT_EQ(c.type(), CookieTypeS);
  EXPECT_EQ(c.subType(), 5);
  EXPECT_EQ(c.uuid(), kUuid);
  EXPECT_FALSE(Cookie(CookieType('X'), kUuid, 0).valid());
}

TEST(Compare, OrdersByHigherTypeThenLowerSubTypeThenHigherIdBytes)
{
  const Cookie low(CookieTypeV, uuidWithFirstByte(0x10), 0);
  const Cookie high(CookieTypeV, uuidWithFirstByte(0x20), 0);
  EXPECT_EQ(Cookie(CookieTypeV, 1, 0, 1).compare(Cookie(CookieTypeS, 1, 0, 1)), 'S' - 'V');
  EXPECT_EQ(Cookie(CookieTypeV, kUuid, 2).compare(Cookie(CookieTypeV, kUuid, 7)), -5);
  EXPECT_EQ(Cookie(CookieTypeV, kUuid, 7).compare(Cookie(CookieTypeV, kUuid, 2)), 5);
  EXPECT_EQ(high.compare(low), -1);
  EXPECT_EQ(low.compare(high), 1);
  EXPECT_EQ(low.compare(low), 0);
  // The type decides before the id does.
  EXPECT_GT(Cookie(CookieTypeS, uuidWithFirstByte(0x20), 0).compare(low), 0);
  // Serial 256 has a zero first byte, serial 1 a one: by bytes, 1 is higher.
  const Cookie one(CookieTypeV, 1, 0, 5);
  const Cookie big(CookieTypeV, 256, 0, 5);
  EXPECT_EQ(one.compare(big), -1);
  EXPECT_EQ(sign(big.compare(one)), 1);
}

TEST(Compare, IgnoresTheVersion)
{
  const Cookie shortOne(CookieTypeV, 1, 0, 5);
  Cookie longOne = shortOne;
  longOne.setUUID(shortOne.uuid());
  ASSERT_EQ(longOne.version(), Cookie::eLong);
  EXPECT_TRUE(shortOne == longOne);
  EXPECT_FALSE(shortOne != longOne);
  EXPECT_TRUE(shortOne != Cookie(CookieTypeV, 2, 0, 5));
}

TEST(ReservedSerials, NameDissolvesEffectGraphsAndInputs)
{
  struct Case
  {
    int serial;
    bool dissolve, filmDissolve, wipe, effectGraph, input;
  };
  const Case cases[] = {
      {1, false, false, false, false, false},     {2, true, false, false, false, false},
      {3, false, false, false, false, false},     {4, true, true, false, false, false},
      {1298, true, false, false, false, false},   {1300, true, true, false, false, false},
      {46656, false, false, false, false, false}, {46657, false, false, true, false, false},
      {46676, false, false, true, false, false},  {46677, false, false, false, true, false},
      {46678, false, false, false, false, true},  {46685, false, false, false, false, true},
      {46686, false, false, false, false, false}, {47952, false, false, false, false, false},
      {47953, false, false, true, false, false},  {47972, false, false, true, false, false},
      {47973, false, false, false, false, false}, {93313, false, false, true, false, false},
      {93332, false, false, true, false, false},  {94609, false, false, true, false, false},
      {94628, false, false, true, false, false},  {94629, false, false, false, false, false},
  };
  for (const Case& c : cases) {
    const Cookie onReserved = reserved(c.serial);
    EXPECT_EQ(onReserved.isDissolve(), c.dissolve) << c.serial;
    EXPECT_EQ(onReserved.isFilmDissolve(), c.filmDissolve) << c.serial;
    EXPECT_EQ(onReserved.isWipe(), c.wipe) << c.serial;
    EXPECT_EQ(onReserved.isEffectGraph(), c.effectGraph) << c.serial;
    EXPECT_EQ(onReserved.isInput(), c.input) << c.serial;

    const Cookie elsewhere(CookieTypeV, c.serial, 0, 646);
    EXPECT_FALSE(elsewhere.isDissolve() || elsewhere.isFilmDissolve() || elsewhere.isWipe() ||
                 elsewhere.isEffectGraph() || elsewhere.isInput())
        << c.serial;
  }
}

TEST(ReservedSerials, WipeTypeCountsFromTheBaseOfEachRangeOnAnyMachine)
{
  struct Case
  {
    int serial, type, direction;
  };
  const Case cases[] = {
      {100, 0, 1},   {46656, 0, 1},  {46657, 1, 0},  {46676, 20, 0}, {46677, 0, 1}, {47952, 0, 1},
      {47953, 1, 0}, {47972, 20, 0}, {47973, 0, 1},  {93312, 0, 1},  {93313, 1, 1}, {93332, 20, 1},
      {94608, 0, 1}, {94617, 9, 1},  {94628, 20, 1}, {94629, 0, 1},
  };
  for (const Case& c : cases) {
    for (int machine : {Cookie::kReservedMachine, 1}) {
      const Cookie cookie(CookieTypeV, c.serial, 0, machine);
      EXPECT_EQ(cookie.wipeType(), c.type) << c.serial << " on " << machine;
      EXPECT_EQ(cookie.wipeDirection(), c.direction) << c.serial << " on " << machine;
    }
  }
}

TEST(WellKnownCookies, LiveOnTheReservedMachine)
{
  // The text fixes type, machine code ZZ (647), serial and the short form.
  const std::pair<const Cookie&, const char*> cases[] = {
      {video_black, "VZ0Z0001"},   {audio_black, "SZ0Z0001"},    {video_dissolve, "VZ0Z0002"},
      {film_dissolve, "VZ0Z0004"}, {audio_dissolve, "SZ0Z0002"}, {video_mix50, "VZ0Z0003"},
      {audio_mix50, "SZ0Z0003"},
  };
  for (const auto& [cookie, text] : cases) {
    EXPECT_STREQ(cookie.asString(true).c_str(), text);
    EXPECT_EQ(cookie.version(), Cookie::eShort) << text;
  }
}

TEST(ConvertCookie, KeepsIdAndVersionUnderANewTypeAndSubType)
{
  const Cookie picture(CookieTypeV, kUuid, 4);
  const Cookie sound = convertCookie(picture, CookieTypeS, Cookie::kDefaultSubType);
  EXPECT_EQ(sound.type(), CookieTypeS);
  EXPECT_EQ(sound.subType(), 1);
  EXPECT_EQ(sound.version(), Cookie::eLong);
  EXPECT_EQ(sound.uuid(), kUuid);
  EXPECT_EQ(convertCookie(sound, CookieTypeV, Cookie::kDefaultSubType), Cookie(CookieTypeV, kUuid, 0));
  EXPECT_EQ(convertCookie(sound, CookieTypeV, 9).subType(), 9);

  const Cookie shortOne(CookieTypeV, 42, 0, 12);
  const Cookie converted = convertCookie(shortOne, CookieTypeS, 3);
  EXPECT_EQ(converted.version(), Cookie::eShort);
  EXPECT_EQ(converted.serial(), 42u);
  EXPECT_EQ(converted.machine(), 12u);
  EXPECT_STREQ(converted.asString().c_str(), "S03P0016");
}

TEST(Layout, IsIdVersionSubTypeTypeInTwentyBytes)
{
  static_assert(sizeof(Cookie) == 20);
  const Cookie c(CookieTypeS, 0x010203, 7, 0x0A0B);
  uint8_t bytes[sizeof(Cookie)];
  std::memcpy(bytes, &c, sizeof bytes);
  uint32_t serial = 0;
  uint32_t machine = 0;
  std::memcpy(&serial, bytes, 4);
  std::memcpy(&machine, bytes + 4, 4);
  EXPECT_EQ(serial, 0x010203u);
  EXPECT_EQ(machine, 0x0A0Bu);
  EXPECT_EQ(bytes[16], Cookie::eShort);
  EXPECT_EQ(bytes[17], 7);
  EXPECT_EQ(bytes[18], 'S');
  EXPECT_EQ(bytes[19], 0);

  const Cookie longOne(CookieTypeP, kUuid, 9);
  std::memcpy(bytes, &longOne, sizeof bytes);
  EXPECT_EQ(std::memcmp(bytes, kUuid.data(), 16), 0);
  EXPECT_EQ(bytes[16], Cookie::eLong);
  EXPECT_EQ(bytes[17], 9);
  EXPECT_EQ(bytes[18], 'P');
}

} // namespace
