// LightweightVector's shared array and RefCount's notifications.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "AllocationCounter.h"
#include "core/LightweightVector.h"
#include "core/RefCount.h"

namespace {

using Ints = LightweightVector<int>;

std::vector<int> items(const Ints& v)
{
  return std::vector<int>(v.begin(), v.end());
}

TEST(LightweightVector, CopiesShareOneArrayEvenWhenEmpty)
{
  Ints a;
  Ints b = a;
  a.push_back(1);
  b += 2;
  EXPECT_EQ(items(a), (std::vector<int>{1, 2}));
  EXPECT_TRUE(a == b);

  // Held as an interface, the object counts in its own base.
  Zr::Ptr<Ints> held(new Ints(8));
  Zr::Ptr<iObject> root = held;
  EXPECT_EQ(root.counterWord(), held.counterWord());
  EXPECT_EQ(held.refCount(), 2u);
}

TEST(LightweightVector, SwapAndCopyFromMoveElementsNotHandles)
{
  Ints a;
  Ints sharesA = a;
  Ints b;
  a += 1;
  b += 2;
  b += 3;
  a.swap(b);
  EXPECT_EQ(items(sharesA), (std::vector<int>{2, 3}));
  EXPECT_EQ(items(b), (std::vector<int>{1}));

  Ints copy;
  copy.copyFrom(a);
  copy.push_back(4);
  EXPECT_EQ(items(a), (std::vector<int>{2, 3}));
  copy += copy;
  EXPECT_EQ(items(copy), (std::vector<int>{2, 3, 4, 2, 3, 4}));
}

// Equal by compare() when only the tags differ; == is exact.
struct Tagged
{
  int key;
  int tag;
  int compare(const Tagged& o) const { return key == o.key ? 0 : 1; }
  bool operator==(const Tagged& o) const { return key == o.key && tag == o.tag; }
};

TEST(LightweightVector, EqualityUsesTheElementsCompare)
{
  LightweightVector<Tagged> a;
  LightweightVector<Tagged> b;
  a.push_back(Tagged{1, 0});
  b.push_back(Tagged{1, 9});
  EXPECT_TRUE(a == b);
  b.push_back(Tagged{2, 0});
  EXPECT_TRUE(a != b);
}

struct Recorder : RefCountClient
{
  Recorder(std::vector<int>* log, int id) : log_(log), id_(id) {}
  void refCountReachedZero() override
  {
    log_->push_back(id_);
    if (then) then();
  }
  std::vector<int>* log_;
  int id_;
  std::function<void()> then;
};

TEST(RefCount, TellsEachClientOnceInOrderAtZero)
{
  std::vector<int> log;
  Recorder first(&log, 1);
  Recorder second(&log, 2);
  Recorder gone(&log, 3);
  RefCount count;
  count.addClient(&first);
  count.addClient(&gone);
  count.addClient(&second);
  count.addClient(&first);
  EXPECT_TRUE(count.removeClient(&gone));
  EXPECT_FALSE(count.removeClient(&gone));
  EXPECT_EQ(count.numClients(), 2u);

  count.incRef();
  EXPECT_EQ(count.incRef(), 2u);
  EXPECT_EQ(count.decRef(), 1u);
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(count.decRef(), 0u);
  EXPECT_EQ(log, (std::vector<int>{1, 2}));
}

TEST(RefCount, DeletesItselfBeforeTheClientsHear)
{
  std::vector<int> log;
  Recorder client(&log, 1);
  RefCount* count = new RefCount(true);
  count->addClient(&client);
  count->incRef();
  bool goneFirst = false;
  client.then = [&] { goneFirst = coretest::deletedWatched(); };
  coretest::watchDelete(count);
  EXPECT_EQ(count->decRef(), 0u);
  EXPECT_TRUE(goneFirst);
  EXPECT_EQ(log, (std::vector<int>{1}));
}

TEST(RefCount, AClientMayDestroyTheOwnerMidNotification)
{
  struct Owner
  {
    RefCount count;
  };
  std::vector<int> log;
  auto owner = std::make_unique<Owner>();
  Recorder killer(&log, 1);
  Recorder later(&log, 2);
  killer.then = [&] { owner.reset(); };
  owner->count.addClient(&killer);
  owner->count.addClient(&later);
  owner->count.incRef();
  owner->count.decRef();
  EXPECT_EQ(owner, nullptr);
  EXPECT_EQ(log, (std::vector<int>{1, 2}));
}

TEST(RefCount, ConcurrentReleasesNotifyExactlyOnce)
{
  std::vector<int> log;
  Recorder client(&log, 1);
  RefCount count;
  count.addClient(&client);
  constexpr int perThread = 20000;
  for (int k = 0; k < 2 * perThread; ++k) count.incRef();
  auto release = [&count] {
    for (int k = 0; k < perThread; ++k) count.decRef();
  };
  std::thread a(release);
  std::thread b(release);
  a.join();
  b.join();
  EXPECT_EQ(count.count(), 0u);
  EXPECT_EQ(log.size(), 1u);
}

} // namespace
