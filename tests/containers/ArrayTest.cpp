// Array: ownership counts, sorted insertion and search, the identity rule of
// removeIdenticle, growth and the printed form.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/Array.h"
#include "core/Set.h"
#include "core/intlist.h"
#include "text/GrowString.h"

namespace {

// A numbered record that counts its deletions.
struct Num : ArrayRec
{
  explicit Num(int v) : value(v) {}
  ~Num() override { ++deleted; }
  int compare(const ArrayRec& other) const override { return value - static_cast<const Num&>(other).value; }
  void printOn(GrowString& text) const override { text << value; }
  int value;
  static inline int deleted = 0;
};

class ArrayTest : public testing::Test
{
protected:
  void SetUp() override { Num::deleted = 0; }
};

std::vector<int> values(const Array& a)
{
  std::vector<int> out;
  for (unsigned int k = 0; k < a.size(); ++k) out.push_back(static_cast<Num*>(a[k])->value);
  return out;
}

std::string printed(const Array& a)
{
  GrowString text;
  a.printOn(text);
  return text.c_str() ? text.c_str() : "";
}

int descending(const void* a, const void* b)
{
  const Num* left = *static_cast<Num* const*>(a);
  const Num* right = *static_cast<Num* const*>(b);
  return right->value - left->value;
}

TEST_F(ArrayTest, OnlyOwningArraysCountRecordsAndDeleteTheLastRelease)
{
  Num* shared = new Num(1);
  {
    Array first;
    Array second;
    first.append(shared);
    second.append(shared);
    EXPECT_EQ(shared->refCount(), 2);
    EXPECT_TRUE(first.remove(0u));
    EXPECT_EQ(Num::deleted, 0);
    EXPECT_EQ(shared->refCount(), 1);
    first.append(new Num(2));
  }
  // The shared record and the one only `first` held.
  EXPECT_EQ(Num::deleted, 2);

  // A record already at zero goes on remove; past the end nothing does.
  Array a;
  Num* record = new Num(3);
  a.append(record);
  record->decRef();
  EXPECT_FALSE(a.remove(1u));
  EXPECT_TRUE(a.remove(0u));
  EXPECT_EQ(Num::deleted, 3);

  Num kept(7);
  {
    Array view(false);
    view.append(&kept);
    EXPECT_EQ(kept.refCount(), 0) << "a non-owning array never counts";
    view.remove(0u);
    view.append(&kept);
  }
  EXPECT_EQ(Num::deleted, 3);
}

TEST_F(ArrayTest, ReplaceClearAndAssignmentKeepCountsRight)
{
  Array a;
  a.append(new Num(1));
  a.append(new Num(2));
  EXPECT_TRUE(a.replaceDatum(0, new Num(3)));
  EXPECT_EQ(Num::deleted, 1);
  Num stray(9);
  EXPECT_FALSE(a.replaceDatum(2, &stray));
  EXPECT_EQ(stray.refCount(), 0);
  Num::deleted = 0;
  {
    Array copy;
    copy.append(new Num(4));
    copy = a;
    EXPECT_EQ(Num::deleted, 1); // copy's own record
    EXPECT_EQ(values(copy), (std::vector<int>{3, 2}));
    EXPECT_EQ(a[0]->refCount(), 2);
    EXPECT_TRUE(copy == a);
  }
  EXPECT_EQ(Num::deleted, 1);
  a.clear();
  EXPECT_EQ(Num::deleted, 3);
  EXPECT_EQ(a.size(), 0u);
}

TEST_F(ArrayTest, SortedAddKeepsOrderAndLocateGivesInsertionPoints)
{
  Array a;
  unsigned int index = 99;
  EXPECT_FALSE(a.locateSorted(nullptr, index));
  Num probe(4);
  EXPECT_FALSE(a.locateSorted(&probe, index));
  EXPECT_EQ(index, 0u);

  a.sorted(true);
  for (int v : {5, 1, 3, 3, 9}) EXPECT_GE(a.add(new Num(v)), 0);
  EXPECT_EQ(values(a), (std::vector<int>{1, 3, 3, 5, 9}));
  EXPECT_FALSE(a.locate(&probe, index));
  EXPECT_EQ(index, 3u);
  Num big(10);
  EXPECT_FALSE(a.locate(&big, index));
  EXPECT_EQ(index, 5u);
  Num five(5);
  EXPECT_TRUE(a.locate(&five, index));
  EXPECT_EQ(index, 3u);
  EXPECT_EQ(a.add(nullptr), -1);
}

TEST_F(ArrayTest, UnsortedLocateScansAndMissesAtTheCount)
{
  Array a;
  for (int v : {4, 2, 8}) a.add(new Num(v));
  Num two(2);
  Num six(6);
  unsigned int index = 0;
  EXPECT_TRUE(a.locate(&two, index));
  EXPECT_EQ(index, 1u);
  EXPECT_FALSE(a.locate(&six, index));
  EXPECT_EQ(index, 3u);
  EXPECT_EQ(a.find(&six), -1);
  a.sort();
  EXPECT_TRUE(a.isSorted());
  EXPECT_EQ(values(a), (std::vector<int>{2, 4, 8}));
}

TEST_F(ArrayTest, CompareFunctionGetsSlotsAndResortsASortedArray)
{
  Array a;
  for (int v : {1, 3, 2}) a.add(new Num(v));
  a.sorted(true);
  a.overrideCompareFn(&descending);
  EXPECT_EQ(values(a), (std::vector<int>{3, 2, 1}));
  a.add(new Num(5));
  a.add(new Num(0));
  EXPECT_EQ(values(a), (std::vector<int>{5, 3, 2, 1, 0}));
  Num two(2);
  EXPECT_EQ(a.find(&two), 2);
}

TEST_F(ArrayTest, InternRefusesAnEqualRecordAndDeletesItWhenUncounted)
{
  Array a;
  a.sorted(true);
  unsigned int index = 0;
  EXPECT_TRUE(a.intern(new Num(2), index));
  EXPECT_TRUE(a.intern(new Num(5), index));
  EXPECT_EQ(index, 1u);
  EXPECT_FALSE(a.intern(new Num(5), index));
  EXPECT_EQ(index, 1u);
  EXPECT_EQ(a.size(), 2u);
  EXPECT_EQ(Num::deleted, 1);

  // Counted elsewhere, so not ours to delete.
  Array other;
  Num* held = new Num(2);
  other.append(held);
  EXPECT_FALSE(a.intern(held, index));
  EXPECT_EQ(Num::deleted, 1);

  Array view(false);
  Num local(1);
  Num twin(1);
  EXPECT_TRUE(view.intern(&local, index));
  EXPECT_FALSE(view.intern(&twin, index));
  EXPECT_EQ(Num::deleted, 1);
}

TEST_F(ArrayTest, RemoveIdenticleFindsThePointerOrTheLoneEqualRecord)
{
  for (bool sorted : {false, true}) {
    SCOPED_TRACE(sorted ? "sorted" : "unsorted");
    Array a(false);
    Num low(0), x(1), y(1), z(1), high(2), stranger(1), lone(2);
    for (Num* n : {&low, &x, &y, &z, &high}) a.append(n);
    a.sorted(sorted);
    // Every one of three equal records is found by identity, whichever the
    // search hits first.
    EXPECT_TRUE(a.removeIdenticle(&z));
    EXPECT_TRUE(a.removeIdenticle(&x));
    EXPECT_EQ(a.size(), 3u);
    EXPECT_EQ(a[1], &y);
    // Another object equal to the only equal record takes it out.
    EXPECT_TRUE(a.removeIdenticle(&stranger));
    EXPECT_EQ(a.size(), 2u);
    EXPECT_TRUE(a.removeIdenticle(&lone));
    EXPECT_EQ(a[0], &low);
    EXPECT_EQ(a.size(), 1u);

    // With two equal records and neither the one asked for, nothing goes.
    a.append(&x);
    a.append(&y);
    a.sorted(sorted);
    EXPECT_FALSE(a.removeIdenticle(&stranger));
    EXPECT_EQ(a.size(), 3u);
  }
}

TEST_F(ArrayTest, SizeForGrowsToTenThenDoublesOrToTheNeed)
{
  struct Step
  {
    unsigned int need;
    unsigned int capacity;
  };
  const Step steps[] = {{0, 0},   {1, 10},    {9, 10},    {10, 10}, {11, 20},
                        {21, 40}, {100, 100}, {101, 200}, {0, 0},   {15, 15}};
  Array a;
  for (const Step& step : steps) {
    EXPECT_TRUE(a.sizeFor(step.need));
    EXPECT_EQ(a.capacity(), step.capacity) << "need " << step.need;
  }
  // Appending one by one follows the same rule.
  Array b;
  for (int k = 0; k < 11; ++k) b.append(new Num(k));
  EXPECT_EQ(b.capacity(), 20u);
  b.sizeFor(0);
  EXPECT_EQ(Num::deleted, 11);
}

TEST_F(ArrayTest, PrintOnSeparatesRecordsByOneBlank)
{
  Array a;
  EXPECT_EQ(printed(a), "()");
  for (int v : {3, 14, 15}) a.add(new Num(v));
  EXPECT_EQ(printed(a), "(3 14 15)");
  Array plain;
  plain.append(new ArrayRec);
  plain.append(new ArrayRec);
  EXPECT_EQ(printed(plain), "( )");
}

TEST_F(ArrayTest, AddOfAnArrayAndEqualityAreElementWise)
{
  Array a;
  Array b;
  for (int v : {1, 2}) a.add(new Num(v));
  b.add(a);
  b.add(b);
  EXPECT_EQ(values(b), (std::vector<int>{1, 2, 1, 2}));
  EXPECT_NE(a, b);
  Set set;
  set.add(a);
  EXPECT_TRUE(set == a);
  EXPECT_EQ(a[0]->refCount(), 4);
}

TEST(IntList, ContainsOnlyWhatWasAdded)
{
  intlist list{3, -1, 40};
  list.add(7);
  for (int v : {3, -1, 40, 7}) EXPECT_TRUE(list.contains(v)) << v;
  for (int v : {0, 4, -40}) EXPECT_FALSE(list.contains(v)) << v;
}

} // namespace
