#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "core/StartEnv.h"
#include "logging/DebugConsole.h"

namespace {

// A command line that owns its words, as a host's main would hold them.
class CommandLine
{
public:
  CommandLine(std::initializer_list<const wchar_t*> words) : words_(words.begin(), words.end())
  {
    for (std::wstring& w : words_) pointers_.push_back(w.data());
    pointers_.push_back(nullptr);
  }
  int argc() const { return static_cast<int>(words_.size()); }
  wchar_t** argv() { return pointers_.data(); }

private:
  std::vector<std::wstring> words_;
  std::vector<wchar_t*> pointers_;
};

std::wstring text(const LightweightString<wchar_t>& s)
{
  return std::wstring(s.c_str(), s.size());
}

std::wstring orNull(const wchar_t* s)
{
  return s ? std::wstring(s) : std::wstring(L"<null>");
}

TEST(StartEnvTest, InitSetsTheBuiltInFlagsFromTheLineAndForgetsEarlierState)
{
  struct Case
  {
    std::initializer_list<const wchar_t*> words;
    bool debug;
    bool verbose;
  };
  const Case cases[] = {
      {{L"prog"}, false, false},
      {{L"prog", L"-d"}, true, true},
      {{L"prog", L"-v"}, false, true},
      {{L"prog", L"file", L"-v", L"-d"}, true, true},
      {{L"prog", L"-dv"}, false, false}, // not a row of the table
      {{L"prog", L"-verbose"}, false, false},
  };
  for (const Case& c : cases) {
    CommandLine line(c.words);
    StartEnv env(line.argc(), line.argv());
    env.debugMode(true);
    env.verboseMode(true);
    env.usage(L"-o <file>", 0, -1, L"Tool");
    env.init();
    EXPECT_EQ(env.debug(), c.debug) << line.argc();
    EXPECT_EQ(env.verbose(), c.verbose) << line.argc();
    EXPECT_EQ(env.optionText(), nullptr);
    EXPECT_EQ(env.preamble(), nullptr);
    EXPECT_TRUE(env.usageMsg().empty());
  }
}

TEST(StartEnvTest, InitMakesTheProgramEnvironmentAndOnlyItsOwnDestructorClearsIt)
{
  CommandLine line{L"prog"};
  StartEnv outer(line.argc(), line.argv());
  outer.init();
  EXPECT_EQ(StartEnv::programEnv(), &outer);
  {
    StartEnv bystander(line.argc(), line.argv());
  }
  EXPECT_EQ(StartEnv::programEnv(), &outer);
  {
    StartEnv inner(line.argc(), line.argv());
    inner.init();
    EXPECT_EQ(StartEnv::programEnv(), &inner);
  }
  EXPECT_EQ(StartEnv::programEnv(), nullptr);
}

TEST(StartEnvTest, ArgByNameFindsExactWordsAfterTheProgramName)
{
  CommandLine alone{L"-x"};
  StartEnv a(alone.argc(), alone.argv());
  EXPECT_EQ(a.arg(L"-x"), 0); // argv[0] is never searched

  CommandLine line{L"prog", L"in", L"-v", L"-verbose"};
  StartEnv env(line.argc(), line.argv());
  EXPECT_EQ(env.arg(L"-v"), 2);
  EXPECT_EQ(env.arg(L"-verbose"), 3);
  EXPECT_EQ(env.arg(L"-ver"), 0);
  EXPECT_EQ(env.arg(L"-x"), 0);
  EXPECT_EQ(env.arg(static_cast<const wchar_t*>(nullptr)), 0);
}

TEST(StartEnvTest, PlainArgumentsSkipOptions)
{
  CommandLine line{L"prog", L"-v", L"one", L"-d", L"two"};
  StartEnv env(line.argc(), line.argv());
  EXPECT_EQ(env.nargs(), 2);
  EXPECT_EQ(orNull(env.arg(0u)), L"prog");
  EXPECT_EQ(orNull(env.arg(1u)), L"one");
  EXPECT_EQ(orNull(env.arg(2u)), L"two");
  EXPECT_EQ(env.arg(3u), nullptr);

  CommandLine empty{L"prog"};
  StartEnv none(empty.argc(), empty.argv());
  EXPECT_EQ(none.nargs(), 0);
  EXPECT_EQ(none.arg(1u), nullptr);
}

TEST(StartEnvTest, HostOptionTextDecidesWhichOptionsTakeAValue)
{
  CommandLine line{L"prog", L"a", L"-o", L"out.txt", L"-q", L"in.txt"};
  StartEnv undescribed(line.argc(), line.argv());
  // Before the host has described its options, the value is a plain word.
  EXPECT_EQ(undescribed.nargs(), 3);

  StartEnv env(line.argc(), line.argv());
  EXPECT_TRUE(env.usage(L"-o <file> -q", 2, 2, nullptr).empty());
  // A walk that stopped on an option does not spoil the next one.
  EXPECT_EQ(orNull(env.optionArg(L"-o")), L"out.txt");
  EXPECT_EQ(env.nargs(), 2);
  EXPECT_EQ(orNull(env.arg(1u)), L"a");
  EXPECT_EQ(orNull(env.arg(2u)), L"in.txt");
  EXPECT_EQ(env.optionArg(L"-q"), nullptr); // followed by a plain word, but takes no value
  EXPECT_EQ(env.optionArg(L"-z"), nullptr);

  // A value is neither another option nor past the end.
  CommandLine dashed{L"prog", L"-o", L"-q"};
  StartEnv a(dashed.argc(), dashed.argv());
  a.usage(L"-o <file> -q", 0, -1, nullptr);
  EXPECT_EQ(a.optionArg(L"-o"), nullptr);
  CommandLine last{L"prog", L"-o"};
  StartEnv b(last.argc(), last.argv());
  b.usage(L"-o <file>", 0, -1, nullptr);
  EXPECT_EQ(b.optionArg(L"-o"), nullptr);
  EXPECT_EQ(b.nargs(), 0);
}

TEST(StartEnvTest, UsageReportsTheFirstProblemThenTheUsageLine)
{
  struct Case
  {
    std::initializer_list<const wchar_t*> words;
    int min;
    int max;
    std::wstring expected;
  };
  const std::wstring usageLine = L"Usage: prog -o <file> [-q]\n";
  const Case cases[] = {
      {{L"prog", L"in"}, 1, 1, L""},
      {{L"prog", L"-d", L"-help", L"in"}, 1, 1, L""}, // built-ins need no mention
      {{L"prog", L"-z", L"in"}, 1, 1, L"unrecognised option `-z'.\n" + usageLine},
      {{L"prog", L"-z", L"-y"}, 5, 1, L"unrecognised option `-z'.\n" + usageLine},
      {{L"prog", L"one"}, 2, 2, L"Expected at least 2 arguments.\n" + usageLine},
      {{L"prog"}, 1, 3, L"Expected at least 1 argument.\n" + usageLine},
      {{L"prog", L"a", L"b", L"c"}, 0, 2, L"too many arguments.\n" + usageLine},
      {{L"prog", L"a", L"b", L"c", L"d", L"e"}, 2, 1, L""}, // max below min: no limit
      {{L"prog", L"-o", L"out", L"a"}, 0, 1, L""},          // the value is not counted
  };
  for (const Case& c : cases) {
    CommandLine line(c.words);
    StartEnv env(line.argc(), line.argv());
    EXPECT_EQ(text(env.usage(L"-o <file> [-q]", c.min, c.max, nullptr)), c.expected);
  }
}

TEST(StartEnvTest, UsageMessageCombinesPreambleAndOptionText)
{
  CommandLine line{L"tool", L"-z"};
  StartEnv env(line.argc(), line.argv());
  EXPECT_EQ(text(env.usageMsg()), L"");

  EXPECT_EQ(text(env.usage(L"-o <file>", 0, -1, L"Tool 1.0")),
            L"unrecognised option `-z'.\nTool 1.0\nUsage: tool -o <file>\n");
  EXPECT_EQ(text(env.usageMsg()), L"Tool 1.0\nUsage: tool -o <file>\n");

  StartEnv preambleOnly(line.argc(), line.argv());
  EXPECT_EQ(text(preambleOnly.usage(nullptr, 0, -1, L"Tool 1.0")), L"unrecognised option `-z'.\nTool 1.0\n");

  StartEnv neither(line.argc(), line.argv());
  EXPECT_EQ(text(neither.usage(nullptr, 0, -1, nullptr)), L"unrecognised option `-z'.\n");
}

TEST(StartEnvTest, HelpOptionListsTheBuiltInOptionsOnTheConsole)
{
  herc_init();
  showDebugWindow(true);
  ASSERT_TRUE(debugWindowIsVisible());
  CommandLine line{L"prog", L"-help"};
  StartEnv env(line.argc(), line.argv());
  env.init();

  Zr::Ptr<iStatusWindow> w = herc_window();
  ASSERT_TRUE(w);
  const int bottom = w->height() - 2; // the row that prints next, now empty
  auto row = [&](int y) {
    LightweightString<wchar_t> l = w->getLine(y);
    std::wstring s(l.c_str(), l.size());
    return s.substr(0, s.find_last_not_of(L' ') + 1);
  };
  EXPECT_EQ(row(bottom), L"");
  EXPECT_EQ(row(bottom - 1), L"-help           Help");
  EXPECT_EQ(row(bottom - 2), L"-v              verbose mode");
  EXPECT_EQ(row(bottom - 3), L"-d              debug mode");
  showDebugWindow(false);
}

} // namespace
