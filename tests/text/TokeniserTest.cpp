#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "logging/DebugConsole.h"
#include "text/isset.h"
#include "text/tokeniser.h"

namespace {

template <class Tokeniser> std::vector<std::string> all(Tokeniser& t)
{
  std::vector<std::string> out;
  while (const char* token = t.next()) out.push_back(token);
  return out;
}

struct Split
{
  const char* text;
  const char* delimiters;
  std::vector<std::string> tokens;
};

const std::vector<Split>& splits()
{
  static const std::vector<Split> cases = {
    {"a,b,c", ",", {"a", "b", "c"}},
    {",,a,, b ,", ", ", {"a", "b"}},
    {"", ",", {}},
    {",,,", ",", {}},
    {"whole", "", {"whole"}},
    {"x y\tz", " \t", {"x", "y", "z"}},
    {"1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22",
     " ",
     {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", "13", "14", "15", "16", "17", "18", "19", "20",
      "21", "22"}},
  };
  return cases;
}

TEST(Tokeniser, SplitsACopyAtRunsOfDelimiters)
{
  for (const Split& s : splits()) {
    std::string original = s.text;
    tokeniser t(original.c_str(), s.delimiters);
    EXPECT_EQ(t.count(), static_cast<int>(s.tokens.size())) << s.text;
    EXPECT_EQ(all(t), s.tokens) << s.text;
    EXPECT_EQ(original, s.text) << "the caller's text is untouched";
  }
}

TEST(Tokeniser, TokensStayReachableByIndexAfterIteration)
{
  tokeniser t("p q r", " ");
  all(t);
  EXPECT_EQ(t.next(), nullptr);
  EXPECT_STREQ(t[1], "q");
  EXPECT_EQ(t[3], nullptr);
  EXPECT_EQ(t[-1], nullptr);
  t.rewind();
  EXPECT_STREQ(t.next(), "p");

  tokeniser none(nullptr, ",");
  EXPECT_EQ(none.count(), 0);
  EXPECT_EQ(none.next(), nullptr);
}

TEST(Tokeniser2, SplitsTheCallersTextInPlace)
{
  for (const Split& s : splits()) {
    std::string text = s.text;
    tokeniser2 t(text.data(), s.delimiters);
    EXPECT_EQ(all(t), s.tokens) << s.text;
    EXPECT_EQ(t.next(), nullptr) << s.text;
    EXPECT_EQ(t.current(), nullptr) << s.text;
  }
  char text[] = "ab,cd,";
  tokeniser2 t(text, ",");
  EXPECT_EQ(t.next(), text);
  EXPECT_EQ(text[2], '\0') << "the delimiter after a token becomes its end";
  EXPECT_EQ(t.next(), text + 3);
  EXPECT_EQ(t.current(), text + 3);
}

TEST(Isset, ClassesHoldTheirMembersAndTheEndMarker)
{
  struct Member
  {
    const isset& set;
    const char* name;
    std::string members;
  };
  const Member sets[] = {
    {iswordbreak, "iswordbreak", std::string("\x0A\xB2\xFF\x0C \t-/\\")},
    {islinebreak, "islinebreak", std::string("\x0A\xB2\xFF\x0C")},
    {isparabreak, "isparabreak", std::string("\x0A\xFF\x0C")},
    {iswhite, "iswhite", std::string(" \t")},
    {issoft, "issoft", std::string("\xB2")},
    {isodd, "isodd", std::string("\x0A\xB0\xB1\xB2\xB3\xB4\xB5\xB6\xB7")},
    {isfindbreak, "isfindbreak", std::string(" \x0A\t\x0D\xFF,.;:/|?[]{}()!-+=*\\$%^&#~\"'")},
  };
  unsigned int masks = 0;
  for (const Member& m : sets) {
    EXPECT_EQ(masks & m.set.mask(), 0u) << m.name << " shares a bit";
    masks |= m.set.mask();
    for (int c = 0; c < 256; ++c) {
      bool member = m.members.find(static_cast<char>(c)) != std::string::npos;
      EXPECT_EQ(m.set(static_cast<unsigned int>(c)) != 0, member) << m.name << " byte " << c;
    }
  }
  EXPECT_NE(islinebreak(0xFFFFFFFFu), 0) << "a look past the end is a line break";
  EXPECT_NE(isparabreak(0xFFFFFFFFu), 0);
  EXPECT_EQ(iswhite(0xFFFFFFFFu), 0);
  EXPECT_EQ(issoft(0x1B2u), issoft(0xB2u)) << "only the low byte counts";
}

TEST(Isset, ANinthClassSaysSoAndHoldsNothing)
{
  herc_shutdown();
  herc_init();
  showDebugWindow(true);
  static const isset eighth("Q");
  EXPECT_NE(eighth('Q'), 0);
  EXPECT_EQ(eighth('q'), 0);
  static const isset ninth("abc");
  EXPECT_EQ(ninth.mask(), 0);
  for (int c = 0; c < 256; ++c) EXPECT_EQ(ninth(static_cast<unsigned int>(c)), 0) << c;
  EXPECT_EQ(iswhite('Q'), 0) << "the earlier classes are untouched";

  Zr::Ptr<iStatusWindow> window = herc_window();
  ASSERT_TRUE(window);
  std::string screen;
  for (int y = 0; y < window->height(); ++y) {
    LightweightString<wchar_t> line = window->getLine(y);
    for (unsigned int i = 0; i < line.size(); ++i) screen.push_back(static_cast<char>(line.c_str()[i]));
  }
  EXPECT_NE(screen.find("More than 8 isxxx tests in use:  rewrite"), std::string::npos);
  herc_shutdown();
}

} // namespace
