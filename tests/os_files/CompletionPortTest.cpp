// Asynchronous file operations, with and without a completion port.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "FilesTestSupport.h"
#include "support/TestEnv.h"

namespace {

using filestest::openFile;

// Records what the file reported for one operation.
class Recorder : public iAsyncContext
{
public:
  void completed(unsigned int bytes, bool succeeded) override
  {
    bytes_ = bytes;
    succeeded_ = succeeded;
    calls_.fetch_add(1);
  }
  std::atomic<unsigned int> bytes_{0};
  std::atomic<bool> succeeded_{false};
  std::atomic<int> calls_{0};
};

class Async : public testing::Test
{
protected:
  std::string dir_ = zrtest::makeTempDir("async");
  Zr::Ptr<iIOCompletionPort> port_ = OS()->createCompletionPort();
  Zr::Ptr<iFile> file(const std::string& name)
  {
    return openFile(dir_ + name, iFile::eReadWrite, iFile::eCreateAlways);
  }
  // A new file attached to port_.
  Zr::Ptr<iFile> attached(const std::string& name)
  {
    Zr::Ptr<iFile> f = file(name);
    return port_ && port_->attach(f) ? f : nullptr;
  }
  iIOCompletionPort::Result next() { return port_->wait(20000); }
};

TEST_F(Async, WithoutAPortOperationsCompleteAtOnceOnTheCaller)
{
  Zr::Ptr<iFile> f = file("direct");
  ASSERT_TRUE(f);
  Zr::Ptr<Recorder> w(new Recorder);
  EXPECT_TRUE(f->writeAtAsync(3, "abc", 3, w));
  EXPECT_EQ(w->calls_, 1);
  EXPECT_EQ(w->bytes_, 3u);
  EXPECT_TRUE(w->succeeded_);

  char buf[8] = {};
  Zr::Ptr<Recorder> r(new Recorder);
  EXPECT_TRUE(f->readAtAsync(3, buf, 8, r));
  EXPECT_EQ(r->bytes_, 3u); // a short read at the end still succeeds
  EXPECT_TRUE(r->succeeded_);
  EXPECT_EQ(std::string(buf, 3), "abc");

  Zr::Ptr<Recorder> past(new Recorder);
  EXPECT_FALSE(f->readAtAsync(100, buf, 4, past));
  EXPECT_EQ(past->calls_, 1);
  EXPECT_FALSE(past->succeeded_);

  // The position forms move the position.
  ASSERT_TRUE(f->positionAt(0));
  EXPECT_TRUE(f->writeAsync("12345", 5, Zr::Ptr<iAsyncContext>(new Recorder)));
  EXPECT_EQ(f->getPosition(), 5u);
  ASSERT_TRUE(f->positionAt(1));
  EXPECT_TRUE(f->readAsync(buf, 3, nullptr));
  EXPECT_EQ(std::string(buf, 3), "234");
  EXPECT_EQ(f->getPosition(), 4u);
}

TEST_F(Async, AttachedFilesCompleteOnThePortWithTheirStatus)
{
  Zr::Ptr<iFile> f = attached("ported");
  ASSERT_TRUE(f);
  EXPECT_EQ(f->getCaps() & iFile::eCapAsyncPort, unsigned(iFile::eCapAsyncPort));

  Zr::Ptr<Recorder> w(new Recorder);
  ASSERT_TRUE(f->writeAtAsync(0, "payload", 7, w));
  iIOCompletionPort::Result result = next();
  EXPECT_EQ(result.status, iIOCompletionPort::eSucceeded);
  EXPECT_EQ(result.bytes, 7u);
  EXPECT_TRUE(result.context == w);
  EXPECT_EQ(w->calls_, 1); // completed() runs before the waiter sees the result
  EXPECT_EQ(zrtest::readFile(dir_ + "ported"), "payload");

  char buf[7] = {};
  Zr::Ptr<Recorder> r(new Recorder);
  ASSERT_TRUE(f->readAtAsync(0, buf, 7, r));
  result = next();
  EXPECT_EQ(result.status, iIOCompletionPort::eSucceeded);
  EXPECT_TRUE(result.context == r);
  EXPECT_EQ(std::string(buf, 7), "payload");

  Zr::Ptr<Recorder> past(new Recorder);
  ASSERT_TRUE(f->readAtAsync(1000, buf, 4, past));
  result = next();
  EXPECT_EQ(result.status, iIOCompletionPort::eFailed);
  EXPECT_EQ(result.bytes, 0u);
  EXPECT_FALSE(past->succeeded_);
  EXPECT_EQ(port_->pending(), 0u);
}

TEST_F(Async, PositionFormsOnAPortTakeConsecutiveRanges)
{
  Zr::Ptr<iFile> f = attached("appended");
  ASSERT_TRUE(f);
  ASSERT_TRUE(f->writeAsync("AAAA", 4, nullptr));
  ASSERT_TRUE(f->writeAsync("BBBB", 4, nullptr));
  EXPECT_EQ(f->getPosition(), 8u);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(next().status, iIOCompletionPort::eSucceeded);
  EXPECT_EQ(zrtest::readFile(dir_ + "appended"), "AAAABBBB");
}

TEST_F(Async, ManyOperationsAllCompleteOnce)
{
  Zr::Ptr<iFile> f = attached("many");
  ASSERT_TRUE(f);
  constexpr int kOps = 200;
  std::vector<std::string> blocks;
  std::vector<Zr::Ptr<Recorder>> contexts;
  for (int i = 0; i < kOps; ++i) {
    blocks.push_back(std::string(100, char('A' + i % 26)));
    contexts.emplace_back(new Recorder);
  }
  for (int i = 0; i < kOps; ++i) ASSERT_TRUE(f->writeAtAsync(100ul * i, blocks[i].data(), 100, contexts[i]));
  // Several waiters share the results.
  std::atomic<int> succeeded{0};
  std::vector<std::thread> waiters;
  for (int t = 0; t < 3; ++t)
    waiters.emplace_back([&] {
      while (next().status == iIOCompletionPort::eSucceeded)
        if (succeeded.fetch_add(1) + 1 == kOps)
          for (int s = 0; s < 3; ++s) port_->postStop();
    });
  for (std::thread& t : waiters) t.join();
  EXPECT_EQ(succeeded, kOps);
  EXPECT_EQ(port_->pending(), 0u);
  for (const auto& c : contexts) EXPECT_EQ(c->calls_, 1);
  std::string expected;
  for (const std::string& b : blocks) expected += b;
  EXPECT_EQ(zrtest::readFile(dir_ + "many"), expected);
}

TEST_F(Async, EachStopWakesExactlyOneWaiter)
{
  std::atomic<int> stops{0}, timeouts{0};
  std::vector<std::thread> waiters;
  for (int t = 0; t < 2; ++t)
    waiters.emplace_back([&] {
      const int status = port_->wait(1500).status;
      if (status == iIOCompletionPort::eStop) ++stops;
      if (status == iIOCompletionPort::eTimeout) ++timeouts;
    });
  port_->postStop();
  for (std::thread& t : waiters) t.join();
  EXPECT_EQ(stops, 1);
  EXPECT_EQ(timeouts, 1);
}

TEST_F(Async, WaitTimesOutWhenNothingCompletesAndAnEarlierStopIsKept)
{
  const iIOCompletionPort::Result r = port_->wait(30);
  EXPECT_EQ(r.status, iIOCompletionPort::eTimeout);
  EXPECT_FALSE(r.context);
  port_->postStop();
  EXPECT_EQ(port_->wait(0).status, iIOCompletionPort::eStop);
  EXPECT_EQ(port_->wait(0).status, iIOCompletionPort::eTimeout);
}

class ForeignFile : public iFile
{
public:
  LightweightString<wchar_t> getName() const override { return {}; }
  unsigned int read(void*, unsigned int) override { return 0; }
  unsigned int readAt(unsigned long, void*, unsigned int) override { return 0; }
  bool readAsync(void*, unsigned int, Zr::Ptr<iAsyncContext>) override { return false; }
  bool readAtAsync(unsigned long, void*, unsigned int, Zr::Ptr<iAsyncContext>) override { return false; }
  unsigned int write(const void*, unsigned int) override { return 0; }
  bool writeAsync(const void*, unsigned int, Zr::Ptr<iAsyncContext>) override { return false; }
  unsigned int writeAt(unsigned long, const void*, unsigned int) override { return 0; }
  bool writeAtAsync(unsigned long, const void*, unsigned int, Zr::Ptr<iAsyncContext>) override
  {
    return false;
  }
  bool positionAt(unsigned long) override { return false; }
  unsigned long getPosition() const override { return 0; }
  unsigned long getTime(eTimeType) const override { return 0; }
  bool setTime(eTimeType, const unsigned long&) override { return false; }
  unsigned long getSize() const override { return 0; }
  bool truncate(unsigned long) override { return false; }
  bool isOpen() const override { return true; }
};

TEST_F(Async, AttachRefusesForeignFilesAndFilesOfAnotherPort)
{
  Zr::Ptr<iIOCompletionPort> second = OS()->createCompletionPort();
  EXPECT_FALSE(port_->attach(Zr::Ptr<iFile>(new ForeignFile)));
  EXPECT_FALSE(port_->attach(nullptr));
  Zr::Ptr<iFile> f = attached("once");
  ASSERT_TRUE(f);
  EXPECT_TRUE(port_->attach(f));
  EXPECT_FALSE(second->attach(f));
}

TEST_F(Async, DestroyingThePortFinishesQueuedWorkAndRefusesMore)
{
  Zr::Ptr<iFile> f = attached("drained");
  ASSERT_TRUE(f);
  std::vector<Zr::Ptr<Recorder>> contexts;
  static const char block[4096] = {};
  for (int i = 0; i < 64; ++i) {
    contexts.emplace_back(new Recorder);
    ASSERT_TRUE(f->writeAtAsync(4096ul * i, block, 4096, contexts.back()));
  }
  port_ = nullptr;
  // The workers have ended; every queued operation was performed.
  for (const auto& c : contexts) {
    EXPECT_EQ(c->calls_, 1);
    EXPECT_TRUE(c->succeeded_);
  }
  EXPECT_EQ(f->getSize(), 64u * 4096u);
  Zr::Ptr<Recorder> late(new Recorder);
  EXPECT_FALSE(f->writeAtAsync(0, block, 1, late));
  EXPECT_EQ(late->calls_, 0);
}

} // namespace
