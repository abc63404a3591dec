#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "core/Service.h"
#include "libOS/OS.h"

namespace {

unsigned int myThreadId()
{
  return OS()->threadMgr()->currentThreadId();
}

TEST(ServiceLockTest, OwnerIsTheThreadInsideAndZeroWhenFree)
{
  ASSERT_EQ(who_owns_service_lock(), 0u);
  service_disable();
  service_disable(); // the owner may enter again
  EXPECT_EQ(who_owns_service_lock(), myThreadId());
  service_enable();
  EXPECT_EQ(who_owns_service_lock(), myThreadId());
  service_enable();
  EXPECT_EQ(who_owns_service_lock(), 0u);
}

TEST(ServiceLockTest, AnotherThreadWaitsUntilTheOwnerLeaves)
{
  service_disable();
  std::atomic<bool> entered{false};
  std::atomic<unsigned int> seenOwner{0};
  std::atomic<unsigned int> seenOwnerWhileWaiting{0};
  std::thread other([&] {
    service_disable();
    entered = true;
    seenOwner = who_owns_service_lock();
    service_enable();
  });
  while (seenOwnerWhileWaiting == 0) seenOwnerWhileWaiting = who_owns_service_lock();
  OS()->threadMgr()->sleep(50);
  EXPECT_FALSE(entered);
  EXPECT_EQ(seenOwnerWhileWaiting, myThreadId());
  service_enable();
  other.join();
  EXPECT_TRUE(entered);
  EXPECT_NE(seenOwner, 0u);
  EXPECT_NE(seenOwner, myThreadId());
  EXPECT_EQ(who_owns_service_lock(), 0u);
}

class KeyPollingTest : public testing::Test
{
protected:
  void TearDown() override { OS()->keyboard()->clear(); }
  void press(int code) { OS()->keyboard()->setKeyDown(code, true); }
};

TEST_F(KeyPollingTest, OnlyPlainEscapeAndSpaceInterrupt)
{
  EXPECT_FALSE(g_esc_or_space_pressed());
  EXPECT_EQ(qor_check_interrupt(), 0);
  struct Case
  {
    int code;
    bool esc;
    bool interrupts;
  };
  // A modified Escape is another key code.
  for (const Case& c : {Case{27, true, true}, Case{32, false, true}, Case{'a', false, false},
                        Case{13, false, false}, Case{0x2000000 | 27, false, false}}) {
    OS()->keyboard()->clear();
    press(c.code);
    EXPECT_EQ(g_esc_pressed(), c.esc) << c.code;
    EXPECT_EQ(g_esc_or_space_pressed(), c.interrupts) << c.code;
    EXPECT_EQ(qor_check_interrupt(), c.interrupts ? 1 : 0) << c.code;
  }
}

TEST_F(KeyPollingTest, ModifiersAddUp)
{
  EXPECT_EQ(getKeyboardModifiers(), 0);
  for (int code : {0x2000000, 0x1000000, 0x4000000, 0x100000}) {
    press(code);
    EXPECT_EQ(getKeyboardModifiers(), code);
    OS()->keyboard()->clear();
  }
  press(0x2000000);
  press(0x100000);
  press('x');
  press(0x8000000);
  EXPECT_EQ(getKeyboardModifiers(), 0x2100000);
  press(0x1000000);
  press(0x4000000);
  EXPECT_EQ(getKeyboardModifiers(), 0x7100000);
}

TEST(ServiceClockTest, MillisecondsComeFromThePlatformClock)
{
  const double before = OS()->timer()->getMilliseconds();
  const double precise = service_get_msecs_precise();
  const int whole = service_get_msecs();
  const double after = OS()->timer()->getMilliseconds();
  EXPECT_LE(before, precise);
  EXPECT_LE(precise, after);
  EXPECT_LE(static_cast<int>(static_cast<long long>(precise)), whole);
  EXPECT_LE(whole, static_cast<int>(static_cast<long long>(after)));
}

} // namespace
