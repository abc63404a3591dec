#include "libOS/posix/Wildcard.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

namespace {

struct Case
{
  const wchar_t* name;
  const wchar_t* pattern;
  bool matches;
};

bool match(const std::wstring& name, const std::wstring& pattern)
{
  return posix::wildcardMatch(name.data(), name.size(), pattern.data(), pattern.size());
}

TEST(Wildcard, FollowsWindowsListingRules)
{
  const Case cases[] = {
      // "*" is any run, also an empty one.
      {L"abc.txt", L"*", true},
      {L"", L"*", true},
      {L"abc", L"abc*", true},
      {L"abc", L"*abc", true},
      {L"xabcx", L"*abc*", true},
      {L"aaa", L"a*a*a", true},
      {L"aa", L"a*a*a", false},
      {L"file.tar.gz", L"*.gz", true},
      {L"file.tar.gz", L"*.tar", false},
      {L"file.tar.gz", L"*.tar.*", true},
      {L"mississippi", L"*sip*", true},
      {L"mississippi", L"m*iss*ppi", true},
      {L"mississippi", L"m*iss*ppx", false},
      // "?" is exactly one character, a dot included.
      {L"abc.txt", L"a?c.txt", true},
      {L"ac.txt", L"a?c.txt", false},
      {L"abbc.txt", L"a?c.txt", false},
      {L"abc", L"abc?", false},
      {L"a.b", L"a?b", true},
      {L"gamma", L"?????", true},
      {L"gamm", L"?????", false},
      // "*.*" is everything; "x.*" also takes "x" without an extension.
      {L"abc", L"*.*", true},
      {L"abc.txt", L"*.*", true},
      {L".hidden", L"*.*", true},
      {L"readme", L"readme.*", true},
      {L"readme.md", L"readme.*", true},
      {L"readmex", L"readme.*", false},
      {L"P0001000", L"P*.*", true},
      {L"Q0001000", L"P*.*", false},
      // A trailing dot asks for names without an extension.
      {L"abc", L"*.", true},
      {L"abc.txt", L"*.", false},
      {L"abc", L"abc.", true},
      {L"abcd", L"abc.", false},
      // Plain names match only themselves.
      {L"devices.odb", L"devices.odb", true},
      {L"devices.odbx", L"devices.odb", false},
      {L"xdevices.odb", L"devices.odb", false},
      {L"", L"", true},
      {L"abc", L"", false},
      // Case does not matter, beyond ASCII too.
      {L"ABC.TXT", L"abc.txt", true},
      {L"abc.txt", L"*.TXT", true},
      {L"Plug-ins", L"p*.*", true},
      {L"\u00C9COLE.txt", L"\u00E9cole.*", true},             // ÉCOLE / école
      {L"\u041F\u0420\u0418", L"\u043F\u0440\u0438", true},   // ПРИ / при
      {L"\u0391\u0392\u0393", L"\u03B1\u03B2\u03B3", true},   // ΑΒΓ / αβγ
      {L"\u0141\u00F3d\u017A", L"\u0142\u00D3D\u0179", true}, // Łódź / łÓDŹ
      {L"\u00D7", L"\u00F7", false},                          // × and ÷ are no pair
      {L"ab", L"a\u00E9", false},
      {L"\u0178", L"\u00FF", true},  // Ÿ / ÿ
      {L"\u0130", L"\u0131", false}, // Turkish İ and ı are no pair
      {L"[a]", L"[A]", true},
  };
  for (const Case& c : cases)
    EXPECT_EQ(match(c.name, c.pattern), c.matches)
        << "name " << testing::PrintToString(std::wstring(c.name)) << ", pattern "
        << testing::PrintToString(std::wstring(c.pattern));
}

TEST(Wildcard, ManyStarsDoNotBacktrackExponentially)
{
  // A naive recursive matcher needs about 200^30 steps here; this one
  // finishes at once, so the test ends well inside any time limit.
  std::wstring pattern;
  for (int i = 0; i < 30; ++i) pattern += L"*a";
  pattern += L"b";
  EXPECT_FALSE(match(std::wstring(200, L'a'), pattern));
  EXPECT_TRUE(match(std::wstring(200, L'a') + L"b", pattern));
}

} // namespace
