#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "libzr/LoggingTraitsBase.h"
#include "support/TestEnv.h"

namespace {

std::string line(const char* what, void* object, unsigned long count)
{
  char buffer[128];
  std::snprintf(buffer, sizeof buffer, "pool Node: %s %p (free %lu)\n", what, object, count);
  return buffer;
}

class LoggingTraitsBaseTest : public ::testing::Test
{
protected:
  void TearDown() override { LoggingTraitsBase::setEnabled(false); }
  int objects_[4] = {};
};

TEST_F(LoggingTraitsBaseTest, CountsTrafficAndTheHighWaterMark)
{
  LoggingTraitsBase::setEnabled(false);
  LoggingTraitsBase traits("Node");
  // Out: 1, 2, 1, 2, 3, then all back.
  traits.ltb_beforePop(0);
  traits.ltb_afterPop(&objects_[0], 0);
  traits.ltb_beforePop(0);
  traits.ltb_afterPop(&objects_[1], 0);
  traits.ltb_beforePush(&objects_[0], 0);
  traits.ltb_afterPush(&objects_[0], 1);
  traits.ltb_beforePop(1);
  traits.ltb_afterPop(&objects_[0], 0);
  traits.ltb_beforePop(0);
  traits.ltb_afterPop(&objects_[2], 0);
  for (int i = 0; i < 3; ++i) {
    traits.ltb_beforePush(&objects_[i], unsigned(i));
    traits.ltb_afterPush(&objects_[i], unsigned(i) + 1);
  }
  EXPECT_EQ(traits.pops(), 4u);
  EXPECT_EQ(traits.pushes(), 4u);
  EXPECT_EQ(traits.heapPops(), 3u);
  EXPECT_EQ(traits.outstanding(), 0);
  EXPECT_EQ(traits.highWater(), 3);
}

TEST_F(LoggingTraitsBaseTest, WritesOneLinePerEventOnlyWhenEnabled)
{
  LoggingTraitsBase traits("Node");
  LoggingTraitsBase::setEnabled(true);
  EXPECT_TRUE(LoggingTraitsBase::enabled());
  testing::internal::CaptureStderr();
  traits.ltb_beforePop(2);
  traits.ltb_afterPop(&objects_[0], 1);
  traits.ltb_beforePush(&objects_[0], 1);
  traits.ltb_afterPush(&objects_[0], 2);
  LoggingTraitsBase::setEnabled(false);
  traits.ltb_afterPop(&objects_[0], 0);
  traits.ltb_afterPush(&objects_[0], 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            line("pop", &objects_[0], 1) + line("push", &objects_[0], 2));
}

TEST_F(LoggingTraitsBaseTest, PushWithoutAPopIsReported)
{
  LoggingTraitsBase traits("Node");
  testing::internal::CaptureStdout();
  traits.ltb_beforePush(&objects_[0], 0);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(printed.rfind("assertion failed ", 0), 0u) << printed;

  traits.ltb_afterPop(&objects_[0], 0);
  testing::internal::CaptureStdout();
  traits.ltb_beforePush(&objects_[0], 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

ZR_CHILD_ROLE(poolLogFromEnvironment)
{
  return LoggingTraitsBase::enabled() ? 0 : 1;
}

TEST_F(LoggingTraitsBaseTest, EnvironmentSwitchesLoggingOn)
{
  setenv("ZR_POOL_LOG", "1", 1);
  const int on = zrtest::runChild("poolLogFromEnvironment");
  setenv("ZR_POOL_LOG", "0", 1);
  const int off = zrtest::runChild("poolLogFromEnvironment");
  unsetenv("ZR_POOL_LOG");
  EXPECT_EQ(on, 0);
  EXPECT_EQ(off, 1);
}

} // namespace
