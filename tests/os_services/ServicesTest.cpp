// The small services of OS(): allocator, clock, key table, stack traces,
// message box, system information and the keep-alive.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "libOS/OS.h"
#include "support/TestEnv.h"

namespace {

TEST(Allocator, LiveFiguresFollowAllocateReallocateAndRelease)
{
  iAllocator* a = OS()->allocator();
  const size_t blocks = a->liveBlocks();
  const size_t bytes = a->liveBytes();
  char* p = static_cast<char*>(a->allocate(1000));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(a->liveBlocks(), blocks + 1);
  EXPECT_GE(a->liveBytes(), bytes + 1000);
  std::memcpy(p, "0123456789abcdef", 16);
  p = static_cast<char*>(a->reallocate(p, 1 << 20));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(std::memcmp(p, "0123456789abcdef", 16), 0);
  EXPECT_GE(a->liveBytes(), bytes + (1 << 20));
  EXPECT_EQ(a->liveBlocks(), blocks + 1);
  a->release(p);
  a->release(nullptr);
  EXPECT_EQ(a->liveBlocks(), blocks);
  EXPECT_EQ(a->liveBytes(), bytes);
  void* fresh = a->reallocate(nullptr, 8);
  EXPECT_EQ(a->liveBlocks(), blocks + 1);
  a->release(fresh);
}

TEST(Allocator, FlushHandsPooledMemoryBack)
{
  iAllocator* a = OS()->allocator();
  // Free many small blocks so that the pool holds memory, then flush it.
  std::vector<void*> blocks;
  for (int i = 0; i < 4000; ++i) blocks.push_back(a->allocate(1024));
  for (void* b : blocks) a->release(b);
  a->flush();
  EXPECT_FALSE(a->canDoMore());
}

TEST(Atomics, DecrementGivesTheNewValueAndSwapGivesTheOld)
{
  unsigned int w = 5;
  EXPECT_EQ(OS()->atomics()->increment(&w), 6u);
  EXPECT_EQ(OS()->atomics()->decRef(&w), 5u);
  EXPECT_EQ(OS()->atomics()->compareAndSwap(&w, 9u, 4u), 5u); // expected wrong: unchanged
  EXPECT_EQ(w, 5u);
  EXPECT_EQ(OS()->atomics()->compareAndSwap(&w, 9u, 5u), 5u);
  EXPECT_EQ(w, 9u);
  int a = 0, b = 0;
  void* slot = &a;
  EXPECT_EQ(OS()->atomics()->compareAndSwapPointer(&slot, &b, &b), &a);
  EXPECT_EQ(slot, &a);
  EXPECT_EQ(OS()->atomics()->compareAndSwapPointer(&slot, &b, &a), &a);
  EXPECT_EQ(slot, &b);
}

TEST(Timer, CountsMillisecondsOfASleep)
{
  const double before = OS()->timer()->getMilliseconds();
  OS()->threadMgr()->sleep(20);
  const double slept = OS()->timer()->getMilliseconds() - before;
  EXPECT_GE(slept, 20.0);
  EXPECT_LT(slept, 5000.0);
}

TEST(Keyboard, TableIsSetByTheHostForAnyKeyCode)
{
  iKeyboard* k = OS()->keyboard();
  k->setKeyDown(27, true);
  k->setKeyDown(0x2000000, true);
  EXPECT_TRUE(k->isKeyDown(27));
  EXPECT_TRUE(k->isKeyDown(0x2000000));
  EXPECT_FALSE(k->isKeyDown(32));
  k->setKeyDown(27, false);
  EXPECT_FALSE(k->isKeyDown(27));
  k->clear();
  EXPECT_FALSE(k->isKeyDown(0x2000000));
}

// Internal linkage on purpose: the trace names functions the dynamic linker does not know.
[[gnu::noinline]] std::vector<LightweightString<char>> traceFromNamedFunction()
{
  std::vector<LightweightString<char>> lines = OS()->debug()->getStackTrace();
  asm volatile("" ::: "memory"); // keeps the call from becoming a tail call
  return lines;
}

TEST(Debug, StackTraceNamesTheCallerDemangled)
{
  const auto lines = traceFromNamedFunction();
  ASSERT_GT(lines.size(), 2u);
  EXPECT_EQ(std::strncmp(lines[0].c_str(), "#0 ", 3), 0) << lines[0].c_str();
  EXPECT_NE(std::string(lines[0].c_str()).find("traceFromNamedFunction()"), std::string::npos)
      << lines[0].c_str();
  // Skipping drops the innermost frames.
  const auto skipped = OS()->debug()->getStackTrace(1);
  ASSERT_FALSE(skipped.empty());
  EXPECT_EQ(std::string(skipped[0].c_str()).find("traceFromNamedFunction"), std::string::npos);
}

TEST(MessageBox, DefaultWritesToStandardErrorAndChangesNothingUntilTheHostSetsASink)
{
  iMessageBox* box = OS()->messageBox();
  testing::internal::CaptureStderr();
  EXPECT_EQ(box->show(L"Disk full \u00e9", L"Korvane", iMessageBox::eOK), iMessageBox::eResultOK);
  EXPECT_EQ(box->show(L"Delete?", L"Korvane", iMessageBox::eYesNo), iMessageBox::eResultNo);
  EXPECT_EQ(box->show(L"Go on?", L"Korvane", iMessageBox::eOKCancel), iMessageBox::eResultCancel);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("[Korvane] Disk full \xc3\xa9"), std::string::npos) << err;

  LightweightString<wchar_t> seen;
  box->setSink([&](const LightweightString<wchar_t>& text, const LightweightString<wchar_t>& title, int) {
    seen = title + L": " + text;
    return int(iMessageBox::eResultYes);
  });
  EXPECT_EQ(box->show(L"Really?", L"Q", iMessageBox::eYesNo), iMessageBox::eResultYes);
  box->setSink(nullptr);
  EXPECT_TRUE(seen == L"Q: Really?");
}

TEST(SystemInfo, MemoryFiguresAreConsistent)
{
  iSystemInfo::MemoryInfo info;
  ASSERT_TRUE(OS()->systemInfo()->getMemoryInfo(info));
  EXPECT_GT(info.totalPhysical, 0u);
  EXPECT_LE(info.freePhysical, info.totalPhysical);
  EXPECT_GT(info.processSize, 0u);
  EXPECT_LT(info.processSize, info.totalPhysical);
  EXPECT_GT(info.totalAddressSpace, 0u);
  EXPECT_LE(info.freeAddressSpace, info.totalAddressSpace);
  EXPECT_EQ(info.poolLimit, OS()->allocator()->poolLimit());
  EXPECT_GE(OS()->systemInfo()->getProcessorCount(), 1u);
}

TEST(KeepAlive, TellsTheNotifySocketOnlyWhenSet)
{
  unsetenv("NOTIFY_SOCKET");
  EXPECT_FALSE(OS()->keepAlive());

  const std::string path = zrtest::makeTempDir("notify") + "sock";
  int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ASSERT_GE(fd, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof addr.sun_path);
  std::strcpy(addr.sun_path, path.c_str());
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  setenv("NOTIFY_SOCKET", path.c_str(), 1);
  EXPECT_TRUE(OS()->keepAlive());
  unsetenv("NOTIFY_SOCKET");
  char buf[64] = {};
  const ssize_t n = recv(fd, buf, sizeof buf - 1, MSG_DONTWAIT);
  close(fd);
  EXPECT_EQ(std::string(buf, n > 0 ? size_t(n) : 0), "WATCHDOG=1");
}

} // namespace
