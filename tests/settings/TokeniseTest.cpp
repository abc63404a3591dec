// How one line splits into name, type and value.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/configb.h"

namespace {

struct Split
{
  int result;
  std::string name, type, value;
};

Split split(const std::string& line)
{
  int ns, ne, vs, ve, ts, te;
  Split s;
  s.result = tokenise(line.c_str(), &ns, &ne, &vs, &ve, &ts, &te);
  if (s.result == 0) return s;
  s.name = line.substr(ns, ne - ns);
  if (ts < te) s.type = line.substr(ts, te - ts);
  if (ve > vs) s.value = line.substr(vs, ve - vs);
  return s;
}

TEST(Tokenise, SplitsNameTypeAndValue)
{
  struct Case
  {
    const char* line;
    const char* name;
    const char* type;
    const char* value;
  };
  const std::vector<Case> cases = {
      {"  width:int   12  ", "width", "int", "12"},
      {"path C:\\tmp\\x", "path", "", "C:\\tmp\\x"},
      {"flag", "flag", "", ""},
      {"flag:bool", "flag", "bool", ""},
      {"title  two  inner  blanks\t\r", "title", "", "two  inner  blanks"},
      {"a:b:c v", "a", "b:c", "v"},
      {"\tk\tv", "k", "", "v"},
      {"key value # not a comment", "key", "", "value # not a comment"},
      {"name: value", "name", "", "value"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    const Split s = split(c.line);
    EXPECT_EQ(s.result, 1);
    EXPECT_EQ(s.name, c.name);
    EXPECT_EQ(s.type, c.type);
    EXPECT_EQ(s.value, c.value);
  }
}

TEST(Tokenise, RejectsBlankAndCommentLines)
{
  for (const char* line : {"", "   ", "\t\r", "#comment", "   # indented comment", "#"}) {
    SCOPED_TRACE(line);
    EXPECT_EQ(split(line).result, 0);
  }
}

TEST(Tokenise, HighBytesAreNeverWhiteSpace)
{
  // 0xA0 is a space in Latin-1 locales, but not to the name scan.
  const Split s = split("\xA0name\xA0 v\xA0");
  EXPECT_EQ(s.name, "\xA0name\xA0");
  EXPECT_EQ(s.value, "v\xA0");
}

TEST(Tokenise, ColonOpeningTheFirstWordGivesAnEmptyName)
{
  const Split s = split(":int 5");
  EXPECT_EQ(s.result, 1);
  EXPECT_EQ(s.name, "");
  EXPECT_EQ(s.type, "int");
  EXPECT_EQ(s.value, "5");
}

} // namespace
