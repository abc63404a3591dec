// The text forms of a cookie, both ways, narrow and wide, and the validity
// test for texts. Bad texts of every kind give the invalid cookie.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <unistd.h>

#include "identity/Cookie.h"

namespace {

const char kUuidText[] = "12345678-9ABC-DEF0-0123-456789ABCDEF";
const Zr::UUID kUuid(kUuidText);

std::string text(const Cookie& c, bool withSubType = false)
{
  return c.asString(withSubType).c_str();
}

std::wstring wtext(const Cookie& c)
{
  return c.asWString().c_str();
}

Cookie wide(const std::wstring& s, bool withSubType)
{
  return Cookie(LightweightString<wchar_t>(s.c_str(), unsigned(s.size())), withSubType);
}

std::string longText(const char* head)
{
  return std::string(head) + kUuidText;
}

// Every field, so that a parse that leaves a stray byte is caught.
void expectSameCookie(const Cookie& a, const Cookie& b)
{
  EXPECT_EQ(std::memcmp(&a, &b, sizeof(Cookie)), 0) << text(a, true) << " vs " << text(b, true);
}

void expectInvalid(const Cookie& c)
{
  EXPECT_FALSE(c.valid());
  expectSameCookie(c, Cookie());
}

TEST(ShortText, WritesTypeMachineCodeAndBase36Serial)
{
  // Machine 16 has code 33, "0X": first character at 1, second at 3.
  EXPECT_EQ(text(Cookie(CookieTypeV, 1, 0, 16)), "V00X0001");
  EXPECT_EQ(text(Cookie(CookieTypeP, 36, 0, 16)), "P00X0010");
  EXPECT_EQ(text(Cookie(CookieTypeE, 46656 + 2 * 1296 + 3 * 36 + 4, 0, 1)), "E0031234");
  EXPECT_EQ(text(Cookie(CookieTypeE, Cookie::kMaxSerial, 0, 1)), "E003ZZZZ");
  EXPECT_EQ(text(Cookie(CookieTypeR, 0, 0, 648)), "R0000000");
  EXPECT_EQ(text(Cookie(CookieTypeR, 7, 0, 1296)), "R00(0007");
  EXPECT_EQ(text(Cookie(CookieTypeR, 7, 0, 2703)), "R~0~0007");
}

TEST(ShortText, WritesTheSubTypeOnlyWhenAskedOrForSound)
{
  const Cookie picture(CookieTypeV, 1, 5, 16);
  EXPECT_EQ(text(picture, false), "V00X0001");
  EXPECT_EQ(text(picture, true), "V05X0001");
  const Cookie sound(CookieTypeS, 1, 5, 16);
  EXPECT_EQ(text(sound, false), "S05X0001");
  EXPECT_EQ(text(Cookie(CookieTypeS, 1, 35, 16), false), "S0ZX0001");
}

TEST(ShortText, ReadsTheMachineSubTypeAndSerial)
{
  const Cookie c("V07X00A1", true);
  ASSERT_TRUE(c.valid());
  EXPECT_EQ(c.type(), CookieTypeV);
  EXPECT_EQ(c.version(), Cookie::eShort);
  EXPECT_EQ(c.machine(), 16u);
  EXPECT_EQ(c.subType(), 7);
  EXPECT_EQ(c.serial(), 10u * 36 + 1);
  EXPECT_EQ(Cookie("V00X0001", false).serial(), 1u);
}

TEST(ShortText, DefaultsTheSubTypeWhenNotAskedToReadIt)
{
  EXPECT_EQ(Cookie("V07X0001", false).subType(), 0);
  EXPECT_EQ(Cookie("S07X0001", false).subType(), 1);
  EXPECT_EQ(Cookie("S07X0001", true).subType(), 7);
}

TEST(ShortText, ReadsLowerCaseCodesAndDigits)
{
  const Cookie lower("V0az00zz", true);
  const Cookie upper("V0AZ00ZZ", true);
  ASSERT_TRUE(upper.valid());
  expectSameCookie(lower, upper);
}

TEST(ShortText, ReadsAnyKnownTypeLetterButNotLowerCase)
{
  EXPECT_EQ(Cookie("B00X0001", false).type(), CookieTypeB);
  EXPECT_EQ(Cookie("T00X0001", false).type(), CookieTypeT);
  expectInvalid(Cookie("v00X0001", false));
  expectInvalid(Cookie("X00X0001", false));
  expectInvalid(Cookie("I00X0001", false));
}

TEST(ShortText, RefusesMachineCharactersOutsideTheAlphabet)
{
  expectInvalid(Cookie("V#0X0001", false));
  expectInvalid(Cookie("V00%0001", false));
  expectInvalid(Cookie("V 0X0001", false));
  expectInvalid(Cookie("V00\3300001", false));
}

TEST(ShortText, RoundTripsThroughTheTextForm)
{
  const Cookie cookies[] = {
      Cookie(CookieTypeV, 1, 0, 1),
      Cookie(CookieTypeS, 99, 1, 647),
      Cookie(CookieTypeS, 99, 35, 2703),
      Cookie(CookieTypeE, 0, 0, 0),
      Cookie(CookieTypeO, Cookie::kMaxSerial, 0, 1296),
      Cookie(CookieTypeG, 12345, 9, 1871),
      Cookie(CookieTypeF, 54321, 0, 1872),
  };
  for (const Cookie& c : cookies) {
    ASSERT_TRUE(c.valid());
    expectSameCookie(Cookie(c.asString(true).c_str(), true), c);
  }
}

TEST(ShortText, RandomWellFormedTextsPrintBackInUpperCase)
{
  const std::string first = "EFGOPRSV";
  const std::string alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ()[]{}+-&$@!=;_~";
  const std::string alnum = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  std::mt19937 random(20240601);
  auto pick = [&random](const std::string& from) { return from[random() % from.size()]; };
  for (int i = 0; i < 2000; ++i) {
    std::string t = {pick(first), pick(alphabet), pick(alnum), pick(alphabet)};
    for (int k = 0; k < 4; ++k) t += pick(alnum);
    ASSERT_TRUE(Cookie::isValid(t.c_str())) << t;
    const Cookie c(t.c_str(), true);
    ASSERT_TRUE(c.valid()) << t;
    std::string expected = t;
    for (char& ch : expected) ch = char(std::toupper(static_cast<unsigned char>(ch)));
    EXPECT_EQ(text(c, true), expected);
  }
}

TEST(LongText, WritesTypeSubTypeAndUuid)
{
  const Cookie c(CookieTypeV, kUuid, 7);
  EXPECT_EQ(text(c, false), longText("V00-"));
  EXPECT_EQ(text(c, true), longText("V07-"));
  EXPECT_EQ(text(Cookie(CookieTypeS, kUuid, 7), false), longText("S07-"));
  EXPECT_EQ(text(Cookie(CookieTypeP, kUuid, 42), true), longText("P42-"));
  // Two digits at least, as many as the sub-type needs.
  EXPECT_EQ(text(Cookie(CookieTypeP, kUuid, 200), true), longText("P200-"));
}

TEST(LongText, HasHyphensWhereTheValidityTestLooks)
{
  const std::string t = text(Cookie(CookieTypeV, Zr::UUID::generate(), 3), true);
  ASSERT_EQ(t.size(), 40u);
  for (size_t i : {3, 12, 17, 22, 27}) EXPECT_EQ(t[i], '-') << i;
  EXPECT_TRUE(Cookie::isValid(t.c_str()));
}

TEST(LongText, ReadsTheSubTypeOnlyWhenAsked)
{
  const Cookie with(longText("V07-").c_str(), true);
  ASSERT_TRUE(with.valid());
  EXPECT_EQ(with.version(), Cookie::eLong);
  EXPECT_EQ(with.type(), CookieTypeV);
  EXPECT_EQ(with.subType(), 7);
  EXPECT_EQ(with.uuid(), kUuid);
  EXPECT_EQ(Cookie(longText("S07-").c_str(), false).subType(), 0);
}

TEST(LongText, RoundTripsThroughTheTextForm)
{
  for (int sub : {0, 1, 9, 10, 99}) {
    const Cookie c(CookieTypeE, Zr::UUID::generate(), sub);
    expectSameCookie(Cookie(c.asString(true).c_str(), true), c);
  }
}

TEST(LongText, RefusesANilOrMalformedUuid)
{
  expectInvalid(Cookie("V00-00000000-0000-0000-0000-000000000000", true));
  expectInvalid(Cookie("V00-12345678-9ABC-DEF0-0123-456789ABCDEG", true));
  expectInvalid(Cookie("V00-12345678-9ABC-DEF0-0123+456789ABCDEF", true));
  expectInvalid(Cookie(longText("X00-").c_str(), true));
}

TEST(InvalidText, ComesFromTheInvalidCookieAndReadsBackInvalid)
{
  EXPECT_EQ(text(Cookie()), "INVALID");
  EXPECT_EQ(text(invalid_cookie, true), "INVALID");
  EXPECT_EQ(wtext(Cookie()), L"INVALID");
  expectInvalid(Cookie("INVALID", true));
}

TEST(InvalidText, OtherLengthsAndNullGiveTheInvalidCookie)
{
  expectInvalid(Cookie(nullptr, true));
  expectInvalid(Cookie("", true));
  expectInvalid(Cookie("V00X00001", true));
  expectInvalid(Cookie("V00X001", true));
  expectInvalid(Cookie((longText("V00-") + "0").c_str(), true));
}

TEST(InvalidText, ReparsingResetsAValidCookie)
{
  Cookie c(CookieTypeV, kUuid, 4);
  c.initFromString("V#0X0001", true);
  expectInvalid(c);
}

TEST(WideText, IsTheNarrowTextWithTheSubType)
{
  const Cookie shortOne(CookieTypeV, 1, 5, 16);
  EXPECT_EQ(wtext(shortOne), L"V05X0001");
  const Cookie longOne(CookieTypeV, kUuid, 12);
  EXPECT_EQ(wtext(longOne), L"V12-12345678-9ABC-DEF0-0123-456789ABCDEF");
}

TEST(WideText, ReadsBothForms)
{
  expectSameCookie(wide(L"V05X0001", true), Cookie("V05X0001", true));
  expectSameCookie(wide(L"V05X0001", false), Cookie("V05X0001", false));
  const Cookie c = wide(L"V12-12345678-9ABC-DEF0-0123-456789ABCDEF", true);
  ASSERT_TRUE(c.valid());
  EXPECT_EQ(c.version(), Cookie::eLong);
  EXPECT_EQ(c.subType(), 12);
  EXPECT_EQ(c.uuid(), kUuid);
  EXPECT_EQ(wide(L"V12-12345678-9ABC-DEF0-0123-456789ABCDEF", false).subType(), 0);
}

TEST(WideText, RoundTripsThroughTheWideForm)
{
  const Cookie cookies[] = {Cookie(CookieTypeS, 77, 3, 2000), Cookie(CookieTypeP, Zr::UUID::generate(), 8)};
  for (const Cookie& c : cookies) expectSameCookie(Cookie(c.asWString(), true), c);
}

TEST(WideText, RefusesCharactersBeyondAscii)
{
  // Each would read as a valid text if only its low byte were looked at.
  expectInvalid(wide(L"V05X000\x0131", true));
  expectInvalid(wide(std::wstring(1, wchar_t(0x100 + 'V')) + L"05X0001", true));
  expectInvalid(
      wide(std::wstring(1, wchar_t(0x100 + 'V')) + L"12-12345678-9ABC-DEF0-0123-456789ABCDEF", true));
  expectInvalid(wide(L"V12-12345678-9ABC-DEF0-0123-456789ABCDE\x0146", true));
  expectInvalid(wide(L"x12-12345678-9ABC-DEF0-0123-456789ABCDEF", true));
  // Negative wide characters, whose low byte is a letter.
  expectInvalid(
      wide(std::wstring(1, wchar_t(int32_t(0xFFFFFF00u | 'V'))) + L"12-12345678-9ABC-DEF0-0123-456789ABCDEF",
           true));
  expectInvalid(wide(std::wstring(1, wchar_t(int32_t(0xFFFFFF00u | 'V'))) + L"05X0001", true));
  expectInvalid(wide(L"V05X00001", true));
  expectInvalid(wide(L"", true));
}

TEST(ValidityTest, AcceptsShortTextsByTheirCharacterClasses)
{
  for (const char* t :
       {"V00X0001", "E~z~abcd", "S0A(0000", "PZ0Z0001", "O1a20000", "F0000000", "G0000000", "R0000000"})
    EXPECT_TRUE(Cookie::isValid(t)) << t;
}

TEST(ValidityTest, RefusesShortTextsWithAWrongCharacter)
{
  for (const char* t : {
           "B00X0001", // known type, but not one written in texts
           "I00X0001",
           "v00X0001",
           "V0-X0001", // position 2 must be alphanumeric
           "V00X00-1", // so must the serial
           "V#0X0001", // machine characters from the alphabet
           "Va0X0001", // in upper case
           "V00x0001",
       })
    EXPECT_FALSE(Cookie::isValid(t)) << t;
}

TEST(ValidityTest, AcceptsLongTextsWithAnyLetterAndTwoDigits)
{
  EXPECT_TRUE(Cookie::isValid(longText("V00-").c_str()));
  EXPECT_TRUE(Cookie::isValid(longText("x99-").c_str()));
  EXPECT_TRUE(Cookie::isValid("V00-abcdef01-2345-6789-abcd-ef0123456789"));
  EXPECT_FALSE(Cookie::isValid(longText("100-").c_str()));
  EXPECT_FALSE(Cookie::isValid(longText("V0A-").c_str()));
  EXPECT_FALSE(Cookie::isValid(longText("V00+").c_str()));
}

TEST(ValidityTest, LooksAtEveryLongPositionButNineteen)
{
  const std::string good = longText("V00-");
  for (size_t i = 4; i < good.size(); ++i) {
    std::string bad = good;
    bad[i] = bad[i] == '-' ? '0' : 'G';
    EXPECT_EQ(Cookie::isValid(bad.c_str()), i == 19) << "position " << i;
  }
}

TEST(ValidityTest, RefusesNullAndOtherLengths)
{
  EXPECT_FALSE(Cookie::isValid(nullptr));
  EXPECT_FALSE(Cookie::isValid(""));
  EXPECT_FALSE(Cookie::isValid("V00X001"));
  EXPECT_FALSE(Cookie::isValid("V00X00001"));
  EXPECT_FALSE(Cookie::isValid((longText("V00-") + "0").c_str()));
}

// Texts of every length up to 64 and of any bytes never throw, and whatever
// does not parse is the invalid cookie in every byte.
TEST(ArbitraryText, GivesAValidCookieOrTheInvalidOneAndNeverThrows)
{
  std::mt19937 random(77);
  const std::string printable = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefxyz()[]{}+-&$@!=;_~ #%";
  for (size_t length = 0; length <= 64; ++length) {
    for (int round = 0; round < 200; ++round) {
      std::string t(length, '\0');
      for (char& c : t) {
        // Half the texts stay close to the real alphabets, so that some parse.
        c = round % 2 ? printable[random() % printable.size()] : char(1 + random() % 255);
      }
      if (length > 0 && round % 4 == 1) t[0] = "VSEP"[random() % 4];
      const bool withSubType = round % 3 == 0;
      Cookie c;
      EXPECT_NO_THROW(c = Cookie(t.c_str(), withSubType));
      if (!c.valid()) expectInvalid(c);
      if (Cookie::isValid(t.c_str())) {
        EXPECT_TRUE(c.valid()) << t;
      }
      std::wstring w(t.begin(), t.end());
      for (wchar_t& ch : w) ch = wchar_t(static_cast<unsigned char>(ch));
      Cookie fromWide;
      EXPECT_NO_THROW(fromWide = wide(w, withSubType));
      if (!fromWide.valid()) expectInvalid(fromWide);
    }
  }
}

TEST(ShortTextDeathTest, AMachineWithNoCodeEndsTheProgram)
{
  Cookie c;
  c.construct(CookieTypeV, 1, 0, 5000);
  // qor_splat writes its banner on standard output.
  EXPECT_DEATH(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        c.asString();
      },
      "Failed to encode machine number in cookie_string::construct");
}

} // namespace
