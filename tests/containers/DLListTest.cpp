// DLList: order of the linking operations, traversal while records leave,
// nested traversals, clear with and without ownership, moves, the iterator,
// and the one-thread check.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "core/DLList.h"

namespace {

struct Item : DLListRec
{
  explicit Item(int v) : value(v) {}
  ~Item() override { ++deleted; }
  int value;
  static inline int deleted = 0;
};

std::vector<int> values(const DLList& list)
{
  std::vector<int> out;
  DLListRec* r = list.first();
  for (unsigned int k = 0; r && k < list.size(); ++k, r = r->next())
    out.push_back(static_cast<Item*>(r)->value);
  // The circle closes back at the head.
  if (r) {
    EXPECT_EQ(r, list.first());
  }
  return out;
}

using Ints = std::vector<int>;

// Five records 1..5 owned by the test, appended to a non-owning list.
struct Five
{
  Five()
  {
    for (Item& item : items) list.append(&item);
  }
  Item items[5] = {Item(1), Item(2), Item(3), Item(4), Item(5)};
  DLList list;
};

TEST(DLList, LinkingOperationsPlaceRecordsAtHeadTailAndBefore)
{
  DLList list;
  Item a(1), b(2), c(3), d(4);
  list.append(&b);
  list.insert(&a);
  list.append(&d);
  list.insertAt(&c, &d);
  EXPECT_EQ(values(list), (Ints{1, 2, 3, 4}));
  EXPECT_EQ(list.last(), &d);
  Item zero(0);
  list.insertAt(&zero, &a);
  EXPECT_EQ(list.first(), &zero);
  list.rotate();
  EXPECT_EQ(values(list), (Ints{1, 2, 3, 4, 0}));
  EXPECT_TRUE(list.member(&c));
  list.extract(&c);
  EXPECT_FALSE(list.member(&c));
  EXPECT_EQ(c.next(), &c);
  EXPECT_EQ(values(list), (Ints{1, 2, 4, 0}));
  list.clear();
}

TEST(DLList, RemovalDuringApplyGoesOnWithTheNextRecord)
{
  struct Case
  {
    Ints drop;
    Ints visited;
    Ints left;
  };
  const Case cases[] = {
      {{1}, {1, 2, 3, 4, 5}, {2, 3, 4, 5}},
      {{5}, {1, 2, 3, 4, 5}, {1, 2, 3, 4}},
      {{2, 3}, {1, 2, 3, 4, 5}, {1, 4, 5}},
      {{1, 2, 3, 4, 5}, {1, 2, 3, 4, 5}, {}},
  };
  for (const Case& c : cases) {
    Five five;
    struct Run
    {
      const Case& c;
      DLList& list;
      Ints visited;
    } run{c, five.list, {}};
    five.list.apply(
        [](DLListRec* r, void* arg) {
          Run& run = *static_cast<Run*>(arg);
          const int v = static_cast<Item*>(r)->value;
          run.visited.push_back(v);
          for (int d : run.c.drop)
            if (d == v) run.list.extract(r);
        },
        &run);
    EXPECT_EQ(run.visited, c.visited);
    EXPECT_EQ(values(five.list), c.left);
  }
}

TEST(DLList, NestedApplyKeepsTheOuterCursorValid)
{
  Five five;
  struct Run
  {
    DLList& list;
    Item* items;
    Ints outer;
    Ints inner;
  } run{five.list, five.items, {}, {}};
  five.list.apply(
      [](DLListRec* r, void* arg) {
        Run& run = *static_cast<Run*>(arg);
        run.outer.push_back(static_cast<Item*>(r)->value);
        if (r != &run.items[1]) return;
        // Inside the visit of 2, a second run takes out 2 and 3.
        run.list.apply(
            [](DLListRec* r, void* arg) {
              Run& run = *static_cast<Run*>(arg);
              const int v = static_cast<Item*>(r)->value;
              run.inner.push_back(v);
              if (v == 2 || v == 3) run.list.extract(r);
            },
            &run);
      },
      &run);
  EXPECT_EQ(run.inner, (Ints{1, 2, 3, 4, 5}));
  EXPECT_EQ(run.outer, (Ints{1, 2, 4, 5}));
  EXPECT_EQ(values(five.list), (Ints{1, 4, 5}));
}

TEST(DLList, ClearDeletesOwnedRecordsAndOnlyForgetsOthers)
{
  Five five;
  five.list.clear();
  EXPECT_EQ(five.list.size(), 0u);
  // The records still form their circle.
  EXPECT_EQ(five.items[0].next(), &five.items[1]);
  EXPECT_EQ(five.items[0].previous(), &five.items[4]);

  Item::deleted = 0;
  {
    DLList owning(true);
    for (int v = 0; v < 3; ++v) owning.append(new Item(v));
    owning.remove(owning.first());
    EXPECT_EQ(Item::deleted, 1);
  }
  EXPECT_EQ(Item::deleted, 3);
}

TEST(DLList, AssignmentMovesRecordsAndOwnership)
{
  Item::deleted = 0;
  DLList source(true);
  for (int v = 1; v <= 3; ++v) source.append(new Item(v));
  {
    DLList target;
    target = source;
    EXPECT_TRUE(source.isEmpty());
    EXPECT_TRUE(target.ownsRecords());
    EXPECT_EQ(values(target), (Ints{1, 2, 3}));
  }
  EXPECT_EQ(Item::deleted, 3);
}

TEST(DLList, IteratorWalksRemovesAndInserts)
{
  Five five;
  DLListIterator it(five.list);
  EXPECT_EQ(it.current(), &five.items[0]);
  --it;
  EXPECT_FALSE(it);
  Item three(3);
  EXPECT_FALSE(it.find(&three)); // equality is identity
  EXPECT_TRUE(it.find(&five.items[2]));
  EXPECT_EQ(it.extract(), &five.items[2]);
  EXPECT_EQ(it.current(), &five.items[3]);
  Item nine(9);
  it.insert(&nine);
  EXPECT_EQ(values(five.list), (Ints{1, 2, 9, 4, 5}));
  ++it;
  ++it;
  EXPECT_FALSE(it);
  Item six(6);
  it.insert(&six);
  EXPECT_EQ(values(five.list), (Ints{1, 2, 9, 4, 5, 6}));
  DLListIterator last(five.list);
  last.find(&six);
  last.remove();
  EXPECT_FALSE(last);
  EXPECT_EQ(five.list.size(), 5u);
}

TEST(DLList, OwnershipNestsAndASecondThreadIsTurnedAwayAtOnce)
{
  DLList list;
  EXPECT_EQ(list.owner(), -1);
  ASSERT_TRUE(list.beginOwnership());
  ASSERT_TRUE(list.beginOwnership());
  const int self = list.owner();
  EXPECT_NE(self, -1);

  bool claimedElsewhere = true;
  std::thread([&] { claimedElsewhere = list.beginOwnership(); }).join();
  EXPECT_FALSE(claimedElsewhere);
  EXPECT_EQ(list.owner(), self);
  // The operations nest inside the caller's claim and leave it in place.
  Item a(1);
  list.append(&a);
  list.extract(&a);
  list.endOwnership();
  EXPECT_EQ(list.owner(), self);
  list.endOwnership();
  EXPECT_EQ(list.owner(), -1);

  std::thread([&] {
    claimedElsewhere = list.beginOwnership();
    list.endOwnership();
  }).join();
  EXPECT_TRUE(claimedElsewhere);
  EXPECT_EQ(list.owner(), -1);
}

} // namespace
