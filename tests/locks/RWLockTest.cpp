#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "LocksTestSupport.h"
#include "threads/RWLock.h"

namespace {

using lockstest::eventually;
using lockstest::Job;

TEST(RWLockTest, ReadersShareUpToTheirSlots)
{
  RWLock lock(RWLock::ePreferWriters, 3, 1);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(lock.enterAsReader(true));
  EXPECT_EQ(lock.readersIn(), 3);
  EXPECT_FALSE(lock.enterAsReader(true));
  EXPECT_FALSE(lock.enterAsWriter(true));
  for (int i = 0; i < 3; ++i) lock.leaveAsReader();
  EXPECT_EQ(lock.readersIn(), 0);
  ASSERT_TRUE(lock.enterAsWriter(true));
  lock.leaveAsWriter();
}

void enter(RWLock& lock, bool asWriter, bool tryOnly = false)
{
  ASSERT_TRUE(asWriter ? lock.enterAsWriter(tryOnly) : lock.enterAsReader(tryOnly));
}
void leave(RWLock& lock, bool asWriter)
{
  asWriter ? lock.leaveAsWriter() : lock.leaveAsReader();
}

TEST(RWLockTest, RefusedTriesGiveTheirSlotBack)
{
  // One slot of each kind: had a refused try kept its slot, the later try would fail.
  struct Case
  {
    RWLock::ePrioritisation prioritisation;
    bool holderWrites, triesToWrite;
  };
  for (const Case& c : {Case{RWLock::ePreferWriters, true, false}, Case{RWLock::ePreferNeither, false, true},
                        Case{RWLock::ePreferWriters, true, true}}) {
    SCOPED_TRACE(testing::Message() << c.holderWrites << c.triesToWrite);
    RWLock lock(c.prioritisation, 1, 1);
    enter(lock, c.holderWrites);
    for (int i = 0; i < 2; ++i)
      EXPECT_FALSE(c.triesToWrite ? lock.enterAsWriter(true) : lock.enterAsReader(true));
    leave(lock, c.holderWrites);
    enter(lock, c.triesToWrite, true);
    leave(lock, c.triesToWrite);
    EXPECT_EQ(lock.readersIn() + lock.writersIn(), 0);
  }
}

TEST(RWLockTest, WritersShareWhenGivenMoreThanOneSlot)
{
  RWLock lock(RWLock::ePreferWriters, 10, 2);
  ASSERT_TRUE(lock.enterAsWriter(true));
  ASSERT_TRUE(lock.enterAsWriter(true));
  EXPECT_EQ(lock.writersIn(), 2);
  EXPECT_FALSE(lock.enterAsWriter(true));
  EXPECT_FALSE(lock.enterAsReader(true));
  lock.leaveAsWriter();
  EXPECT_FALSE(lock.enterAsReader(true));
  lock.leaveAsWriter();
  EXPECT_TRUE(lock.enterAsReader(true));
  lock.leaveAsReader();
}

TEST(RWLockTest, LastReaderOutWithNoWriterWaitingLeavesTheLockFree)
{
  // Were mutex kept by the last reader, the next entry would block for ever;
  // were writeGate left closed, a waiting writer would never wake later.
  RWLock lock(RWLock::ePreferWriters, 5, 1);
  ASSERT_TRUE(lock.enterAsReader(false));
  ASSERT_TRUE(lock.enterAsReader(false));
  lock.leaveAsReader();
  lock.leaveAsReader();
  Job writer([&] {
    lock.enterAsWriter(false);
    lock.leaveAsWriter();
  });
  EXPECT_TRUE(eventually([&] { return writer.done(); }));
  ASSERT_TRUE(lock.enterAsReader(false));
  Job secondWriter([&] {
    lock.enterAsWriter(false);
    lock.leaveAsWriter();
  });
  ASSERT_TRUE(eventually([&] { return lock.writersWaiting() == 1; }));
  lock.leaveAsReader();
  EXPECT_TRUE(eventually([&] { return secondWriter.done(); }));
  EXPECT_EQ(lock.writersWaiting(), 0);
}

TEST(RWLockTest, WriterLeavingWakesEverySleepingReader)
{
  constexpr int kReaders = 6;
  RWLock lock(RWLock::ePreferWriters, 100, 1);
  ASSERT_TRUE(lock.enterAsWriter(false));
  std::atomic<bool> release{false};
  std::vector<std::unique_ptr<Job>> readers;
  for (int i = 0; i < kReaders; ++i)
    readers.push_back(std::make_unique<Job>([&] {
      lock.enterAsReader(false);
      while (!release.load()) std::this_thread::yield();
      lock.leaveAsReader();
    }));
  ASSERT_TRUE(eventually([&] { return lock.readersWaiting() == kReaders; }));
  EXPECT_EQ(lock.readersIn(), 0);

  lock.leaveAsWriter();
  // All of them are inside together, none left behind on the gate.
  EXPECT_TRUE(eventually([&] { return lock.readersIn() == kReaders; }));
  EXPECT_EQ(lock.readersWaiting(), 0);
  EXPECT_FALSE(lock.enterAsWriter(true));

  release.store(true);
  for (auto& reader : readers) reader->join();
  EXPECT_EQ(lock.readersIn(), 0);
  EXPECT_TRUE(lock.enterAsWriter(true));
  lock.leaveAsWriter();
}

struct PreferenceCase
{
  RWLock::ePrioritisation prioritisation;
  bool readerWaitsBehindWaitingWriter;
  bool writerWaitsBehindWaitingReader;
};

class RWLockPreferenceTest : public ::testing::TestWithParam<PreferenceCase>
{
};

TEST_P(RWLockPreferenceTest, ReaderArrivingWhileAWriterWaits)
{
  RWLock lock(GetParam().prioritisation, 100, 1);
  ASSERT_TRUE(lock.enterAsReader(false));
  std::atomic<bool> writerWasIn{false};
  Job writer([&] {
    lock.enterAsWriter(false);
    writerWasIn.store(true);
    lock.leaveAsWriter();
  });
  ASSERT_TRUE(eventually([&] { return lock.writersWaiting() == 1; }));

  std::atomic<bool> readerSawWriter{false};
  Job reader([&] {
    lock.enterAsReader(false);
    readerSawWriter.store(writerWasIn.load());
    lock.leaveAsReader();
  });
  // Checks go on after a failure, so that every thread still gets out.
  if (GetParam().readerWaitsBehindWaitingWriter) {
    EXPECT_TRUE(eventually([&] { return lock.readersWaiting() == 1; }));
    if (lock.enterAsReader(true)) {
      ADD_FAILURE() << "a try must not pass a waiting writer";
      lock.leaveAsReader();
    }
    EXPECT_EQ(lock.readersIn(), 1);
    lock.leaveAsReader();
    writer.join();
    reader.join();
    EXPECT_TRUE(readerSawWriter.load());
  } else {
    EXPECT_TRUE(eventually([&] { return reader.done(); }));
    EXPECT_FALSE(readerSawWriter.load());
    EXPECT_EQ(lock.writersWaiting(), 1);
    lock.leaveAsReader();
    writer.join();
  }
  EXPECT_EQ(lock.readersIn() + lock.readersWaiting() + lock.writersIn() + lock.writersWaiting(), 0);
}

TEST_P(RWLockPreferenceTest, WriterArrivingWhileAReaderWaits)
{
  // Two writer slots, so that only the preference can hold the second back.
  RWLock lock(GetParam().prioritisation, 100, 2);
  ASSERT_TRUE(lock.enterAsWriter(false));
  std::atomic<bool> readerWasIn{false};
  Job reader([&] {
    lock.enterAsReader(false);
    readerWasIn.store(true);
    lock.leaveAsReader();
  });
  ASSERT_TRUE(eventually([&] { return lock.readersWaiting() == 1; }));

  std::atomic<bool> writerSawReader{false};
  Job writer([&] {
    lock.enterAsWriter(false);
    writerSawReader.store(readerWasIn.load());
    lock.leaveAsWriter();
  });
  if (GetParam().writerWaitsBehindWaitingReader) {
    EXPECT_TRUE(eventually([&] { return lock.writersWaiting() == 1; }));
    EXPECT_EQ(lock.writersIn(), 1);
    lock.leaveAsWriter();
    reader.join();
    writer.join();
    EXPECT_TRUE(writerSawReader.load());
  } else {
    EXPECT_TRUE(eventually([&] { return writer.done(); }));
    EXPECT_FALSE(writerSawReader.load());
    lock.leaveAsWriter();
    reader.join();
  }
  EXPECT_EQ(lock.readersIn() + lock.readersWaiting() + lock.writersIn() + lock.writersWaiting(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Prioritisations, RWLockPreferenceTest,
    ::testing::Values(PreferenceCase{RWLock::ePreferReaders, false, true},
                      PreferenceCase{RWLock::ePreferWriters, true, false},
                      PreferenceCase{RWLock::ePreferNeither, false, false},
                      // Any value past 1 prefers neither.
                      PreferenceCase{static_cast<RWLock::ePrioritisation>(7), false, false}),
    [](const auto& info) { return "Prioritisation" + std::to_string(info.param.prioritisation); });

std::string destroyCapturingOutput(std::unique_ptr<RWLock> lock)
{
  ::testing::internal::CaptureStdout();
  lock.reset();
  return ::testing::internal::GetCapturedStdout();
}

std::string leaveCapturingOutput(RWLock& lock, bool asWriter)
{
  ::testing::internal::CaptureStdout();
  if (asWriter)
    lock.leaveAsWriter();
  else
    lock.leaveAsReader();
  return ::testing::internal::GetCapturedStdout();
}

TEST(RWLockAssertionTest, UnmatchedLeavesPrintAndTheLockGoesOn)
{
  auto lock = std::make_unique<RWLock>(RWLock::ePreferWriters, 4, 1);
  EXPECT_EQ(leaveCapturingOutput(*lock, true), "assertion failed writersIn_ > 0 at misc/rwlock line 265\n");
  // The count went below zero, which blocks no reader.
  ASSERT_TRUE(lock->enterAsReader(true));
  EXPECT_EQ(leaveCapturingOutput(*lock, false), "");
  EXPECT_EQ(destroyCapturingOutput(std::move(lock)),
            "assertion failed writersIn_ == 0 at misc/rwlock line 319\n");

  lock = std::make_unique<RWLock>(RWLock::ePreferWriters, 4, 1);
  EXPECT_EQ(leaveCapturingOutput(*lock, false), "assertion failed readersIn_ > 0 at misc/rwlock line 139\n");
  ASSERT_TRUE(lock->enterAsWriter(true));
  EXPECT_EQ(leaveCapturingOutput(*lock, true), "assertion failed readersIn_ == 0 at misc/rwlock line 257\n");
  EXPECT_EQ(destroyCapturingOutput(std::move(lock)),
            "assertion failed readersIn_ == 0 at misc/rwlock line 317\n");
}

TEST(RWLockAssertionTest, WriterLeavingWhileAReaderIsInPrintsBoth)
{
  auto lock = std::make_unique<RWLock>(RWLock::ePreferWriters, 4, 1);
  ASSERT_TRUE(lock->enterAsReader(false));
  EXPECT_EQ(leaveCapturingOutput(*lock, true), "assertion failed readersIn_ == 0 at misc/rwlock line 257\n"
                                               "assertion failed writersIn_ > 0 at misc/rwlock line 265\n");
  EXPECT_EQ(leaveCapturingOutput(*lock, false), "");
  EXPECT_EQ(destroyCapturingOutput(std::move(lock)),
            "assertion failed writersIn_ == 0 at misc/rwlock line 319\n");
}

TEST(RWLockAssertionTest, DestroyingAnOccupiedLockNamesWhatIsLeft)
{
  auto lock = std::make_unique<RWLock>(RWLock::ePreferWriters, 4, 1);
  ASSERT_TRUE(lock->enterAsReader(false));
  EXPECT_EQ(destroyCapturingOutput(std::move(lock)),
            "assertion failed readersIn_ == 0 at misc/rwlock line 317\n");

  lock = std::make_unique<RWLock>(RWLock::ePreferWriters, 4, 1);
  ASSERT_TRUE(lock->enterAsReader(false));
  lock->leaveAsReader();
  EXPECT_EQ(destroyCapturingOutput(std::move(lock)), "");
}

} // namespace
