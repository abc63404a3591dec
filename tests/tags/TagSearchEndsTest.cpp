// Which searches end. Each case runs in a child process under an alarm: a
// search that loops is killed by SIGALRM instead of hanging the suite. The
// alarms are far longer than any of these operations needs; they bound
// termination, not speed.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <unistd.h>

#include "tags/TagTypeTokenItor.h"

namespace {

const TagTokenType kAllKinds[] = {eTagTokenBackslash, eTagTokenDot, eTagTokenAny, eTagTokenNone};

// Every operation that is safe on an id with no separator, from position 0
// and from the end.
void exerciseIdWithoutSeparator(const char* text)
{
  const TagTypeId id(text);
  TagTypeTokenItor it(id);
  ++it;
  it++;
  --it;
  it--;
  (void)*it;
  (void)(it == text);
  (void)it.getTokenType();
  (void)it.isAtEnd();
  (void)it.getIdToCurrentPos();
  (void)it.moveOver(text);
  TagTypeTokenItor fromStart(id);
  (void)fromStart.findNextMatch("", eTagTokenAny);
  (void)fromStart.findNextMatch("", eTagTokenNone);
  TagTypeTokenItor atEnd(id);
  atEnd.moveToEnd();
  for (TagTokenType kind : kAllKinds) {
    (void)atEnd.findNextMatch("", kind);
    (void)atEnd.findNextMatch(text, kind);
  }
  for (TagTokenType kind : {eTagTokenDot, eTagTokenAny, eTagTokenNone}) {
    TagTypeId grown(text);
    (void)grown.appendTypeToken("Clip", kind);
  }
  TagTypeId refused(text);
  (void)refused.appendTypeToken("", eTagTokenBackslash);
}

TEST(TagSearchEnds, EveryDocumentedSafeOperationReturnsOnIdsWithoutSeparator)
{
  EXPECT_EXIT(
      {
        alarm(20);
        exerciseIdWithoutSeparator("Taggable");
        exerciseIdWithoutSeparator("A");
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

// The documented traps stay as they are: on an id with no separator a
// search that does not match at position 0 never ends.
TEST(TagSearchEnds, SearchOnIdWithoutSeparatorNeverEnds)
{
  const struct
  {
    const char* token;
    decltype(eTagTokenDot) kind;
  } searches[] = {{"", eTagTokenDot}, {"aggable", eTagTokenAny}};
  for (const auto& search : searches) {
    EXPECT_EXIT(
        {
          alarm(1);
          const TagTypeId id("Taggable");
          TagTypeTokenItor it(id);
          (void)it.findNextMatch(search.token, search.kind);
          std::exit(0);
        },
        testing::KilledBySignal(SIGALRM), "")
        << search.token;
  }
}

TEST(TagSearchEnds, BackslashAppendOnIdWithoutSeparatorNeverEnds)
{
  EXPECT_EXIT(
      {
        alarm(1);
        TagTypeId id("Taggable");
        (void)id.appendTypeToken("X", eTagTokenBackslash);
        std::exit(0);
      },
      testing::KilledBySignal(SIGALRM), "");
}

} // namespace
