#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "KeysTestSupport.h"
#include "keys/CommandMap.h"
#include "keys/CommandRegistrar.h"

namespace {

using keystest::stdoutOf;
constexpr unsigned int kNone = CommandMap::kNoCommand;

// Which functions ran, in order, and the last context one of them saw.
std::string ran;
Cmd::Context seen;

void commandA(const Cmd::Context& c)
{
  ran += 'a', seen = c;
}
void commandB(const Cmd::Context& c)
{
  ran += 'b', seen = c;
}
void plainP()
{
  ran += 'p';
}
void plainQ()
{
  ran += 'q';
}

const char kTaken[] = "assertion failed it == map_.end() at misc/cmdmap line 118\n";

class CommandMapTest : public testing::Test
{
protected:
  void SetUp() override { ran.clear(); }

  unsigned int add(const char* name, void (*fn)(const Cmd::Context&), void* userData = nullptr,
                   const UIString& displayName = UIString())
  {
    return map.registerCommand(name, fn, userData, 0, displayName, UIString(), MapItem());
  }
  unsigned int addPlain(const char* name, void (*fn)(), int scope = 1,
                        const UIString& displayName = UIString())
  {
    return map.registerCommand(name, fn, displayName, UIString(), CommandMap::eCmdScope(scope), MapItem());
  }

  CommandMap map;
};

TEST_F(CommandMapTest, OneNameTakesOneFunction)
{
  const unsigned int a = add("a", &commandA);
  const unsigned int p = addPlain("p", &plainP);
  EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(add("a", &commandA), a); }), "");
  EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(addPlain("p", &plainP), p); }), "");

  EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(add("a", &commandB), kNone); }), kTaken);
  // The simple form compares the plain functions, not the redirector they share.
  EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(addPlain("p", &plainQ), kNone); }), kTaken);

  map.callCommand("a", Cmd::Context());
  map.callCommand("p", Cmd::Context());
  EXPECT_EQ(ran, "ap");
  EXPECT_EQ(map.size(), 2u);
}

TEST_F(CommandMapTest, DeregisteredCommandLeavesAnInvalidRecordAndItsNumberIsNotReused)
{
  const unsigned int unnamed = add("", &commandB);
  const unsigned int a = add("a", &commandA, nullptr, UIString(L"Shown"));
  ASSERT_TRUE(map.deregisterCommand(a));
  // A second time must not take the empty name from the command that has it.
  EXPECT_TRUE(map.deregisterCommand(a));
  EXPECT_EQ(map.findCommand(""), unnamed);

  EXPECT_EQ(map.findCommand("a"), kNone);
  EXPECT_EQ(map.findCommandByDisplayName(L"Shown"), kNone);
  const CommandMapRec* old = map.getCommand(a);
  ASSERT_NE(old, nullptr);
  EXPECT_FALSE(old->valid());
  EXPECT_TRUE(old->commandName().empty());
  map.callCommand(a, Cmd::Context());
  EXPECT_EQ(ran, "");

  EXPECT_EQ(add("a", &commandA), 2u);
  EXPECT_EQ(map.findCommand("a"), 2u);
  EXPECT_FALSE(map.deregisterCommand(3));
  EXPECT_FALSE(map.deregisterCommand(kNone));
}

TEST_F(CommandMapTest, CallsOfNoCommandDoNothing)
{
  add("a", &commandA);
  map.callCommand("unknown", Cmd::Context());
  map.callCommand(static_cast<const char*>(nullptr), Cmd::Context());
  map.callCommand(kNone, Cmd::Context());
  map.callCommand(1, Cmd::Context());
  EXPECT_EQ(ran, "");
  EXPECT_EQ(map.getCommand(kNone), nullptr);
  EXPECT_EQ(map.getCommand(1), nullptr);
}

TEST_F(CommandMapTest, FunctionSeesTheCallersContextWithTheRegistrationsUserData)
{
  int mine = 0;
  int theirs = 0;
  map.callCommand(add("a", &commandA, &mine), Cmd::Context{2, &theirs, &theirs});
  EXPECT_EQ(seen.eventType, 2);
  EXPECT_EQ(seen.callerContext_, &theirs);
  EXPECT_EQ(seen.userData, &mine);

  // A plain function cannot read a caller context, so passing one is reported.
  const unsigned int p = addPlain("p", &plainP);
  EXPECT_EQ(stdoutOf([&] { map.callCommand(p, Cmd::Context()); }), "");
  EXPECT_EQ(stdoutOf([&] {
              map.callCommand(p, Cmd::Context{0, &theirs, nullptr});
            }),
            "assertion failed context.callerContext_ == NULL at misc/cmdmap line 57\n");
  EXPECT_EQ(ran, "app");
}

TEST_F(CommandMapTest, ScopeDecidesWhetherACommandIsUserVisible)
{
  keystest::useStrings("next IDS_SHOWN 500\nIDS_SHOWN=Shown command\nIDS_BLANK=\n");
  const struct
  {
    int scope;
    UIString displayName;
    unsigned int attributes;
    const wchar_t* shown;
  } cases[] = {
      {1, UIString(), 2, L""},
      {2, UIString(L"Text"), 2, L"Text"},
      {2, UIString(), 0, L""},
      {2, UIString(500, eResStrUpper), 2, L"SHOWN COMMAND"},
      {2, UIString(501), 0, L""}, // a resource with no text
      {0, UIString(L"Text"), 0, L"Text"},
      {3, UIString(500), 0, L"Shown command"},
  };
  int n = 0;
  for (const auto& c : cases) {
    const CommandMapRec* record =
        map.getCommand(addPlain(std::to_string(n++).c_str(), &plainP, c.scope, c.displayName));
    ASSERT_NE(record, nullptr) << n;
    EXPECT_EQ(record->attribs(), c.attributes) << n;
    EXPECT_EQ(record->displayName(), c.shown) << n;
  }
}

TEST_F(CommandMapTest, FindsByDisplayNameIgnoringCaseFirstInIndexOrder)
{
  add("first", &commandA, nullptr, UIString(L"Play Été"));
  const unsigned int second = add("second", &commandB, nullptr, UIString(L"Stop"));
  add("third", &commandB, nullptr, UIString(L"STOP"));
  EXPECT_EQ(map.findCommandByDisplayName(L"stop"), second);
  EXPECT_EQ(map.findCommandByDisplayName(L"PLAY ÉTÉ"), 0u);
  EXPECT_EQ(map.findCommandByDisplayName(L"Sto"), kNone);
  EXPECT_EQ(map.findCommandByDisplayName(L""), kNone);
}

// Replacing the process's instance is tried in a child; the exit code says
// which step failed.
int replaceTheInstance()
{
  CommandMap* fresh = new CommandMap;
  CommandMap::theCommandMap(fresh);
  CommandMap::theCommandMap(fresh); // the same one again is kept
  if (CommandMap::instance() != fresh || fresh->findCommand("_Crash") != kNone) return 1;
  const CommandRegistrar registrar("x", &plainP, UIString(), UIString(), CommandMap::eCmdScopeAlways,
                                   MapItem());
  if (registrar.index() != 0 || fresh->findCommand("x") != 0) return 2;
  CommandMap::theCommandMap(nullptr);
  return CommandMap::instance()->size() == 0 ? 0 : 3;
}

TEST(CommandMapInstanceTest, ReplacingTheInstanceDropsTheOldTable)
{
  EXPECT_EXIT(std::exit(replaceTheInstance()), testing::ExitedWithCode(0), "");
}

} // namespace
