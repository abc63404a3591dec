#include <gtest/gtest.h>

#include <list>
#include <string>
#include <vector>

#include "HeapCounter.h"
#include "Zr/ZrPooledObject.h"

namespace {

using pooltest::heapDeletes;
using pooltest::heapNews;

// The node type a std::list of T allocates, as its allocator sees it.
template <class T> using NodeOf = std::_List_node<T>;
template <class T> using HolderStack = Zr::LockFree::Stack<Zr::Private::NodeHolder<NodeOf<T>>>;

template <class T> HolderStack<T>& holdersOf()
{
  return *Zr::Private::StackHolder<Zr::Private::NodeHolder<NodeOf<T>>>::getStack();
}

template <int N> struct Item
{
  int value;
  std::string text; // owns heap memory once long, so a node not destroyed leaks
};

TEST(PooledStdAllocator, ListNodesGoBackToTheirStackAndAreReused)
{
  using T = Item<1>;
  std::list<T, Zr::PooledStdAllocator<T>> items;
  for (int i = 0; i < 5; ++i) items.push_back({i, std::string(40, char('a' + i))});
  std::vector<const T*> addresses;
  for (const T& item : items) addresses.push_back(&item);

  items.clear();
  EXPECT_EQ(holdersOf<T>().count(), 5u);

  const long news = heapNews();
  for (int i = 0; i < 5; ++i) items.push_back({i, {}});
  EXPECT_EQ(heapNews(), news) << "nodes came from the heap while the pool held five";
  EXPECT_EQ(holdersOf<T>().count(), 0u);
  // Last freed, first reused: the last cleared node comes out first.
  auto it = items.begin();
  for (int i = 4; i >= 0; --i, ++it) EXPECT_EQ(&*it, addresses[i]);
}

TEST(PooledStdAllocator, ListsShareNodesAndSpliceAcrossInstances)
{
  using T = Item<2>;
  using List = std::list<T, Zr::PooledStdAllocator<T>>;
  List a;
  List b;
  a.push_back({1, "one"});
  a.push_back({2, "two"});
  b.splice(b.end(), a, a.begin());
  EXPECT_EQ(a.size(), 1u);
  ASSERT_EQ(b.size(), 1u);
  EXPECT_EQ(b.front().text, "one");

  b.clear(); // a node made through a's allocator, freed through b's
  EXPECT_EQ(holdersOf<T>().count(), 1u);
  const long deletes = heapDeletes();
  a.clear();
  EXPECT_EQ(heapDeletes(), deletes);
  EXPECT_EQ(holdersOf<T>().count(), 2u);
}

TEST(PooledStdAllocator, ArrayRequestsGoToTheHeap)
{
  using Holders = Zr::LockFree::Stack<Zr::Private::NodeHolder<long>>;
  Holders& holders = *Zr::Private::StackHolder<Zr::Private::NodeHolder<long>>::getStack();
  const long news = heapNews();
  const long deletes = heapDeletes();
  {
    std::vector<long, Zr::PooledStdAllocator<long>> numbers;
    numbers.reserve(100);
    for (long i = 0; i < 100; ++i) numbers.push_back(i);
    EXPECT_EQ(numbers[99], 99);
  }
  EXPECT_EQ(heapNews() - news, 1);
  EXPECT_EQ(heapDeletes() - deletes, 1);
  EXPECT_EQ(holders.count(), 0u);
}

TEST(PooledStdAllocator, LoggingHooksAreGivenTheCountOfTheUnfilledNodeStack)
{
  using T = Item<5>;
  using Traits = Zr::PooledObjectDebug::LoggingTraits<NodeOf<T>>;
  std::list<T, Zr::PooledStdAllocator<T, Zr::PooledObjectDebug::LoggingTraits>> items;
  items.push_back({1, {}});
  items.push_back({2, {}});
  items.clear();
  items.push_back({3, {}});

  const Traits* traits = Zr::Private::DebugTraitsHolder<Traits>::getDT();
  EXPECT_EQ(traits->pops(), 3u);
  EXPECT_EQ(traits->pushes(), 2u);
  EXPECT_EQ(traits->outstanding(), 1);
  // The node stack reads 0 throughout, so every pop looks like a heap one,
  // although the third came from the holders.
  EXPECT_EQ(traits->heapPops(), 3u);
  EXPECT_EQ(holdersOf<T>().count(), 1u);
  EXPECT_EQ(Zr::Private::StackHolder<NodeOf<T>>::getStack()->count(), 0u);
}

} // namespace
