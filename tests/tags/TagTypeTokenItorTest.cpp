#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tags/TagTypeTokenItor.h"

namespace {

using Str = LightweightString<char>;

std::string token(const TagTypeTokenItor& it)
{
  return (*it).c_str();
}

std::string head(const TagTypeTokenItor& it)
{
  return it.getIdToCurrentPos().c_str();
}

// An iterator moved forward `steps` times from the start.
TagTypeTokenItor after(const TagTypeId& id, int steps)
{
  TagTypeTokenItor it(id);
  for (int i = 0; i < steps; ++i) ++it;
  return it;
}

TEST(TagTypeTokenItor, EmptyIdIsInertAndAtEnd)
{
  const TagTypeId empty;
  TagTypeTokenItor it(empty);
  EXPECT_EQ(it.getTokenType(), eTagTokenNone);
  EXPECT_TRUE(it.isAtEnd());
  EXPECT_EQ(token(it), "");
  EXPECT_TRUE(it == "");
  EXPECT_FALSE(it == "A");
  EXPECT_FALSE(it.moveOver(""));
  EXPECT_EQ(head(it), "");
  ++it;
  --it;
  it.moveToEnd();
  EXPECT_EQ(it.position(), 0u);
  Str any;
  EXPECT_FALSE(it.findNextMatch(any, eTagTokenAny));
}

TEST(TagTypeTokenItor, WalksSeparatorLedIdBothWays)
{
  const TagTypeId id("\\Media\\Video.Clip.Still");
  TagTypeTokenItor it(id);
  const std::vector<std::pair<uint32_t, std::string>> tokens = {
      {0, "Media"}, {6, "Video"}, {12, "Clip"}, {17, "Still"}};
  const std::vector<TagTokenType> kinds = {eTagTokenBackslash, eTagTokenBackslash, eTagTokenDot,
                                           eTagTokenDot};
  for (size_t i = 0; i < tokens.size(); ++i) {
    EXPECT_EQ(it.position(), tokens[i].first) << i;
    EXPECT_EQ(token(it), tokens[i].second) << i;
    EXPECT_TRUE(it == tokens[i].second.c_str()) << i;
    EXPECT_EQ(it.getTokenType(), kinds[i]) << i;
    EXPECT_EQ(it.isAtEnd(), i + 1 == tokens.size()) << i;
    EXPECT_EQ(head(it),
              std::string(id.id().c_str()).substr(0, tokens[i].first + 1 + tokens[i].second.size()));
    ++it;
  }
  // At the last token, forward stays put.
  EXPECT_EQ(it.position(), 17u);
  for (size_t i = tokens.size(); i-- > 0;) {
    EXPECT_EQ(it.position(), tokens[i].first) << i;
    --it;
  }
  // Byte 0 is a separator, so backward reaches it and then stays.
  EXPECT_EQ(it.position(), 0u);
}

TEST(TagTypeTokenItor, ClassPathLosesFirstLetterAndPositionZero)
{
  const TagTypeId id("Taggable.FX.Effect");
  TagTypeTokenItor it(id);
  EXPECT_EQ(token(it), "aggable");
  EXPECT_TRUE(it == "aggable");
  EXPECT_FALSE(it == "Taggable");
  EXPECT_EQ(it.getTokenType(), eTagTokenNone);
  EXPECT_FALSE(it.isAtEnd());
  EXPECT_EQ(head(it), "Taggable");

  ++it;
  EXPECT_EQ(it.position(), 8u);
  EXPECT_EQ(token(it), "FX");
  --it;
  EXPECT_EQ(it.position(), 8u) << "position 0 is not a separator, so it cannot be reached again";

  ++it;
  EXPECT_TRUE(it.isAtEnd());
  EXPECT_EQ(token(it), "Effect");
  EXPECT_EQ(head(it), "Taggable.FX.Effect");

  const TagTypeId shortPath("A.B");
  TagTypeTokenItor first(shortPath);
  EXPECT_EQ(token(first), "");
  EXPECT_EQ(head(first), "A");
  ++first;
  EXPECT_EQ(first.position(), 1u);
  EXPECT_EQ(token(first), "B");
  --first;
  EXPECT_EQ(first.position(), 1u);
}

TEST(TagTypeTokenItor, PostfixFormsGiveThePreviousIterator)
{
  const TagTypeId id(".A.B.C");
  TagTypeTokenItor it(id);
  const TagTypeTokenItor old = it++;
  EXPECT_EQ(old.position(), 0u);
  EXPECT_EQ(it.position(), 2u);
  const TagTypeTokenItor back = it--;
  EXPECT_EQ(back.position(), 2u);
  EXPECT_EQ(it.position(), 0u);
}

TEST(TagTypeTokenItor, CopiesWalkIndependentlyOverTheSameId)
{
  TagTypeId id(".A.B");
  TagTypeTokenItor first(id);
  TagTypeTokenItor second(first);
  ++second;
  EXPECT_EQ(first.position(), 0u);
  EXPECT_EQ(second.position(), 2u);
  first = second;
  EXPECT_EQ(first.position(), 2u);
  // The iterator reads the id it points at, not a copy taken earlier.
  ASSERT_TRUE(id.appendTypeToken("C", eTagTokenDot));
  EXPECT_FALSE(first.isAtEnd());
  EXPECT_EQ(token(first), "B");
}

TEST(TagTypeTokenItor, EndIsTheLastSeparator)
{
  const TagTypeId id("\\A.B.C");
  TagTypeTokenItor it(id);
  it.moveToEnd();
  EXPECT_EQ(it.position(), 4u);
  EXPECT_TRUE(it.isAtEnd());
  EXPECT_EQ(token(it), "C");
  EXPECT_EQ(head(it), "\\A.B.C");
}

TEST(TagTypeTokenItor, EndOfIdWithoutSeparatorIsPastTheText)
{
  const TagTypeId id("Taggable");
  TagTypeTokenItor it(id);
  EXPECT_FALSE(it.isAtEnd());
  ++it;
  EXPECT_EQ(it.position(), 0u);
  EXPECT_FALSE(it.isAtEnd());
  EXPECT_EQ(token(it), "");

  it.moveToEnd();
  EXPECT_EQ(it.position(), 9u);
  EXPECT_TRUE(it.isAtEnd());
  EXPECT_EQ(it.getTokenType(), eTagTokenNone);
  EXPECT_EQ(token(it), "");
  EXPECT_TRUE(it == "");
  EXPECT_EQ(head(it), "Taggable");
  --it;
  ++it;
  EXPECT_EQ(it.position(), 9u);
}

TEST(TagTypeTokenItor, EmptyTokensBetweenAndAfterSeparators)
{
  const TagTypeId id("\\A..B.");
  TagTypeTokenItor it = after(id, 1);
  EXPECT_EQ(it.position(), 2u);
  EXPECT_EQ(token(it), "");
  EXPECT_TRUE(it == "");
  EXPECT_TRUE(it == nullptr);
  ++it;
  EXPECT_EQ(token(it), "B");
  ++it;
  EXPECT_EQ(it.position(), 5u);
  EXPECT_TRUE(it.isAtEnd());
  EXPECT_EQ(token(it), "");
  EXPECT_EQ(head(it), "\\A..B.");

  const TagTypeId lone(".");
  TagTypeTokenItor single(lone);
  EXPECT_TRUE(single.isAtEnd());
  EXPECT_EQ(single.getTokenType(), eTagTokenDot);
  EXPECT_EQ(token(single), "");
}

TEST(TagTypeTokenItor, HeadOfLongIdIsWhole)
{
  std::string longText;
  for (int i = 0; i < 400; ++i) longText += ".Segment";
  const TagTypeId id(longText.c_str());
  TagTypeTokenItor it(id);
  it.moveToEnd();
  EXPECT_EQ(head(it), longText);
  --it;
  EXPECT_EQ(head(it), longText.substr(0, longText.size() - 8));
}

TEST(TagTypeTokenItor, MoveOverFromTheStart)
{
  const TagTypeId id("Taggable.FX.Effect");
  TagTypeTokenItor it(id);
  EXPECT_FALSE(it.moveOver("Tagg"));
  EXPECT_FALSE(it.moveOver("Clip"));
  EXPECT_FALSE(it.moveOver("Taggable.FX.Effect.More"));
  EXPECT_EQ(it.position(), 0u);
  EXPECT_TRUE(it.moveOver("Taggable"));
  EXPECT_EQ(it.position(), 8u);
  EXPECT_EQ(token(it), "FX");

  TagTypeTokenItor whole(id);
  EXPECT_TRUE(whole.moveOver("Taggable.FX.Effect"));
  EXPECT_TRUE(whole.isAtEnd());
  EXPECT_EQ(whole.position(), 11u);
}

TEST(TagTypeTokenItor, MoveOverWholeIdWithoutSeparatorMovesPastIt)
{
  const TagTypeId id("Taggable");
  TagTypeTokenItor it(id);
  EXPECT_TRUE(it.moveOver("Taggable"));
  EXPECT_EQ(it.position(), 9u);
  EXPECT_TRUE(it.isAtEnd());
}

TEST(TagTypeTokenItor, MoveOverComparesFromStartButStepsFromPosition)
{
  const TagTypeId id("A.B.C");
  TagTypeTokenItor atStart(id);
  EXPECT_FALSE(atStart.moveOver("A.")) << "byte 2 is 'B'";
  TagTypeTokenItor atFirstDot = after(id, 1);
  EXPECT_TRUE(atFirstDot.moveOver("A.")) << "the prefix matches at byte 0, byte 3 is '.'";
  EXPECT_EQ(atFirstDot.position(), 3u);
  // An empty prefix is a step of nothing, taken only on a separator.
  EXPECT_TRUE(atFirstDot.moveOver(""));
  EXPECT_EQ(atFirstDot.position(), 3u);
  EXPECT_FALSE(atStart.moveOver(""));
}

TEST(TagTypeTokenItor, FindNextMatchNeverExaminesTheLastToken)
{
  const TagTypeId id(".A.B");
  TagTypeTokenItor it(id);
  EXPECT_FALSE(it.findNextMatch("B", eTagTokenAny));
  EXPECT_EQ(it.position(), 0u);
  EXPECT_TRUE(it.findNextMatch("A", eTagTokenDot));
  EXPECT_EQ(it.position(), 0u);
}

TEST(TagTypeTokenItor, FindNextMatchByKindAndText)
{
  const TagTypeId id("\\M\\V.C.V.S");
  TagTypeTokenItor it(id);
  EXPECT_TRUE(it.findNextMatch("", eTagTokenDot));
  EXPECT_EQ(it.position(), 4u);
  EXPECT_TRUE(it.findNextMatch("V", eTagTokenDot));
  EXPECT_EQ(it.position(), 6u);
  // The search starts at the current token, so a match there is found again.
  EXPECT_TRUE(it.findNextMatch("V", eTagTokenAny));
  EXPECT_EQ(it.position(), 6u);

  TagTypeTokenItor fresh(id);
  EXPECT_TRUE(fresh.findNextMatch("V", eTagTokenBackslash));
  EXPECT_EQ(fresh.position(), 2u);
  EXPECT_FALSE(fresh.findNextMatch("C", eTagTokenBackslash));
  EXPECT_FALSE(fresh.findNextMatch("M", eTagTokenAny)) << "M lies behind the position";
  EXPECT_EQ(fresh.position(), 2u);
}

TEST(TagTypeTokenItor, FindNextMatchOnClassPathSkipsTheFirstSegment)
{
  const TagTypeId id("Taggable.FX.Effect");
  TagTypeTokenItor it(id);
  EXPECT_FALSE(it.findNextMatch("Taggable", eTagTokenAny));
  EXPECT_TRUE(it.findNextMatch("aggable", eTagTokenNone));
  EXPECT_EQ(it.position(), 0u);
  EXPECT_TRUE(it.findNextMatch("", eTagTokenDot));
  EXPECT_EQ(it.position(), 8u);
  EXPECT_FALSE(it.findNextMatch("Effect", eTagTokenDot));
}

} // namespace
