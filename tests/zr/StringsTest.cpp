#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "libzr/Strings.h"

namespace {

using NString = LightweightString<char>;
using WString = LightweightString<wchar_t>;

// The same bits, so that -0.0 and NaN payloads count.
bool sameDouble(double a, double b)
{
  return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(StringsCase, NarrowCaseChangesAsciiLettersOnlyAndWideCaseFollowsUnicode)
{
  EXPECT_EQ(toLower(NString("MiXeD 123 [@`{]")), "mixed 123 [@`{]");
  EXPECT_EQ(toUpper(NString("MiXeD 123 [@`{]")), "MIXED 123 [@`{]");
  // UTF-8 bytes of É pass through unchanged.
  EXPECT_EQ(toLower(NString("\xC3\x89T\xC3\x89")), "\xC3\x89t\xC3\x89");
  EXPECT_EQ(Zr::toUpper('q'), 'Q');
  EXPECT_EQ(Zr::toUpper('\xE9'), '\xE9');
  // Whatever the locale.
  EXPECT_EQ(toLower(WString(L"\u00C9COLE \u03A3")), L"\u00E9cole \u03C3");
  EXPECT_EQ(toUpper(WString(L"stra\u00DFe \u00E9")), L"STRA\u00DFE \u00C9");
  EXPECT_EQ(Zr::toUpper(wchar_t(0xE9)), wchar_t(0xC9));
  EXPECT_EQ(Zr::toUpper(wchar_t(0x7FFFFFFF)), wchar_t(0x7FFFFFFF)); // beyond Unicode: left alone
}

TEST(StringsCase, UnchangedTextSharesTheOriginalAndChangedTextLeavesItAlone)
{
  const NString lower("already lower"), upper("Not Lower");
  EXPECT_EQ(toLower(lower).impl().get(), lower.impl().get());
  EXPECT_EQ(toLower(upper), "not lower");
  EXPECT_EQ(upper, "Not Lower");
}

TEST(StringsWhiteSpace, EssentiallyEmptyMeansNothingButWhiteSpace)
{
  EXPECT_TRUE(isEssentiallyEmpty(NString()));
  EXPECT_TRUE(isEssentiallyEmpty(NString(" \t\r\n\v\f")));
  EXPECT_FALSE(isEssentiallyEmpty(NString("\xA0")));
  EXPECT_TRUE(isEssentiallyEmpty(WString(L"\u3000 \u2003\t")));
  EXPECT_FALSE(isEssentiallyEmpty(WString(L" x")));
}

TEST(StringsStrip, StripsWhiteSpaceByDefaultAndTheGivenCharactersOtherwise)
{
  EXPECT_EQ(Zr::stripLeadingChars(NString(" \t a b \n")), "a b \n");
  EXPECT_EQ(Zr::stripTrailingChars(NString(" \t a b \n")), " \t a b");
  EXPECT_EQ(Zr::stripLeadingChars(NString("xxyxzy"), "xy"), "zy");
  EXPECT_TRUE(Zr::stripTrailingChars(NString("xyx"), "xy").empty());
  EXPECT_EQ(Zr::stripTrailingChars(WString(L"path\\\\"), L"\\"), L"path");
  EXPECT_EQ(Zr::stripLeadingChars(WString(L"\u3000name")), L"name");
  // An empty set strips nothing.
  EXPECT_EQ(Zr::stripLeadingChars(NString(" a"), ""), " a");

  const NString clean("clean");
  EXPECT_EQ(Zr::stripLeadingChars(clean).impl().get(), clean.impl().get());
  EXPECT_EQ(Zr::stripTrailingChars(clean).impl().get(), clean.impl().get());
}

TEST(StringsEndsWith, ComparesTheTailWithOrWithoutCase)
{
  const NString file("report.TXT");
  EXPECT_TRUE(Zr::endsWith(file, ".TXT"));
  EXPECT_FALSE(Zr::endsWith(file, ".txt"));
  EXPECT_TRUE(Zr::endsWith(file, ".txt", true));
  EXPECT_TRUE(Zr::endsWith(file, ""));
  EXPECT_FALSE(Zr::endsWith(file, "longer report.TXT"));
  EXPECT_FALSE(Zr::endsWith(NString(), "x"));
  EXPECT_TRUE(Zr::endsWith(WString(L"CAF\u00C9"), WString(L"f\u00E9"), true));
  EXPECT_FALSE(Zr::endsWith(WString(L"CAF\u00C9"), WString(L"f\u00E9")));
}

TEST(StringsUtf8, ConvertsBothWaysAndDecodesExactlyTheBytesGiven)
{
  const WString wide(L"Gr\u00FC\u00DFe \U0001F600 \u65E5");
  const NString narrow = toUTF8(wide);
  EXPECT_EQ(narrow, "Gr\xC3\xBC\xC3\x9F"
                    "e \xF0\x9F\x98\x80 \xE6\x97\xA5");
  EXPECT_EQ(fromUTF8(narrow), wide);
  // A count that cuts the sequence gives a replacement, not a read beyond it.
  const char* text = "ab\xC3\xA9zz";
  EXPECT_EQ(fromUTF8(text, 4), L"ab\u00E9");
  EXPECT_EQ(fromUTF8(text, 3), L"ab\uFFFD");
  EXPECT_TRUE(fromUTF8(nullptr, 7).empty());
}

TEST(StringsNumbers, IntegerTextCoversTheWholeRangeAndIsWhatAppendingAnIntegerAppends)
{
  EXPECT_EQ(StringFromInteger(0), "0");
  EXPECT_EQ(StringFromInteger(INT_MIN), "-2147483648");
  EXPECT_EQ(StringFromInteger(UINT_MAX), "4294967295");
  EXPECT_EQ(StringFromInteger(LLONG_MIN), "-9223372036854775808");
  EXPECT_EQ(StringFromInteger(ULLONG_MAX), "18446744073709551615");
  EXPECT_EQ(Zr::WStringFromInteger(INT_MIN), L"-2147483648");
  EXPECT_EQ(Zr::WStringFromInteger(ULLONG_MAX), L"18446744073709551615");

  NString s("frame ");
  s += 42;
  s += -7;
  s += 0;
  s += 3000000000u;
  s += 'x'; // a character is still a character
  EXPECT_EQ(s, "frame 42-703000000000x");
}

TEST(StringsNumbers, FloatTextIsShortestAndReadsBackExactly)
{
  EXPECT_EQ(StringFromFloat(0.1), "0.1");
  EXPECT_EQ(StringFromFloat(1.0), "1");
  EXPECT_EQ(StringFromFloat(25.0), "25");
  EXPECT_EQ(StringFromFloat(1e300), "1e+300");
  EXPECT_EQ(StringFromFloat(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(StringFromFloat(std::nan("")), "nan");
  EXPECT_EQ(StringFromFloat(-std::nan("")), "nan");
  EXPECT_EQ(Zr::WStringFromFloat(0.1), L"0.1");

  // Edge values first, then random bit patterns.
  std::vector<double> values = {-0.0, 1.0 / 3, DBL_MAX, DBL_MIN, 5e-324, 123456789012345680.0, 29.97};
  std::mt19937_64 random(12345);
  for (int i = 0; i < 20000; ++i) values.push_back(std::bit_cast<double>(uint64_t(random())));
  for (double d : values) {
    if (!std::isfinite(d)) continue;
    const NString text = StringFromFloat(d);
    ASSERT_TRUE(sameDouble(std::strtod(text.c_str(), nullptr), d)) << text.c_str();
  }
}

TEST(StringsNumbers, FixedFloatTextRoundsAndTrims)
{
  EXPECT_EQ(Zr::WStringFromFloat(2.5, 4, true), L"2.5");
  EXPECT_EQ(Zr::WStringFromFloat(3.0, 4, false), L"3.0000");
  EXPECT_EQ(Zr::WStringFromFloat(0.123456, 4, true), L"0.1235");
  EXPECT_EQ(Zr::WStringFromFloat(100.0, 0, true), L"100");
  EXPECT_EQ(Zr::WStringFromFloat(-0.00001, 4, true), L"0");
  EXPECT_EQ(Zr::WStringFromFloat(-1.25, 1, false), L"-1.2");
  EXPECT_EQ(Zr::WStringFromFloat(std::numeric_limits<double>::infinity(), 4, true), L"inf");
  EXPECT_EQ(Zr::WStringFromFloat(0.1, -1, false), L"0.1");
  EXPECT_EQ(Zr::WStringFromFloat(DBL_MAX, 2, true).size(), 309u);
}

TEST(StringsNumbers, IntFromWStringReadsLikeWcstol)
{
  EXPECT_EQ(Zr::IntFromWString(L"42"), 42);
  EXPECT_EQ(Zr::IntFromWString(L"  -17 frames"), -17);
  EXPECT_EQ(Zr::IntFromWString(L"007"), 7);
  EXPECT_EQ(Zr::IntFromWString(L"0x10"), 0);
  EXPECT_EQ(Zr::IntFromWString(L"abc"), 0);
  EXPECT_EQ(Zr::IntFromWString(static_cast<const wchar_t*>(nullptr)), 0);
  EXPECT_EQ(Zr::IntFromWString(WString(L"99999999999")), INT_MAX);
  EXPECT_EQ(Zr::IntFromWString(WString(L"-99999999999")), INT_MIN);
}

TEST(StringsAscii, WidensEachByteWithoutDecoding)
{
  EXPECT_EQ(Zr::WStringFromAscii("plain"), L"plain");
  // Two UTF-8 bytes stay two characters; a high byte keeps its value.
  EXPECT_EQ(Zr::WStringFromAscii("\xC3\xA9"), L"\u00C3\u00A9");
  EXPECT_TRUE(Zr::WStringFromAscii(static_cast<const char*>(nullptr)).empty());
  EXPECT_EQ(Zr::WStringFromAscii(NString("ab")), L"ab");
}

} // namespace
