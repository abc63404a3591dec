#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "logging/DebugConsole.h"

namespace {

// Runs fn and gives what it printed on standard output.
template <class Fn> std::string printedBy(Fn fn)
{
  testing::internal::CaptureStdout();
  fn();
  return testing::internal::GetCapturedStdout();
}

// The text of one log line, after its time stamp; "" when the line does not
// have the "%-9.3f: " form.
std::string logged(const std::string& line)
{
  static const std::regex form(R"(([0-9]+\.[0-9]{3}) *: ([\s\S]*))");
  std::smatch m;
  if (!std::regex_match(line, m, form) || m.position(2) < 11) return "";
  return m[2];
}

const std::string kDropped500 = "assertion failed false at misc/herc line 500\n";
const std::string kDropped518 = "assertion failed false at misc/herc line 518\n";
const std::string kDropped482 = "assertion failed false at misc/herc line 482\n";

class LogTest : public testing::Test
{
protected:
  void TearDown() override { SetLogFilter(nullptr); }
};

TEST_F(LogTest, StampsEachMessageWithSecondsSinceStart)
{
  const std::string out = printedBy([] { Log("hello %d\n", 42); });
  EXPECT_EQ(logged(out), "hello 42\n") << out;
  const double seconds = std::stod(out);
  EXPECT_GE(seconds, 0.0);
  EXPECT_LT(seconds, 3600.0);
  // Left-aligned in 9 characters, then ": ".
  EXPECT_EQ(out.substr(9, 2), ": ") << out;
}

TEST_F(LogTest, FilterLooksAtTheFormatNotTheArguments)
{
  SetLogFilter("keep");
  EXPECT_EQ(logged(printedBy([] { Log("keep %s\n", "this"); })), "keep this\n");
  EXPECT_EQ(printedBy([] { Log("drop %s\n", "keep"); }), "");
  EXPECT_EQ(printedBy([] { LogBoth("drop %s\n", "keep"); }), "");
  EXPECT_EQ(printedBy([] { Log(L"wide drop %ls\n", L"keep"); }), "");
  EXPECT_EQ(logged(printedBy([] { Log(L"wide keep\n"); })), "wide keep\n");
  EXPECT_EQ(printedBy([] { LogString("plain\n"); }), "");

  SetLogFilter("");
  EXPECT_EQ(logged(printedBy([] { Log("drop %s\n", "again"); })), "drop again\n");
  SetLogFilter("keep");
  SetLogFilter(nullptr);
  EXPECT_EQ(logged(printedBy([] { Log("anything\n"); })), "anything\n");
}

TEST_F(LogTest, MessagesUpTo255BytesPassAndLongerOnesAreDropped)
{
  const std::string fits(255, 'a');
  const std::string tooLong(256, 'b');
  EXPECT_EQ(logged(printedBy([&] { Log("%s", fits.c_str()); })), fits);
  EXPECT_EQ(printedBy([&] { Log("%s", tooLong.c_str()); }), kDropped500);
  EXPECT_EQ(printedBy([] { Log("%s", ""); }), kDropped500);

  EXPECT_EQ(logged(printedBy([&] { LogBoth("%s", fits.c_str()); })), fits);
  EXPECT_EQ(printedBy([&] { LogBoth("%s", tooLong.c_str()); }), kDropped482);

  EXPECT_EQ(logged(printedBy([&] { LogString(fits.c_str()); })), fits);
  EXPECT_EQ(logged(printedBy([] { LogString("100%d %s\n"); })), "100%d %s\n"); // not a format
  EXPECT_EQ(printedBy([&] { LogString(tooLong.c_str()); }), kDropped500);
  EXPECT_EQ(printedBy([] { LogString(""); }), kDropped500);
}

TEST_F(LogTest, WideMessagesHaveTheirOwnLimitAndComeOutAsUtf8)
{
  EXPECT_EQ(logged(printedBy([] { Log(L"caf\u00e9 %d \u65e5\n", 5); })), "caf\xc3\xa9 5 \xe6\x97\xa5\n");
  const std::wstring fits(255, L'\u00e9'); // 255 characters, 510 bytes once encoded
  const std::wstring tooLong(256, L'x');
  EXPECT_EQ(logged(printedBy([&] { Log(L"%ls", fits.c_str()); })).size(), 510u);
  EXPECT_EQ(printedBy([&] { Log(L"%ls", tooLong.c_str()); }), kDropped518);
  EXPECT_EQ(printedBy([] { Log(L""); }), kDropped518);

  EXPECT_EQ(logged(printedBy([] { LogStringW(L"100%d \u00e9\n"); })), "100%d \xc3\xa9\n");
  EXPECT_EQ(printedBy([&] { LogStringW(tooLong.c_str()); }), kDropped518);
}

} // namespace
