// StringList: splitting a block into lines, and the text operations.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/StringList.h"
#include "text/GrowString.h"

namespace {

using Lines = std::vector<std::string>;

Lines lines(const StringList& list)
{
  Lines out;
  for (unsigned int k = 0; k < list.size(); ++k) {
    const LightweightString<char> text = list.get(k);
    out.emplace_back(text.c_str(), text.size());
  }
  return out;
}

Lines split(const std::string& block)
{
  StringList list;
  list.buildFromBuffer(block.data(), unsigned(block.size()));
  return lines(list);
}

TEST(StringListSplit, PairsOfDifferentLineEndsAreOneBreakAndEqualOnesTwo)
{
  struct Case
  {
    std::string block;
    Lines lines;
  };
  const Case cases[] = {
      {"a\r\nb\n", {"a", "b"}},
      {"a\n\rb", {"a", "b"}},
      {"a\n\nb", {"a", "", "b"}},
      {"a\r\rb", {"a", "", "b"}},
      {"a\r\n\nb", {"a", "", "b"}},
      {"a\r\n\r\nb", {"a", "", "b"}},
      {"\n\r\n", {"", ""}},
      {"\n", {""}},
      {"a", {"a"}},
      {"a\n", {"a"}},
      {"a\nb", {"a", "b"}},
      {std::string("a\0b\n\0", 5), {std::string("a\0b", 3), std::string("\0", 1)}},
      {"", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(split(c.block), c.lines) << "block: " << c.block;

  StringList list;
  list.buildFromBuffer(nullptr, 5);
  EXPECT_EQ(list.size(), 0u);
}

TEST(StringList, StoreTextCopiesBothEndsInclusive)
{
  StringList list;
  const char text[] = "hello";
  EXPECT_EQ(list.storeText(text + 1, text + 3), 0);
  EXPECT_EQ(list.storeText(text + 2, text + 1), 1);
  EXPECT_EQ(lines(list), (Lines{"ell", ""}));
}

TEST(StringList, FindRemoveSetAndGetGoByExactText)
{
  StringList list;
  for (const char* t : {"beta", "Alpha", "alpha"}) list.add(t);
  EXPECT_EQ(list.findRec("alpha"), list[2]);
  EXPECT_FALSE(list.contains("ALPHA"));
  EXPECT_TRUE(list.remove("Alpha"));
  EXPECT_FALSE(list.remove("Alpha"));
  EXPECT_TRUE(list.set(0, "gamma"));
  EXPECT_FALSE(list.set(2, "x"));
  EXPECT_EQ(list.get(0), "gamma");
  EXPECT_EQ(list.get(5), "");
  EXPECT_TRUE(list.removeIdx(1));
  EXPECT_FALSE(list.removeIdx(1));
  EXPECT_EQ(lines(list), (Lines{"gamma"}));
}

TEST(StringList, SortModeChoosesCaseInsensitiveOrder)
{
  StringList list;
  for (const char* t : {"b", "C", "a", "B"}) list.add(t);
  list.sorted(true);
  EXPECT_EQ(lines(list), (Lines{"B", "C", "a", "b"}));
  list.setSortMode(StringList::eCaseInsensitive);
  const Lines folded = lines(list);
  EXPECT_EQ(folded[0], "a");
  EXPECT_EQ(folded[3], "C");
  list.add("c0");
  EXPECT_EQ(lines(list).back(), "c0");
  list.setSortMode(StringList::eCaseSensitive);
  EXPECT_EQ(lines(list).front(), "B");

  GrowString text;
  list.printOn(text);
  EXPECT_STREQ(text.c_str(), "(B C a b c0)");
}

} // namespace
