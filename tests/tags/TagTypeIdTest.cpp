#include <gtest/gtest.h>

#include "tags/TagTypeId.h"

namespace {

using Str = LightweightString<char>;

std::string text(const TagTypeId& id)
{
  return id.id().c_str();
}

TEST(TagTypeId, EmptyIdEqualsEmptyAndNullText)
{
  const TagTypeId empty;
  EXPECT_TRUE(empty.empty());
  EXPECT_TRUE(empty == "");
  EXPECT_TRUE(empty == static_cast<const char*>(nullptr));
  EXPECT_EQ(empty, TagTypeId(""));
  EXPECT_NE(empty, TagTypeId("A"));
  EXPECT_TRUE(TagTypeId("A.B") == "A.B");
  EXPECT_TRUE(TagTypeId("A.B") != "A.C");
}

TEST(TagTypeId, CopiesAssignmentAndSelfAssignmentShareTheText)
{
  const TagTypeId original("Taggable.Clip");
  TagTypeId copy(original);
  EXPECT_EQ(copy.id().impl().get(), original.id().impl().get());

  TagTypeId assigned("Other");
  assigned = original;
  EXPECT_EQ(assigned.id().impl().get(), original.id().impl().get());
  EXPECT_TRUE(original.id().isShared());

  TagTypeId self(Str("Taggable.Clip"));
  const auto* block = self.id().impl().get();
  TagTypeId& alias = self;
  self = alias;
  EXPECT_EQ(text(self), "Taggable.Clip");
  EXPECT_EQ(self.id().impl().get(), block);
}

TEST(TagTypeId, AppendBuildsBackslashTokensThenDotTokens)
{
  TagTypeId id;
  EXPECT_TRUE(id.appendTypeToken("Media", eTagTokenBackslash));
  EXPECT_TRUE(id.appendTypeToken("Video", eTagTokenBackslash));
  EXPECT_TRUE(id.appendTypeToken("Clip", eTagTokenDot));
  EXPECT_EQ(text(id), "\\Media\\Video.Clip");
  // Any kind other than backslash is written with a dot.
  EXPECT_TRUE(id.appendTypeToken("Any", eTagTokenAny));
  EXPECT_TRUE(id.appendTypeToken("None", eTagTokenNone));
  EXPECT_EQ(text(id), "\\Media\\Video.Clip.Any.None");
}

TEST(TagTypeId, AppendRefusesBadTokensAndLeavesTheIdAlone)
{
  for (TagTokenType kind : {eTagTokenBackslash, eTagTokenDot, eTagTokenAny, eTagTokenNone}) {
    TagTypeId id(".A");
    EXPECT_FALSE(id.appendTypeToken("", kind)) << kind;
    EXPECT_FALSE(id.appendTypeToken("a.b", kind)) << kind;
    EXPECT_FALSE(id.appendTypeToken("a\\b", kind)) << kind;
    EXPECT_FALSE(id.appendTypeToken(".", kind)) << kind;
    EXPECT_FALSE(id.appendTypeToken("b\\", kind)) << kind;
    EXPECT_EQ(text(id), ".A") << kind;
  }
}

TEST(TagTypeId, BackslashMayFollowOnlyTheLastDotToken)
{
  // The last dot token is never examined by the search behind the refusal.
  TagTypeId lastDot(".A");
  EXPECT_TRUE(lastDot.appendTypeToken("X", eTagTokenBackslash));
  EXPECT_EQ(text(lastDot), ".A\\X");
  // Now ".A" is no longer last, so it refuses the next one.
  EXPECT_FALSE(lastDot.appendTypeToken("Y", eTagTokenBackslash));
  EXPECT_EQ(text(lastDot), ".A\\X");
}

TEST(TagTypeId, BackslashAppendDependsOnWhatTheIdHolds)
{
  // The first segment of a class path is no token to the search, and the
  // last one is never examined, so a two-segment path takes a backslash.
  const struct
  {
    const char* id;
    bool accepted;
    const char* after;
  } cases[] = {
      {".A.B", false, ".A.B"},
      {"\\A\\B", true, "\\A\\B\\C"},
      {"Taggable.Clip", true, "Taggable.Clip\\C"},
      {"Taggable.Clip.Still", false, "Taggable.Clip.Still"},
  };
  for (const auto& c : cases) {
    TagTypeId id(c.id);
    EXPECT_EQ(id.appendTypeToken("C", eTagTokenBackslash), c.accepted) << c.id;
    EXPECT_EQ(text(id), c.after) << c.id;
  }
}

TEST(TagTypeId, DotTokensAppendToIdsWithoutSeparator)
{
  TagTypeId id("Taggable");
  EXPECT_TRUE(id.appendTypeToken("Clip", eTagTokenDot));
  EXPECT_EQ(text(id), "Taggable.Clip");
}

TEST(TagTypeId, AppendLeavesCopiesAndTheTokenAlone)
{
  TagTypeId id(".A");
  const TagTypeId before(id);
  ASSERT_TRUE(id.appendTypeToken("B", eTagTokenDot));
  EXPECT_EQ(text(before), ".A");
  EXPECT_EQ(text(id), ".A.B");

  // The token may be the id's own text.
  TagTypeId own("Clip");
  ASSERT_TRUE(own.appendTypeToken(own.id(), eTagTokenDot));
  EXPECT_EQ(text(own), "Clip.Clip");
}

} // namespace
