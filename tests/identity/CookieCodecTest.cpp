// The machine-number codec and the digit helpers. The text forms are file
// names, so every value here is a file format and is checked exactly.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "core/Exception.h"
#include "identity/Cookie.h"

namespace {

std::string twoChars(unsigned int code)
{
  const unsigned short pair = Cookie::get2DigitBase52Map36Code(code);
  return {char(pair & 0xFF), char(pair >> 8)};
}

template <class F> std::string runtimeErrorMessage(F&& f)
{
  try {
    f();
  } catch (const Zr::Exception::RuntimeError& e) {
    EXPECT_STREQ(e.kind(), "RuntimeError");
    return e.message();
  }
  return "(nothing thrown)";
}

TEST(MachineNumberCode, MapsEachRangeByItsOwnRule)
{
  struct Case
  {
    int machine, code;
  };
  const Case cases[] = {
      {0, 1},       {1, 3},       {2, 5},       {646, 1293}, {647, 1295}, // below 648: 2m + 1
      {648, 0},     {649, 2},     {1295, 1294},                           // 648 to 1295: 2m - 1296
      {1296, 1296}, {2000, 2000}, {2703, 2703},                           // itself
      {2704, -1},   {65535, -1},  {-1, -1},     {-300, -1},
  };
  for (const Case& c : cases) EXPECT_EQ(Cookie::encodeMachineNumber(c.machine), c.code) << c.machine;
  EXPECT_EQ(Cookie::decodeMachineNumber(2704), 65535u);
  EXPECT_EQ(Cookie::decodeMachineNumber(0xFFFFFFFFu), 65535u);
}

TEST(MachineNumberCode, EveryMachineSurvivesEncodeCharactersAndDecode)
{
  std::set<std::string> seen;
  for (int m = 0; m <= 2703; ++m) {
    const int code = Cookie::encodeMachineNumber(m);
    ASSERT_GE(code, 0) << m;
    const std::string chars = twoChars(unsigned(code));
    EXPECT_TRUE(seen.insert(chars).second) << "two machines share " << chars;
    EXPECT_EQ(Cookie::base52Map36ToInt(chars[0], chars[1]), unsigned(code)) << chars;
    EXPECT_EQ(Cookie::decodeMachineNumber(unsigned(code)), unsigned(m)) << m;
  }
  EXPECT_EQ(Cookie::base52Map36ToInt('a', 'b'), Cookie::base52Map36ToInt('A', 'B'));
  EXPECT_EQ(Cookie::base52Map36ToInt('z', '('), Cookie::base52Map36ToInt('Z', '('));
}

TEST(TwoCharacterCode, WritesEachBandWithItsAlphabet)
{
  // Base 36 for both characters; then base 36 and an extra; then an extra and the whole alphabet.
  const std::pair<unsigned, const char*> cases[] = {
      {0, "00"},    {35, "0Z"},   {36, "10"},   {1295, "ZZ"}, {1296, "0("}, {1311, "0~"},
      {1312, "1("}, {1871, "Z~"}, {1872, "(0"}, {1923, "(~"}, {1924, ")0"}, {2703, "~~"},
  };
  for (const auto& [code, chars] : cases) EXPECT_EQ(twoChars(code), chars) << code;
}

TEST(TwoCharacterCode, ThrowsOutsideItsRangeAndAlphabet)
{
  EXPECT_EQ(runtimeErrorMessage([] { Cookie::get2DigitBase52Map36Code(2704); }),
            "Number out of range in get2DigitBase52Map36Code!");
  EXPECT_THROW(Cookie::get2DigitBase52Map36Code(0xFFFFFFFFu), Zr::Exception::RuntimeError);
  // The terminator is refused too: a lookup by strchr would find it.
  for (char c : {'\0', ' ', '#', '%', '*', '<', '\\', char('a' - 1), '\x80', '\xFF'}) {
    EXPECT_EQ(runtimeErrorMessage([c] { Cookie::base52Map36ToInt(c, '0'); }),
              "Invalid character(s) passed to base52Map36ToInt")
        << int(c);
    EXPECT_THROW(Cookie::base52Map36ToInt('0', c), Zr::Exception::RuntimeError) << int(c);
  }
}

TEST(Digits, AreZeroToNineThenLettersInEitherCase)
{
  EXPECT_EQ(Cookie::digitToChar(9), '9');
  EXPECT_EQ(Cookie::digitToChar(10), 'A');
  EXPECT_EQ(Cookie::digitToChar(36), '[');
  for (int d = 0; d < 36; ++d) EXPECT_EQ(Cookie::charToDigit(Cookie::digitToChar(d)), d);
  EXPECT_EQ(Cookie::charToDigit('a'), 10);
  EXPECT_EQ(Cookie::charToDigit('z'), 35);
  for (char c : {'-', '(', '~', ' ', '\0', '\xE9', '@', '[', '`', '{'})
    EXPECT_EQ(Cookie::charToDigit(c), 0) << int(c);
}

TEST(TypeLetters, KnowTwelveUpperCaseLettersAndCallTheRestInvalid)
{
  for (char c : std::string("BCEFGMOPRSTV")) EXPECT_EQ(Cookie::typeFromChar(c), CookieType(c)) << c;
  for (char c : {'I', 'A', 'Z', 'v', 's', '0', ' ', '\0', '\xD6'})
    EXPECT_EQ(Cookie::typeFromChar(c), CookieTypeI) << int(c);
}

TEST(MachineNumber, ValidFromOneToTheLastCodeExceptTheReservedOne)
{
  for (int m : {1, 646, 648, 1295, 1296, 2703}) EXPECT_TRUE(isValidMachineNum(m)) << m;
  for (int m : {0, 647, 2704, -1, 65535}) EXPECT_FALSE(isValidMachineNum(m)) << m;
}

} // namespace
