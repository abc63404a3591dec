// Vector and OrderedVector: layout, growth, the edit operations and the
// bounds lines they print.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Zr/Vector.h"
#include "core/LightweightString.h"
#include "core/SmartPtr.h"

namespace {

using IntVec = Vector<int>;
using String = LightweightString<char>;

// Live objects of this type, to see what the array constructs and destroys.
struct Tracked
{
  Tracked() { ++live; }
  Tracked(const Tracked&) { ++live; }
  Tracked& operator=(const Tracked&) = default;
  ~Tracked() { --live; }
  bool operator==(const Tracked&) const { return true; }
  static inline int live = 0;
};

// Standard output of f(), the way the soft assertions print.
template <class F> std::string printed(F f)
{
  testing::internal::CaptureStdout();
  f();
  return testing::internal::GetCapturedStdout();
}

// The live elements, so that a comparison also checks the size (the
// vector's own == walks the left side only).
template <class T> std::vector<T> items(const Vector<T>& v)
{
  return std::vector<T>(v.begin(), v.end());
}
using Ints = std::vector<int>;

std::string line(const char* expression, int lineNo)
{
  return std::string("assertion failed ") + expression + " at Zr/Vector line " + std::to_string(lineNo) +
         "\n";
}

// The table slot that a pointer to a virtual member names (Itanium ABI:
// byte offset into the table plus one).
template <class M> size_t slotOf(M member)
{
  static_assert(sizeof(M) == 2 * sizeof(void*));
  uintptr_t word = 0;
  std::memcpy(&word, &member, sizeof word);
  return (word - 1) / sizeof(void*);
}

TEST(VectorLayout, FieldsBehindTheTablePointerAndSlotOrder)
{
  IntVec v{1, 2, 3};
  static_assert(sizeof(IntVec) == sizeof(void*) + sizeof(int*) + 2 * sizeof(uint32_t));
  unsigned char bytes[sizeof(IntVec)];
  std::memcpy(bytes, static_cast<void*>(&v), sizeof bytes);
  int* array = nullptr;
  uint32_t counts[2] = {};
  std::memcpy(&array, bytes + 8, sizeof array);
  std::memcpy(counts, bytes + 16, sizeof counts);
  EXPECT_EQ(array, v.begin());
  EXPECT_EQ(counts[0], 3u);
  EXPECT_EQ(counts[1], 4u);

  // Slots 0 and 1 are the two destructors.
  const size_t slots[] = {slotOf(&IntVec::add),
                          slotOf(&IntVec::push_back),
                          slotOf(&IntVec::locate),
                          slotOf(&IntVec::intern),
                          slotOf(static_cast<void (IntVec::*)(const int&, unsigned int)>(&IntVec::insert)),
                          slotOf(&IntVec::removeIdx),
                          slotOf(&IntVec::remove),
                          slotOf(&IntVec::removeItem),
                          slotOf(&IntVec::clear),
                          slotOf(&IntVec::consume)};
  for (size_t k = 0; k < std::size(slots); ++k) EXPECT_EQ(slots[k], k + 2) << k;
  EXPECT_EQ(slotOf(&OrderedVector<int>::add), 0u);
  EXPECT_EQ(slotOf(&OrderedVector<int>::locate), 1u);
  EXPECT_EQ(slotOf(&OrderedVector<int>::consume), 2u);
}

TEST(VectorGrowth, CapacityStartsAtFourDoublesAndIsAllLiveObjects)
{
  Tracked::live = 0;
  {
    Vector<Tracked> v;
    v.resizeFor(5);
    EXPECT_EQ(v.space(), 8u);
    EXPECT_EQ(Tracked::live, 8);
    v.add(Tracked());
    v.resizeFor(9);
    v.resizeFor(3);
    EXPECT_EQ(v.space(), 16u);
    EXPECT_EQ(Tracked::live, 16);
    v.purge();
    EXPECT_EQ(Tracked::live, 0);
    v.resize(3);
    EXPECT_EQ(Tracked::live, 4);
  }
  EXPECT_EQ(Tracked::live, 0);

  IntVec v;
  v.push_back(1);
  EXPECT_EQ(v.space(), 4u);
  for (int k = 0; k < 16; ++k) v.push_back(k);
  EXPECT_EQ(v.space(), 32u);
  v.clear();
  EXPECT_EQ(v.space(), 32u);
  v.resizeFor(0);
  EXPECT_EQ(v.space(), 0u);
  EXPECT_EQ(v.begin(), nullptr);
}

TEST(VectorEdit, RemoveIdxResetsTheVacatedSlotAndRemoveDoesNot)
{
  const String a("a");
  Vector<String> v{String("b"), String("c"), a};
  EXPECT_FALSE(v.removeIdx(3));
  EXPECT_EQ(v.size(), 3u);
  EXPECT_TRUE(v.removeIdx(2));
  EXPECT_EQ(a.impl().refCount(), 1u); // the slot let go of it

  IntVec n{0, 1, 2, 3, 4};
  EXPECT_TRUE(n.remove(3, 3));
  EXPECT_EQ(items(n), (Ints{0, 1, 2, 3, 4}));
  EXPECT_TRUE(n.remove(1, 3));
  EXPECT_EQ(items(n), (Ints{0, 3, 4}));
  EXPECT_EQ(n.at(3), 3); // vacated slots keep their old values
  EXPECT_EQ(n.at(4), 4);
  EXPECT_TRUE(n.remove(2, 99)); // clamped to the end
  EXPECT_EQ(items(n), (Ints{0, 3}));
  EXPECT_FALSE(n.removeItem(7));
  EXPECT_TRUE(n.removeItem(0));
  EXPECT_EQ(items(n), (Ints{3}));
  EXPECT_EQ(n.at(1), 0);
}

TEST(VectorEdit, InsertLocateAndIntern)
{
  IntVec v{5, 7};
  unsigned int i = 99;
  v.insert(6, 1);
  v.insert(8, 50); // clamped to the end
  EXPECT_EQ(items(v), (Ints{5, 6, 7, 8}));
  EXPECT_FALSE(v.locate(9, i));
  EXPECT_EQ(i, 4u);
  EXPECT_FALSE(v.intern(6, i));
  EXPECT_EQ(i, 1u);
  EXPECT_TRUE(v.intern(9, i));
  EXPECT_EQ(items(v), (Ints{5, 6, 7, 8, 9}));
}

TEST(VectorEdit, ElementsOfTheVectorItselfSurviveGrowth)
{
  Vector<String> v{String("first"), String("second"), String("third"), String("fourth")};
  ASSERT_EQ(v.space(), 4u);
  v.add(v[0]);
  EXPECT_STREQ(v[4].c_str(), "first");
  v.insert(v[3], 0);
  EXPECT_STREQ(v[0].c_str(), "fourth");
  EXPECT_STREQ(v[1].c_str(), "first");

  IntVec n{1, 2};
  n.insert(n, 1);
  EXPECT_EQ(items(n), (Ints{1, 1, 2, 2}));
}

TEST(VectorEdit, ConsumeTakesTheArrayAndEmptiesTheOther)
{
  IntVec mine{1};
  IntVec theirs{4, 5, 6};
  const int* array = theirs.begin();
  mine.consume(theirs);
  EXPECT_EQ(mine.begin(), array);
  EXPECT_EQ(items(mine), (Ints{4, 5, 6}));
  EXPECT_EQ(theirs.size(), 0u);
  EXPECT_EQ(theirs.space(), 0u);
  EXPECT_EQ(theirs.begin(), nullptr);
  mine.consume(mine);
  EXPECT_EQ(items(mine), (Ints{4, 5, 6}));
}

TEST(VectorCompare, WalksOnlyTheLeftSide)
{
  const IntVec empty;
  EXPECT_TRUE(empty == (IntVec{1, 2}));
  EXPECT_FALSE((IntVec{1, 2}) == (IntVec{1, 3}));

  IntVec shorter{1, 2, 3};
  shorter.resize(2); // slot 2 still holds 3
  const IntVec longer{1, 2, 3};
  int result = -1;
  EXPECT_EQ(printed([&] { result = longer.compare(shorter); }), line("i < size_", 62));
  EXPECT_EQ(result, 0);
  EXPECT_EQ(printed([&] { result = longer.compare(IntVec()); }), line("i < size_", 62));
  EXPECT_EQ(result, 1);
}

TEST(VectorBounds, CheckedAccessPrintsAndGoesOn)
{
  IntVec v{1, 2};
  const IntVec& cv = v;
  EXPECT_EQ(printed([&] { v[2] = 9; }), line("i < size_", 61));
  EXPECT_EQ(v.at(2), 9);
  EXPECT_EQ(printed([&] { (void)cv[3]; }), line("i < size_", 62));
  EXPECT_EQ(printed([&] {
              (void)v[1];
              (void)v.front();
              (void)cv.back();
            }),
            "");
  v.clear();
  EXPECT_EQ(printed([&] { (void)cv.front(); }), line("size_ > 0", 65));
  EXPECT_EQ(printed([&] { (void)v.front(); }), line("size_ > 0", 66));
  EXPECT_EQ(printed([&] { (void)cv.back(); }), line("size_ > 0", 67));
  EXPECT_EQ(printed([&] { v.back() = 5; }), line("size_ > 0", 68));
  EXPECT_EQ(v.at(0), 5);
}

TEST(VectorSlice, ClampsCopiesAndPrintsOncePerElement)
{
  const IntVec v{0, 1, 2, 3, 4};
  std::unique_ptr<IntVec> part;
  EXPECT_EQ(printed([&] { part.reset(v.slice(3, 10)); }), line("i < size_", 61) + line("i < size_", 61));
  EXPECT_EQ(items(*part), (Ints{3, 4}));

  std::unique_ptr<IntVec> none(v.slice(4, 2));
  ASSERT_NE(none, nullptr);
  EXPECT_TRUE(none->empty());

  IntVec::Handle handle;
  printed([&] { handle = v(1, 3); });
  EXPECT_EQ(items(*handle), (Ints{1, 2}));
  EXPECT_EQ(handle.refCount(), 1u);
}

TEST(OrderedVector, StaysSortedThroughEveryWayIn)
{
  OrderedVector<int> v;
  unsigned int i = 99;
  EXPECT_FALSE(v.locate(3, i));
  EXPECT_EQ(i, 0u);
  for (int x : {5, 1, 4, 1, 9}) v.push_back(x);
  EXPECT_EQ(items(v), (Ints{1, 1, 4, 5, 9}));
  EXPECT_EQ(v.add(6), 4u);
  struct Probe
  {
    int x;
    bool found;
    unsigned int index;
  };
  for (const Probe& p : {Probe{0, false, 0}, Probe{4, true, 2}, Probe{7, false, 5}, Probe{10, false, 6}}) {
    EXPECT_EQ(v.locate(p.x, i), p.found) << p.x;
    EXPECT_EQ(i, p.index) << p.x;
  }

  // Through the base's table as well.
  Vector<int>& base = v;
  EXPECT_TRUE(base.intern(2, i));
  EXPECT_EQ(i, 2u);
  EXPECT_FALSE(base.intern(9, i));
  base.push_back(3);
  EXPECT_EQ(items(v), (Ints{1, 1, 2, 3, 4, 5, 6, 9}));
}

TEST(OrderedVector, ConsumeSortsTheArrayItTakes)
{
  OrderedVector<int> ints;
  IntVec loose{3, 1, 2, 1};
  ints.consume(loose);
  EXPECT_EQ(items(ints), (Ints{1, 1, 2, 3}));

  // Short std::strings point into themselves, so they must not be sorted as raw bytes.
  OrderedVector<std::string> strings;
  Vector<std::string> words{"pear", "apple", "fig", "kiwi", "date"};
  strings.consume(words);
  EXPECT_EQ(items(strings), (std::vector<std::string>{"apple", "date", "fig", "kiwi", "pear"}));

  const int one = 1, two = 2;
  EXPECT_EQ(OrderedVector<int>::sortFn(&one, &one), 0);
  EXPECT_EQ(OrderedVector<int>::sortFn(&one, &two), -1);
  EXPECT_EQ(OrderedVector<int>::sortFn(&two, &one), 1);
}

TEST(OrderedVector, FindsSmartPtrsByTheirObjects)
{
  OrderedVector<SmartPtr<std::string>> v;
  for (const char* name : {"delta", "alpha", "charlie"}) v.add(SmartPtr<std::string>(new std::string(name)));
  unsigned int i = 0;
  EXPECT_TRUE(v.locate(SmartPtr<std::string>(new std::string("charlie")), i));
  EXPECT_EQ(i, 1u);
  EXPECT_EQ(*v[0], "alpha");
  EXPECT_FALSE(v.locate(SmartPtr<std::string>(new std::string("bravo")), i));
  EXPECT_EQ(i, 1u);
}

} // namespace
