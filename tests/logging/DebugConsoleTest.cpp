#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "logging/DebugConsole.h"
#include "support/TestEnv.h"

namespace {

using ::testing::HasSubstr;

// A row of the console without its trailing blanks.
std::string row(int y)
{
  Zr::Ptr<iStatusWindow> w = herc_window();
  if (!w) return "<no window>";
  LightweightString<wchar_t> line = w->getLine(y);
  std::string s;
  for (unsigned int i = 0; i < line.size(); ++i) s.push_back(static_cast<char>(line.c_str()[i]));
  return s.substr(0, s.find_last_not_of(' ') + 1);
}

bool allBlank()
{
  Zr::Ptr<iStatusWindow> w = herc_window();
  for (int y = 0; y < w->height(); ++y)
    if (!row(y).empty()) return false;
  return true;
}

// Every test starts with a fresh, visible console.
class DebugConsoleTest : public testing::Test
{
protected:
  void SetUp() override
  {
    herc_shutdown();
    herc_init();
    showDebugWindow(true);
    ASSERT_TRUE(debugWindowIsVisible());
    width_ = herc_window()->width();
    height_ = herc_window()->height();
    bottom_ = height_ - 2;
  }
  void TearDown() override { herc_shutdown(); }

  int width_ = 0;
  int height_ = 0;
  int bottom_ = 0; // the message row that prints next
};

TEST_F(DebugConsoleTest, StartsHiddenWithTheDefaultShape)
{
  herc_shutdown();
  herc_init();
  EXPECT_FALSE(debugWindowIsVisible());
  EXPECT_FALSE(herc_window()->isVisible());
  EXPECT_EQ(width_, 80);
  EXPECT_EQ(height_, 25);
  EXPECT_FALSE(herc_window()->isOnTop());
}

TEST_F(DebugConsoleTest, OnlyAVisibleConsoleWritesAndLogBothReachesIt)
{
  showDebugWindow(false);
  herc_printf("message\n");
  herc_printf(1, 1, "placed");
  herc_putc(0, 0, 'c');
  herc_putstr(0, 3, "text");
  herc_status_write(0, "status");
  herc_status_write(0, 's');
  herc_message_write("more");
  LogBoth("both\n");
  EXPECT_TRUE(allBlank());

  showDebugWindow(true);
  testing::internal::CaptureStdout();
  LogBoth("both %d\n", 3);
  Log("log only\n");
  EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr(": both 3\n"));
  EXPECT_EQ(row(bottom_ - 1), "both 3");
}

TEST_F(DebugConsoleTest, MessagesPrintOnTheBottomRowAndMoveUp)
{
  herc_printf("one\ntwo\n%s", "thr");
  EXPECT_EQ(row(bottom_), "thr");
  EXPECT_EQ(row(bottom_ - 1), "two");
  EXPECT_EQ(row(bottom_ - 2), "one");
  EXPECT_EQ(row(bottom_ - 3), "");
}

TEST_F(DebugConsoleTest, LongLinesWrapAndControlCharactersMoveTheColumn)
{
  const std::string full(width_, '=');
  herc_printf("%s\n", full.c_str()); // exactly one row: no empty row after it
  EXPECT_EQ(row(bottom_ - 1), full);
  EXPECT_EQ(row(bottom_ - 2), "");

  herc_printf("%sx\n", full.c_str());
  EXPECT_EQ(row(bottom_ - 2), full);
  EXPECT_EQ(row(bottom_ - 1), "x");

  herc_printf("abc\rX\n");
  EXPECT_EQ(row(bottom_ - 1), "Xbc");
  herc_printf("a\tb\t\tc\n");
  EXPECT_EQ(row(bottom_ - 1), "a       b               c");
}

TEST_F(DebugConsoleTest, StatusLineStaysWhileMessagesScroll)
{
  herc_status_write(0, "status %d", 5);
  herc_status_write(10, '!');
  for (int i = 0; i < height_ + 5; ++i) herc_printf("line %d\n", i);
  EXPECT_EQ(row(height_ - 1), "status 5  !");
  EXPECT_EQ(row(bottom_ - 1), "line " + std::to_string(height_ + 4));
  EXPECT_EQ(row(0), "line " + std::to_string(height_ + 5 - bottom_));
}

TEST_F(DebugConsoleTest, CellOperationsReachTheGrid)
{
  herc_printf(3, 2, "at %d", 7);
  EXPECT_EQ(row(2), "   at 7");
  herc_putc(0, 2, '>');
  herc_putstr(8, 2, "end");
  EXPECT_EQ(row(2), ">  at 7 end");
  herc_deleol(5, 2);
  EXPECT_EQ(row(2), ">  at");

  herc_putstr(0, 3, "row three");
  herc_putstr(0, 4, "row four");
  herc_clear_rect(0, 3, 3, 4);
  EXPECT_EQ(row(3), "    three");
  EXPECT_EQ(row(4), "    four");
  herc_scroll(2, 4, 1);
  EXPECT_EQ(row(2), "    three");
  EXPECT_EQ(row(3), "    four");
  EXPECT_EQ(row(4), "");
  herc_putstr(width_ - 2, 5, "cut off");
  EXPECT_EQ(row(5), std::string(width_ - 2, ' ') + "cu");
}

