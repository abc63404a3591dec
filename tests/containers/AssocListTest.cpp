// AssocList: the token rules of its text file, the file round trip, and the
// name and value operations of the rep and the handle.
#include <gtest/gtest.h>

#include <cstdio>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "core/AssocList.h"
#include "support/TestEnv.h"
#include "text/GrowString.h"

namespace {

using String = LightweightString<char>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

std::string tempFile(const char* name)
{
  static const std::string dir = zrtest::makeTempDir("assoclist");
  return dir + name;
}

// Every pair readTokenPair gives for the text, up to its first false.
Pairs tokenPairs(const std::string& text)
{
  const std::string path = tempFile("tokens.txt");
  zrtest::writeFile(path, text);
  FILE* in = std::fopen(path.c_str(), "r");
  EXPECT_NE(in, nullptr);
  Pairs pairs;
  String name, value;
  while (in && AssocListRep::readTokenPair(in, name, value) && pairs.size() < 100)
    pairs.emplace_back(std::string(name.c_str(), name.size()), std::string(value.c_str(), value.size()));
  if (in) std::fclose(in);
  return pairs;
}

TEST(AssocListTokens, FollowTheCommentEscapeQuoteAndBlankRules)
{
  struct Case
  {
    const char* text;
    Pairs pairs;
  };
  const Case cases[] = {
      {"name value\n", {{"name", "value"}}},
      {"  name \t value  the rest\r\nnext 2\n", {{"name", "value"}, {"next", "2"}}},
      {"\"a name\" \"a  value \"\n", {{"a name", "a  value "}}},
      {"a\"b c\"d e\n", {{"ab cd", "e"}}},
      {"a /* spans\nlines */ b\n", {{"a", "b"}}},
      {"x/*gone*/y z\n", {{"xy", "z"}}},
      {"a b // note\nc d\n", {{"a", "b"}, {"c", "d"}}},
      {"a b rest /* spans\nlines */ more\nc d\n", {{"a", "b"}, {"c", "d"}}},
      {"k \"http:\\/\\/host\"\n", {{"k", "http://host"}}},
      {"k \"/*x*/y\"\n", {{"k", "y"}}},
      {"\\\"q \\*\\\\\\/\n", {{"\"q", "*\\/"}}},
      {"C:\\dir \\n\n", {{"C:\\dir", "\\n"}}},
      {"k \"two\nlines\"\n", {{"k", "two\nlines"}}},
      {"\n\nk v\n", {{"", ""}, {"", ""}, {"k", "v"}}},
      {"last line\n no newline", {{"last", "line"}, {"no", "newline"}}},
      {"a b\n/* never closed\nc d\n", {{"a", "b"}}},
      {"a b\nc \"never closed\n", {{"a", "b"}}},
      {"a b\n\"\n", {{"a", "b"}}},
      {"", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(tokenPairs(c.text), c.pairs) << "text: " << c.text;
}

TEST(AssocListTokens, AMegabyteLineReadsWhole)
{
  const std::string big(1 << 20, 'v');
  EXPECT_EQ(tokenPairs("k " + big + "\n"), (Pairs{{"k", big}}));
}

TEST(AssocListFile, WritesTheQuotedLayoutAndReadsItBack)
{
  AssocListRep rep;
  rep.set("b", "2");
  rep.set("a key", "");
  rep.set("c", "x y");
  const std::string path = tempFile("plain.txt");
  ASSERT_TRUE(rep.writeToFile(path.c_str()));
  EXPECT_EQ(zrtest::readFile(path), "\"b\" \"2\"\n\"a key\" \"\"\n\"c\" \"x y\"\n");

  AssocListRep back(path.c_str());
  ASSERT_EQ(back.size(), 3u);
  EXPECT_EQ(back.at(1)->name(), "a key");
  EXPECT_EQ(back.get("c"), "x y");
}

TEST(AssocListFile, AwkwardTextSurvivesTheRoundTrip)
{
  const char* values[] = {"say \"hi\"", "ends in \\", "\\\"", "http://x/*y*/", "a//b",
                          "tab\there",  "C:\\dir\\n", "*/",   "line\nbreak",   "///"};
  AssocListRep rep;
  for (const char* v : values) rep.set(v, v);
  const std::string path = tempFile("awkward.txt");
  ASSERT_TRUE(rep.writeToFile(path.c_str()));
  AssocListRep back(path.c_str());
  ASSERT_EQ(back.size(), std::size(values));
  for (const char* v : values) EXPECT_EQ(back.get(v), v) << zrtest::readFile(path);
}

TEST(AssocListFile, MissingOrUnwritableFilesGiveFalse)
{
  AssocListRep rep;
  EXPECT_FALSE(rep.readFromFile(tempFile("absent.txt").c_str()));
  EXPECT_FALSE(rep.readFromFile(nullptr));
  EXPECT_FALSE(rep.writeToFile(tempFile("no/such/folder.txt").c_str()));
  EXPECT_EQ(rep.size(), 0u);
}

TEST(AssocListRep, SetInternsAndAnEmptyValueClearsButKeepsTheRecord)
{
  for (bool sorted : {false, true}) {
    AssocListRep rep(sorted);
    rep.set("b", "1");
    rep.set("a", "2");
    rep.set("B", "3");
    rep.set("b", "4");
    EXPECT_EQ(rep.size(), 3u);
    EXPECT_EQ(rep.get("b"), "4");
    EXPECT_EQ(rep.get("B"), "3");
    EXPECT_EQ(rep.get("c"), "");
    rep.set("b", "");
    EXPECT_NE(rep.find("b"), nullptr);
    EXPECT_EQ(rep.get("b"), "");
    EXPECT_EQ(rep.intern("a"), rep.find("a"));
    rep.add("a", "dup");
    EXPECT_EQ(rep.size(), 4u);
    if (sorted) {
      EXPECT_EQ(rep.at(0)->name(), "B");
      EXPECT_EQ(rep.at(3)->name(), "b");
    } else {
      EXPECT_EQ(rep.get("a"), "2");
      EXPECT_EQ(rep.at(3)->value(), "dup");
    }
  }
}

TEST(AssocListRep, PrintOnFormatsEachPairWithTheSeparator)
{
  AssocListRep rep;
  rep.set("a", "1");
  rep.set("b", "2");
  GrowString text;
  rep.printOn(text, "%s=%s", ", ");
  EXPECT_STREQ(text.c_str(), "a=1, b=2");
}

TEST(AssocList, HandleMakesItsRepOnDemandAndCopiesShareIt)
{
  AssocList list;
  EXPECT_EQ(list.size(), 0u);
  EXPECT_EQ(list["x"], "");
  EXPECT_EQ(list.at(0), nullptr);
  list.demand().set("x", "1");
  AssocList copy = list;
  copy.demand().set("y", "2");
  EXPECT_EQ(list["y"], "2");

  AssocList other(true);
  other.demand().set("x", "9");
  other.demand().set("z", "3");
  list += other;
  EXPECT_EQ(list["x"], "9");
  Pairs seen;
  for (AssocListIter it(list); it; ++it) seen.emplace_back((*it)->name().c_str(), (*it)->value().c_str());
  EXPECT_EQ(seen, (Pairs{{"x", "9"}, {"y", "2"}, {"z", "3"}}));
}

} // namespace
