#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "core/Crash.h"
#include "deferred/SystemWatchdog.h"
#include "threads/CoprocessTestSupport.h"

namespace {

using cotest::kWillHappenMs;

// Waits until the heart has beaten `beats` more times; false at the limit.
bool beatsMore(unsigned int beats)
{
  const unsigned int target = SystemWatchdog::heartbeatCount() + beats;
  for (unsigned int waited = 0; waited < kWillHappenMs; waited += 10) {
    if (SystemWatchdog::heartbeatCount() >= target) return true;
    OS()->threadMgr()->sleep(10);
  }
  return false;
}

TEST(WatchdogTest, HeartbeatSetsTheNamedEventThatAWatcherOpens)
{
  Zr::Ptr<iThreadEvent> watcher = OS()->threadMgr()->createEvent(
      true, false, "SpawnWatchdogHeartbeatEvent {C5681AE0-CD18-4828-84C9-DE6891CAFEAC}");
  ASSERT_TRUE(watcher);
  watcher->reset();
  const unsigned int before = SystemWatchdog::heartbeatCount();
  SystemWatchdog::heartbeat();
  EXPECT_EQ(watcher->wait(0), iWaitable::eWaitSuccess);
  EXPECT_EQ(SystemWatchdog::heartbeatCount(), before + 1);
}

TEST(WatchdogTest, TheHeartBeatsUntilTheLastHolderEnds)
{
  SystemWatchdog::beginLifeSupport();
  SystemWatchdog::beginLifeSupport();
  SystemWatchdog::endLifeSupport();
  // One holder is left: beat after beat keeps coming.
  EXPECT_TRUE(beatsMore(3));

  SystemWatchdog::endLifeSupport();
  // A beat already under way may land; after that the heart is still.
  OS()->threadMgr()->sleep(1500);
  const unsigned int stopped = SystemWatchdog::heartbeatCount();
  OS()->threadMgr()->sleep(1500);
  EXPECT_EQ(SystemWatchdog::heartbeatCount(), stopped);

  // Life support can start again.
  SystemWatchdog::beginLifeSupport();
  EXPECT_TRUE(beatsMore(2));
  SystemWatchdog::endLifeSupport();
}

struct ShownBox
{
  LightweightString<wchar_t> text, title;
  bool beatWhileShown = false;
  int calls = 0;
};

class ShowErrorTest : public ::testing::Test
{
protected:
  void SetUp() override
  {
    OS()->messageBox()->setSink(
        [this](const LightweightString<wchar_t>& text, const LightweightString<wchar_t>& title, int) {
          ++shown_.calls;
          shown_.text = text;
          shown_.title = title;
          // The user takes a while to answer: the heart must not stop meanwhile.
          shown_.beatWhileShown = beatsMore(2);
          return int(iMessageBox::eResultOK);
        });
  }
  void TearDown() override { OS()->messageBox()->setSink(iMessageBox::Sink()); }

  ShownBox shown_;
};

TEST_F(ShowErrorTest, ShowsTheTextUnderTheProductTitleWithTheHeartBeating)
{
  showError("Disk full on drive E:", true);
  EXPECT_EQ(shown_.calls, 1);
  EXPECT_EQ(shown_.text, LightweightString<wchar_t>(L"Disk full on drive E:"));
  EXPECT_EQ(shown_.title, LightweightString<wchar_t>(L"Korvane"));
  EXPECT_TRUE(shown_.beatWhileShown);
}

TEST_F(ShowErrorTest, WithoutTheDialogFlagNothingIsShown)
{
  showError("quiet", false);
  EXPECT_EQ(shown_.calls, 0);
}

} // namespace