TEST_F(DebugConsoleTest, VisibilityFollowsTheUserClosingTheWindow)
{
  struct Recorder : iStatusWindow::iEventHandler
  {
    void onClose() override { events += "close;"; }
    void onKey(int code) override { events += "key " + std::to_string(code) + ";"; }
    void onVisibilityChanged(bool v) override { events += v ? "shown;" : "hidden;"; }
    std::string events;
  };
  herc_shutdown();
  Zr::Ptr<Recorder> recorder(new Recorder);
  herc_init(recorder);
  showDebugWindow(true);
  herc_window()->postKey(65);
  herc_window()->postClose();
  EXPECT_FALSE(debugWindowIsVisible());
  EXPECT_EQ(recorder->events, "shown;key 65;hidden;close;");
  herc_printf("after close\n");
  EXPECT_TRUE(allBlank());

  // The window system showing it again is seen too.
  herc_window()->setVisible(true);
  EXPECT_TRUE(debugWindowIsVisible());
}

TEST_F(DebugConsoleTest, InitKeepsTheWindowAndWithoutOneToggleAssertsAndChangesNothing)
{
  Zr::Ptr<iStatusWindow> first = herc_window();
  herc_init();
  EXPECT_EQ(herc_window().get(), first.get());
  herc_shutdown();
  EXPECT_FALSE(herc_window());
  testing::internal::CaptureStdout();
  toggleHercWindow();
  showDebugWindow(true);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "assertion failed window_ at misc/herc line 558\n"
                                                    "assertion failed window_ at misc/herc line 558\n");
  EXPECT_FALSE(debugWindowIsVisible());
}

TEST_F(DebugConsoleTest, ToggleWin32DebugWritesItsBanners)
{
  const bool before = outputDebugStrings();
  testing::internal::CaptureStderr();
  toggleWin32Debug();
  const bool during = outputDebugStrings();
  toggleWin32Debug();
  const std::string banners = testing::internal::GetCapturedStderr();
  EXPECT_NE(during, before);
  EXPECT_EQ(outputDebugStrings(), before);
  const std::string on = "------------------ Korvane Win32 debug output ON ------------------\n  \n";
  const std::string off = "------------------ Korvane Win32 debug output OFF -----------------\n  \n";
  EXPECT_EQ(banners, before ? off + on : on + off);
}

TEST_F(DebugConsoleTest, MessagesFromManyThreadsStayWhole)
{
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < 50; ++i) herc_printf("thread %d message %03d\n", t, i);
    });
  for (std::thread& t : threads) t.join();
  const std::regex whole(R"(thread [0-3] message \d{3})");
  for (int y = 0; y < bottom_; ++y) EXPECT_TRUE(std::regex_match(row(y), whole)) << y << ": " << row(y);
  EXPECT_EQ(row(bottom_), "");
}

TEST(HercLtoaTest, WritesInAnyRadixRightAligned)
{
  struct Case
  {
    int value;
    int radix;
    int width;
    const char* expected;
  };
  const Case cases[] = {{0, 10, 0, "0"},
                        {255, 16, 0, "ff"},
                        {-42, 10, 5, "  -42"},
                        {12345, 10, 3, "12345"},
                        {7, 10, 3, "  7"},
                        {35, 36, 0, "z"},
                        {10, 99, 0, "10"},
                        {INT_MIN, 10, 0, "-2147483648"},
                        {INT_MAX, 16, 0, "7fffffff"}};
  for (const Case& c : cases) {
    char buffer[48];
    EXPECT_STREQ(herc_ltoa(c.value, buffer, c.radix, c.width), c.expected) << c.value << " " << c.radix;
  }
}

// Reads the shape the console was given at load time in a second process,
// whose settings come from a config.dat in the application folder.
ZR_CHILD_ROLE(console_shape)
{
  herc_init();
  Zr::Ptr<iStatusWindow> w = herc_window();
  if (!w) return 10;
  if (w->width() != 40) return 11;
  if (w->height() != 12) return 12;
  if (!w->isOnTop()) return 13;
  return 0;
}

TEST(DebugConsoleShapeTest, ComesFromTheSettingsReadAtLoad)
{
  const char* app = std::getenv("ZR_APP_DIR");
  ASSERT_NE(app, nullptr);
  const std::string config = std::string(app) + "/config.dat";
  zrtest::writeFile(config, "{\n  herc_width 40\n  herc_height 12\n  console_on_top 1\n}\n");
  const int rc = zrtest::runChild("console_shape");
  std::remove(config.c_str());
  EXPECT_EQ(rc, 0);
}

} // namespace
