#include <gtest/gtest.h>

#include <string>

#include "text/GrowString.h"

namespace {

std::string str(const GrowString& g) { return g.c_str() ? std::string(g.c_str(), g.length()) : std::string("<null>"); }

TEST(GrowString, EmptyOwnsNothingAndConvertsToNull)
{
  GrowString g;
  EXPECT_EQ(static_cast<const char*>(g), nullptr);
  EXPECT_EQ(g.capacity(), 0u);
  EXPECT_EQ(g.precision(), -1);
  EXPECT_TRUE(g == "");
  EXPECT_TRUE(g == static_cast<const char*>(nullptr));

  g = "text";
  g.setHex(true);
  g.reset();
  EXPECT_EQ(g.c_str(), nullptr);
  EXPECT_FALSE(g.hex());
  EXPECT_EQ(g.precision(), -1);

  g = "abc";
  g = "";
  EXPECT_EQ(g.c_str(), nullptr);
  EXPECT_EQ(g.capacity(), 0u);
}

TEST(GrowString, BlockIsTheNextPowerOfTwoAboveTheTextBothWays)
{
  const std::pair<unsigned int, unsigned int> sizes[] = {{0, 1}, {1, 2}, {2, 4}, {3, 4}, {7, 8}, {8, 16}, {1000, 1024}};
  for (auto [n, size] : sizes) EXPECT_EQ(GrowString::sizeFor(n), size) << n;
  EXPECT_EQ(GrowString::sizeFor(0x80000000u), 0u);

  GrowString g;
  g = std::string(100, 'x').c_str();
  EXPECT_EQ(g.capacity(), 128u);
  g = "ab";
  EXPECT_EQ(g.capacity(), 4u);
  EXPECT_EQ(str(g), "ab");
  for (int i = 0; i < 9; ++i) g.append('c');
  EXPECT_EQ(g.capacity(), 16u);
  EXPECT_EQ(str(g), "abccccccccc");
}

TEST(GrowString, IndexPastTheEndGrowsByOneBlankOnly)
{
  GrowString g("ab");
  const GrowString& constant = g;
  EXPECT_EQ(constant[5], 0);
  EXPECT_EQ(g.length(), 2u);

  g[1000] = 'z';
  EXPECT_EQ(str(g), "abz");
  GrowString empty;
  empty[7];
  EXPECT_EQ(str(empty), " ");
}

TEST(GrowString, NumbersFollowHexWidthAndPrecision)
{
  struct Case
  {
    bool hex;
    int width, precision;
    void (*write)(GrowString&);
    const char* expected;
  };
  const Case cases[] = {
    {false, 0, -1, [](GrowString& g) { g << 42u; }, "42"},
    {false, 5, -1, [](GrowString& g) { g << 42u; }, "   42"},
    {true, 5, -1, [](GrowString& g) { g << 255u; }, "000000FF"},
    {false, 0, -1, [](GrowString& g) { g << -7; }, "-7"},
    {false, 4, -1, [](GrowString& g) { g << -7; }, "  -7"},
    {true, 0, -1, [](GrowString& g) { g << -1; }, "FFFFFFFF"},
    {true, 0, -1, [](GrowString& g) { g << static_cast<unsigned short>(10); }, "000A"},
    {false, 6, -1, [](GrowString& g) { g << static_cast<unsigned short>(65535); }, " 65535"},
    {false, 0, -1, [](GrowString& g) { g << 1.5; }, "1.5"},
    {false, 8, 2, [](GrowString& g) { g << 3.14159; }, "    3.14"},
    {false, 0, 0, [](GrowString& g) { g << 2.5e10; }, "25000000000"},
    {true, 9, 3, [](GrowString& g) { g << 1.5f; }, "1.500000"},
    {false, 0, -1, [](GrowString& g) { g << true << false; }, "truefalse"},
  };
  for (const Case& c : cases) {
    GrowString g;
    g.setHex(c.hex);
    g.setWidth(c.width);
    g.setPrecision(c.precision);
    c.write(g);
    EXPECT_EQ(str(g), c.expected);
  }
  GrowString huge;
  huge.setPrecision(2);
  huge << 1e300;
  EXPECT_EQ(huge.length(), 304u);
}

TEST(GrowString, AppendsPiecesOfItselfAndSegments)
{
  GrowString g("abcdef");
  g.append(g);
  EXPECT_EQ(str(g), "abcdefabcdef");
  g.append(g.c_str() + 10);
  EXPECT_EQ(str(g), "abcdefabcdefef");
  g = g.c_str() + 12;
  EXPECT_EQ(str(g), "ef");

  GrowString s;
  s.appendSegment("hello world", 6, 3);
  s.appendSegment("ab\0cd", 0, 5);
  s.appendSegment(nullptr, 0, 4);
  s.appendSegment("xyz", -1, 2);
  EXPECT_EQ(str(s), "worab");
  s << endl;
  EXPECT_EQ(str(s), "worab\n");
}

TEST(GrowString, TransferMovesTextAndSettings)
{
  GrowString from("moved");
  from.setHex(true);
  from.setWidth(3);
  GrowString to("old text");
  from.transferContent(to);
  EXPECT_EQ(str(to), "moved");
  EXPECT_TRUE(to.hex());
  EXPECT_EQ(to.width(), 3);
  EXPECT_EQ(from.c_str(), nullptr);
  EXPECT_FALSE(from.hex());
}

TEST(GrowString, GrowToMakesAWritableRunOfBlanks)
{
  GrowString g("ab");
  ASSERT_TRUE(g.growTo(6));
  EXPECT_EQ(str(g), "ab    ");
  g.data()[5] = '!';
  EXPECT_EQ(str(g), "ab   !");
  EXPECT_TRUE(g.growTo(3));
  EXPECT_EQ(g.length(), 6u);
  EXPECT_FALSE(g.growTo(0x80000000u));
  EXPECT_EQ(str(g), "ab   !");

  GrowString copy(g), assigned;
  assigned = g;
  EXPECT_TRUE(copy == g);
  EXPECT_TRUE(assigned == g);
  EXPECT_FALSE(assigned == GrowString("ab"));
  LightweightString<char> text("from a string");
  assigned = text;
  EXPECT_TRUE(assigned == "from a string");
}

} // namespace
