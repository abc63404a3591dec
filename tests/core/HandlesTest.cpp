// The string's block and costs, Zr::Ptr assignment, and SmartPtr.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <new>
#include <thread>
#include <utility>

#include "AllocationCounter.h"
#include "core/LightweightString.h"
#include "core/SmartPtr.h"
#include "core/iObject.h"
#include "libOS/OS.h"

namespace {

using String = LightweightString<char>;
using WString = LightweightString<wchar_t>;

size_t osBlocks()
{
  return OS()->allocator()->liveBlocks();
}

TEST(StringLayout, OneHandleOverOneBlockWithTheTextBehindTheHeader)
{
  static_assert(sizeof(String) == sizeof(String::ImplPtr));
  static_assert(sizeof(String) == 2 * sizeof(void*));
  static_assert(offsetof(String::Impl, data) == 0);
  static_assert(offsetof(String::Impl, length) == 8);
  static_assert(offsetof(String::Impl, capacity) == 12);
  static_assert(offsetof(String::Impl, count) == 16);
  static_assert(sizeof(String::Impl) == 24);

  const WString w(L"wide");
  EXPECT_EQ(w.impl().counterWord(), &w.impl()->count);
}

TEST(StringCost, CopiesAllocateNothing)
{
  const String text(String(64u, 'x'));
  const size_t blocks = osBlocks();
  const size_t news = coretest::newCalls();
  {
    String copy(text);
    String assigned;
    assigned = copy;
    EXPECT_EQ(copy.c_str(), text.c_str());
    EXPECT_EQ(text.impl().refCount(), 3u);
  }
  EXPECT_EQ(coretest::newCalls(), news);
  EXPECT_EQ(osBlocks(), blocks);
  EXPECT_EQ(text.impl().refCount(), 1u);
}

TEST(StringResize, ResizeForKeepsTheTextOnlyWhenTheBlockIsReused)
{
  String s("abc");
  s.resizeFor(2);
  EXPECT_STREQ(s.c_str(), "ab");
  String other = s;
  s.resizeFor(1); // shared: a new, blank block
  EXPECT_EQ(s.c_str()[0], '\0');
  EXPECT_STREQ(other.c_str(), "ab");
  other.resizeFor(9); // too small: a new, blank block of 16
  EXPECT_EQ(other.capacity(), 16u);
  EXPECT_EQ(other.c_str()[0], '\0');
}

TEST(StringCompare, IdenticalPointersAreEqualUnreadAndNullJoinsOnTheLeft)
{
  // Reading this pointer would fault.
  const char* bogus = reinterpret_cast<const char*>(alignof(std::max_align_t));
  EXPECT_EQ(String::compare(bogus, bogus), 0);
  EXPECT_EQ(String::compare("", nullptr), 0);
  EXPECT_EQ(String::compare("", "a"), -1);

  const String tail("bc");
  EXPECT_STREQ((static_cast<const char*>(nullptr) + tail).c_str(), "bc");
  EXPECT_TRUE((L"a" + WString(L"bc")) == L"abc");
}

TEST(StringThreads, CopiesWrittenOnTwoThreadsStayApart)
{
  const String shared("shared text");
  std::atomic<int> faults{0};
  auto work = [&](char mark) {
    for (int i = 0; i < 5000; ++i) {
      String mine = shared;
      mine[0] = mark;
      mine.push_back(mark);
      if (mine.c_str()[0] != mark || shared.c_str()[0] != 's') ++faults;
    }
  };
  std::thread a(work, 'A');
  std::thread b(work, 'B');
  a.join();
  b.join();
  EXPECT_EQ(faults, 0);
  EXPECT_STREQ(shared.c_str(), "shared text");
  EXPECT_EQ(shared.impl().refCount(), 1u);
}

// A node that holds the next one: assigning head = head->next frees the old
// head, and with it the very handle being read.
struct PtrNode : iObject
{
  Zr::Ptr<PtrNode> next;
  int value = 0;
};

struct SmartNode
{
  virtual ~SmartNode() { ++deaths; }
  SmartPtr<SmartNode> next;
  int value = 0;
  static inline int deaths = 0;
};

TEST(PtrAssign, TheSourceMayLiveInsideTheObjectItReplaces)
{
  Zr::Ptr<PtrNode> head(new PtrNode);
  head->next = Zr::Ptr<PtrNode>(new PtrNode);
  head->next->value = 2;
  head = head->next;
  EXPECT_EQ(head->value, 2);
  EXPECT_EQ(head.refCount(), 1u);
}

TEST(SmartPtr, OneWordOverASixteenByteBlock)
{
  static_assert(sizeof(SmartPtr<SmartNode>) == sizeof(void*));
  SmartNode* raw = new SmartNode;
  const size_t news = coretest::newCalls();
  SmartPtr<SmartNode> p(raw);
  EXPECT_EQ(coretest::newCalls(), news + 1);
  EXPECT_EQ(coretest::lastNewSize(), 16u);
  const SmartPtr<SmartNode> null(nullptr);
  EXPECT_EQ(coretest::newCalls(), news + 1);
  EXPECT_EQ(null.count(), 0u);
}

TEST(SmartPtr, AssignmentCountsTheSourceFirst)
{
  SmartNode::deaths = 0;
  SmartPtr<SmartNode> a(new SmartNode);
  SmartPtr<SmartNode> b = a;
  a = a;
  EXPECT_EQ(a.count(), 2u);

  SmartPtr<SmartNode> head(new SmartNode);
  head->next = SmartPtr<SmartNode>(new SmartNode);
  head->next->value = 7;
  head = head->next;
  EXPECT_EQ(SmartNode::deaths, 1);
  EXPECT_EQ(head->value, 7);
  EXPECT_EQ(head.count(), 1u);

  head->next = SmartPtr<SmartNode>(new SmartNode);
  head->next->value = 8;
  head = std::move(head->next);
  EXPECT_EQ(SmartNode::deaths, 2);
  EXPECT_EQ(head->value, 8);

  b = head;
  EXPECT_EQ(a.count(), 1u);
  a = SmartPtr<SmartNode>();
  EXPECT_EQ(SmartNode::deaths, 3);
}

TEST(SmartPtr, PurgeOfASharedHandleKeepsItsPointer)
{
  SmartNode::deaths = 0;
  SmartPtr<SmartNode> owner(new SmartNode);
  // Never destroyed: after the purge it holds a pointer but no reference.
  alignas(SmartPtr<SmartNode>) unsigned char storage[sizeof(SmartPtr<SmartNode>)];
  auto* other = new (storage) SmartPtr<SmartNode>(owner);
  other->purge();
  EXPECT_EQ(other->get(), owner.get());
  EXPECT_EQ(owner.count(), 1u);
  EXPECT_EQ(SmartNode::deaths, 0);

  owner.purge();
  EXPECT_FALSE(owner);
  EXPECT_EQ(SmartNode::deaths, 1);
}

TEST(SmartPtr, ComparesTheObjectsWithNullFirst)
{
  struct Num
  {
    int n;
    bool operator==(const Num& o) const { return n == o.n; }
    bool operator<=(const Num& o) const { return n <= o.n; }
  };
  const SmartPtr<Num> one(new Num{1}), otherOne(new Num{1}), two(new Num{2}), null;
  EXPECT_TRUE(one == otherOne);
  EXPECT_FALSE(one == two);
  EXPECT_FALSE(one == null);
  EXPECT_TRUE(one <= two);
  EXPECT_FALSE(two <= one);
  EXPECT_TRUE(null <= one);
  EXPECT_TRUE(null <= null);
  EXPECT_FALSE(one <= null);
}

} // namespace
