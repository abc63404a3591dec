// The text forms of a cookie, both ways, narrow and wide, and the validity
// test for texts. Bad texts of every kind give the invalid cookie.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include "identity/Cookie.h"

namespace {

const char kUuidText[] = "12345678-9ABC-DEF0-0123-456789ABCDEF";
const Zr::UUID kUuid(kUuidText);

std::string text(const Cookie& c, bool withSubType = false)
{
  return c.asString(withSubType).c_str();
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

TEST(CookieText, WritesEachFormWithTheSubTypeWhenAskedOrForSound)
{
  struct Case
  {
    Cookie cookie;
    std::string plain, withSubType;
  };
  const Case cases[] = {
      // Machine 16 has code 33, "0X": first character at 1, second at 3.
      {Cookie(CookieTypeV, 1, 5, 16), "V00X0001", "V05X0001"},
      {Cookie(CookieTypeP, 36, 0, 16), "P00X0010", "P00X0010"},
      {Cookie(CookieTypeE, 46656 + 2 * 1296 + 3 * 36 + 4, 0, 1), "E0031234", "E0031234"},
      {Cookie(CookieTypeE, Cookie::kMaxSerial, 0, 1), "E003ZZZZ", "E003ZZZZ"},
      {Cookie(CookieTypeR, 0, 0, 648), "R0000000", "R0000000"},
      {Cookie(CookieTypeR, 7, 0, 1296), "R00(0007", "R00(0007"},
      {Cookie(CookieTypeR, 7, 0, 2703), "R~0~0007", "R~0~0007"},
      {Cookie(CookieTypeS, 1, 5, 16), "S05X0001", "S05X0001"},
      {Cookie(CookieTypeS, 1, 35, 16), "S0ZX0001", "S0ZX0001"},
      {Cookie(CookieTypeV, kUuid, 7), longText("V00-"), longText("V07-")},
      {Cookie(CookieTypeS, kUuid, 7), longText("S07-"), longText("S07-")},
      // Two digits at least, as many as the sub-type needs.
      {Cookie(CookieTypeP, kUuid, 200), longText("P00-"), longText("P200-")},
      {Cookie(), "INVALID", "INVALID"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(text(c.cookie, false), c.plain);
    EXPECT_EQ(text(c.cookie, true), c.withSubType);
    EXPECT_EQ(std::wstring(c.cookie.asWString().c_str()),
              std::wstring(c.withSubType.begin(), c.withSubType.end()));
  }
}

TEST(CookieText, ReadsEveryFieldOfBothForms)
{
  expectSameCookie(Cookie("V07X00A1", true), Cookie(CookieTypeV, 10 * 36 + 1, 7, 16));
  expectSameCookie(Cookie("V0az00zz", true), Cookie("V0AZ00ZZ", true));
  EXPECT_EQ(Cookie("B00X0001", false).type(), CookieTypeB);

  expectSameCookie(Cookie(longText("V07-").c_str(), true), Cookie(CookieTypeV, kUuid, 7));
  expectSameCookie(wide(L"V12-12345678-9ABC-DEF0-0123-456789ABCDEF", true), Cookie(CookieTypeV, kUuid, 12));
  expectSameCookie(wide(L"V05X0001", false), Cookie("V05X0001", false));

  // Not asked to read it, the sub-type is the type's default.
  EXPECT_EQ(Cookie("V07X0001", false).subType(), 0);
  EXPECT_EQ(Cookie("S07X0001", false).subType(), 1);
  EXPECT_EQ(Cookie(longText("S07-").c_str(), false).subType(), 0);
  EXPECT_EQ(wide(L"V12-12345678-9ABC-DEF0-0123-456789ABCDEF", false).subType(), 0);
}

TEST(CookieText, RoundTripsNarrowAndWide)
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
    expectSameCookie(Cookie(c.asWString(), true), c);
  }
  for (int sub : {0, 9, 10, 99}) {
    const Cookie c(CookieTypeE, Zr::UUID::generate(), sub);
    expectSameCookie(Cookie(text(c, true).c_str(), true), c);
    expectSameCookie(Cookie(c.asWString(), true), c);
  }
}

TEST(CookieText, BadTextsGiveTheInvalidCookie)
{
  for (const std::string& t :
       std::vector<std::string>{"v00X0001", "X00X0001", "I00X0001",                // type letters
                                "V#0X0001", "V00%0001", "V 0X0001", "V00\3300001", // machine characters
                                "V00-00000000-0000-0000-0000-000000000000",        // nil UUID
                                "V00-12345678-9ABC-DEF0-0123-456789ABCDEG",        //
                                "V00-12345678-9ABC-DEF0-0123+456789ABCDEF", longText("X00-"),   //
                                "INVALID", "", "V00X00001", "V00X001", longText("V00-") + "0"}) // lengths
    expectInvalid(Cookie(t.c_str(), true));
  expectInvalid(Cookie(nullptr, true));
  // Reparsing resets a valid cookie.
  Cookie c(CookieTypeV, kUuid, 4);
  c.initFromString("V#0X0001", true);
  expectInvalid(c);
}

TEST(CookieText, WideTextsRefuseCharactersBeyondAscii)
{
  // Each would read as a valid text if only its low byte were looked at; the
  // negative ones have a letter as their low byte.
  const std::wstring highV(1, wchar_t(0x100 + 'V'));
  const std::wstring negativeV(1, wchar_t(int32_t(0xFFFFFF00u | 'V')));
  for (const std::wstring& w : {std::wstring(L"V05X000\x0131"), highV + L"05X0001",
                                highV + L"12-12345678-9ABC-DEF0-0123-456789ABCDEF",
                                std::wstring(L"V12-12345678-9ABC-DEF0-0123-456789ABCDE\x0146"),
                                std::wstring(L"x12-12345678-9ABC-DEF0-0123-456789ABCDEF"),
                                negativeV + L"12-12345678-9ABC-DEF0-0123-456789ABCDEF",
                                negativeV + L"05X0001", std::wstring(L"V05X00001"), std::wstring()})
    expectInvalid(wide(w, true));
}

TEST(ValidityTest, JudgesShortTextsByTheirCharacterClasses)
{
  for (const char* t :
       {"V00X0001", "E~z~abcd", "S0A(0000", "PZ0Z0001", "O1a20000", "F0000000", "G0000000", "R0000000"})
    EXPECT_TRUE(Cookie::isValid(t)) << t;
  for (const char* t : {
           "B00X0001", // known type, but not one written in texts
           "I00X0001",
           "v00X0001",
           "V0-X0001", // position 2 must be alphanumeric
           "V00X00-1", // so must the serial
           "V#0X0001", // machine characters from the alphabet
           "Va0X0001", // in upper case
           "V00x0001",
           "",
           "V00X001",
           "V00X00001",
       })
    EXPECT_FALSE(Cookie::isValid(t)) << t;
  EXPECT_FALSE(Cookie::isValid(nullptr));
}

TEST(ValidityTest, AcceptsLongTextsWithAnyLetterAndTwoDigits)
{
  EXPECT_TRUE(Cookie::isValid(longText("x99-").c_str()));
  EXPECT_TRUE(Cookie::isValid("V00-abcdef01-2345-6789-abcd-ef0123456789"));
  for (const char* head : {"100-", "V0A-", "V00+"})
    EXPECT_FALSE(Cookie::isValid(longText(head).c_str())) << head;
  EXPECT_FALSE(Cookie::isValid((longText("V00-") + "0").c_str()));
  // Every position but nineteen is looked at.
  const std::string good = longText("V00-");
  for (size_t i = 4; i < good.size(); ++i) {
    std::string bad = good;
    bad[i] = bad[i] == '-' ? '0' : 'G';
    EXPECT_EQ(Cookie::isValid(bad.c_str()), i == 19) << "position " << i;
  }
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
      // Half the texts stay close to the real alphabets, so that some parse.
      for (char& c : t) c = round % 2 ? printable[random() % printable.size()] : char(1 + random() % 255);
      if (length > 0 && round % 4 == 1) t[0] = "VSEP"[random() % 4];
      const bool withSubType = round % 3 == 0;
      Cookie c;
      EXPECT_NO_THROW(c = Cookie(t.c_str(), withSubType));
      if (!c.valid()) expectInvalid(c);
      if (Cookie::isValid(t.c_str())) {
        EXPECT_TRUE(c.valid()) << t;
      }
      std::wstring w;
      for (char ch : t) w += wchar_t(static_cast<unsigned char>(ch));
      EXPECT_NO_THROW(c = wide(w, withSubType));
      if (!c.valid()) expectInvalid(c);
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
