// The value types every interface speaks: Zr::Ptr and LightweightString.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <thread>
#include <vector>

#include "libOS/LightweightString.h"
#include "libOS/OS.h"

namespace {

using String = LightweightString<char>;
using WString = LightweightString<wchar_t>;

struct Counted : iObject
{
  explicit Counted(int* deaths) : deaths_(deaths) {}
  ~Counted() override { ++*deaths_; }
  int* deaths_;
};
struct Derived : Counted
{
  using Counted::Counted;
};

TEST(Ptr, IsTwoWordsCounterFirst)
{
  static_assert(sizeof(Zr::Ptr<iObject>) == 2 * sizeof(void*));
  static_assert(sizeof(String) == 2 * sizeof(void*));
  int deaths = 0;
  Counted* raw = new Counted(&deaths);
  Zr::Ptr<Counted> p(raw);
  void* words[2];
  std::memcpy(words, &p, sizeof words);
  EXPECT_EQ(words[0], raw->refCountWord());
  EXPECT_EQ(words[1], raw);
  Zr::Ptr<Counted> null;
  std::memcpy(words, &null, sizeof words);
  EXPECT_EQ(words[0], nullptr);
  EXPECT_EQ(words[1], nullptr);
}

TEST(Ptr, LastReleaseDeletesAndSelfAssignmentKeepsTheCount)
{
  int deaths = 0;
  {
    Zr::Ptr<Counted> a(new Counted(&deaths));
    Zr::Ptr<Counted> b = a;
    EXPECT_EQ(a.refCount(), 2u);
    b = b;
    EXPECT_EQ(a.refCount(), 2u);
    a = a;
    b.decRef();
    EXPECT_FALSE(b);
    EXPECT_EQ(a.refCount(), 1u);
    EXPECT_EQ(deaths, 0);
  }
  EXPECT_EQ(deaths, 1);
}

TEST(Ptr, ConvertingCopySharesTheCounterOfTheVirtualBase)
{
  int deaths = 0;
  Zr::Ptr<Derived> d(new Derived(&deaths));
  Zr::Ptr<iObject> o = d;
  EXPECT_EQ(o.counterWord(), d.counterWord());
  EXPECT_EQ(d.refCount(), 2u);
  Zr::Ptr<Derived> back = o.dynamicCast<Derived>();
  EXPECT_EQ(back.get(), d.get());
  EXPECT_EQ(d.refCount(), 3u);
  Zr::Ptr<iThreadEvent> wrong = o.dynamicCast<iThreadEvent>();
  EXPECT_FALSE(wrong);
  d = nullptr;
  back = nullptr;
  EXPECT_EQ(deaths, 0);
  o = nullptr;
  EXPECT_EQ(deaths, 1);
}

TEST(Ptr, ExternalCounterIsItsOwnBlock)
{
  struct Plain
  {
    int* deaths;
    ~Plain() { ++*deaths; }
  };
  int deaths = 0;
  using P = Zr::Ptr<Plain, Zr::DtorTraits, Zr::ExternalRefCountTraits>;
  P a(new Plain{&deaths});
  P b = a;
  EXPECT_EQ(a.refCount(), 2u);
  EXPECT_NE(static_cast<void*>(a.counterWord()), static_cast<void*>(a.get()));
  a = P();
  EXPECT_EQ(deaths, 0);
  b = P();
  EXPECT_EQ(deaths, 1);
}

TEST(Ptr, CopiesOnManyThreadsKeepAnExactCount)
{
  int deaths = 0;
  Zr::Ptr<Counted> shared(new Counted(&deaths));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([shared] {
      for (int i = 0; i < 20000; ++i) {
        Zr::Ptr<Counted> copy = shared;
        Zr::Ptr<iObject> base = copy;
      }
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(shared.refCount(), 1u);
  EXPECT_EQ(deaths, 0);
}

TEST(LightweightString, EmptyOwnsNothingAndEqualsNullText)
{
  const size_t blocks = OS()->allocator()->liveBlocks();
  String empty("");
  String null(static_cast<const char*>(nullptr));
  String def;
  EXPECT_EQ(OS()->allocator()->liveBlocks(), blocks);
  EXPECT_FALSE(empty.impl());
  EXPECT_TRUE(empty == def);
  EXPECT_TRUE(empty == static_cast<const char*>(nullptr));
  EXPECT_STREQ(def.c_str(), "");
  EXPECT_EQ(String::compare(nullptr, ""), 0);
  EXPECT_EQ(String::compare(nullptr, "a"), -1);
  EXPECT_EQ(String::compare("a", nullptr), 1);
  EXPECT_LT(String::compare("a", "b"), 0);
  EXPECT_GT(String::compare("\xff", "a"), 0); // unsigned, as strcmp
}

TEST(LightweightString, CapacityIsTheNextPowerOfTwoAndOneBlock)
{
  EXPECT_EQ(String("a").capacity(), 2u);
  EXPECT_EQ(String("ab").capacity(), 4u);
  EXPECT_EQ(String("abc").capacity(), 4u);
  EXPECT_EQ(String("abcd").capacity(), 8u);
  EXPECT_EQ(String::createImpl(5, false)->capacity, 6u);
  const size_t blocks = OS()->allocator()->liveBlocks();
  String s("hello");
  EXPECT_EQ(OS()->allocator()->liveBlocks(), blocks + 1);
  // The text stands directly behind the header in the same block.
  EXPECT_EQ(reinterpret_cast<const char*>(s.impl().get()) + sizeof(String::Impl), s.c_str());
}

TEST(LightweightString, AppendStaysInPlaceOnlyBelowCapacity)
{
  String two("ab");
  const char* before = two.c_str();
  two.push_back('c'); // length 3 < capacity 4
  EXPECT_EQ(two.c_str(), before);
  String three("abc");
  before = three.c_str();
  three.push_back('d'); // length 4 is not below capacity 4
  EXPECT_NE(three.c_str(), before);
  EXPECT_EQ(three.capacity(), 8u);
  EXPECT_STREQ(three.c_str(), "abcd");
  three.push_back('\0');
  three.append("xyz", 0);
  EXPECT_EQ(three.size(), 4u);
}

TEST(LightweightString, CopiesShareUntilOneWrites)
{
  String a("hello");
  String b = a;
  EXPECT_EQ(a.c_str(), b.c_str());
  EXPECT_TRUE(a.isShared());
  b[0] = 'h'; // same character: nothing is copied
  EXPECT_EQ(a.c_str(), b.c_str());
  b[0] = 'j';
  EXPECT_NE(a.c_str(), b.c_str());
  EXPECT_STREQ(a.c_str(), "hello");
  EXPECT_STREQ(b.c_str(), "jello");
  String c = a;
  c += "!";
  EXPECT_STREQ(a.c_str(), "hello");
  EXPECT_STREQ(c.c_str(), "hello!");
}

TEST(LightweightString, SelfAppendAndReplaceAndResize)
{
  String s("ab");
  s += s;
  EXPECT_STREQ(s.c_str(), "abab");
  s.append(s.c_str() + 1, 2); // from its own text
  EXPECT_STREQ(s.c_str(), "ababba");
  s.replace(1, 3, "XY", 2);
  EXPECT_STREQ(s.c_str(), "aXYba");
  s.replace(10, 5, "!", 1); // clamped to the end
  EXPECT_STREQ(s.c_str(), "aXYba!");
  s.resize(3);
  EXPECT_STREQ(s.c_str(), "aXY");
  s.resize(0);
  EXPECT_FALSE(s.impl());
  s.resizeFor(0);
  EXPECT_FALSE(s.impl());
  String joined = String::join("ab", 2, "cde", 3);
  EXPECT_STREQ(joined.c_str(), "abcde");
  EXPECT_STREQ(("x" + joined).c_str(), "xabcde");
}

TEST(LightweightString, WideStringsAre32Bit)
{
  static_assert(sizeof(wchar_t) == 4);
  WString w(L"\U0001F600z");
  EXPECT_EQ(w.size(), 2u);
  EXPECT_EQ(w[0], L'\U0001F600');
  WString n(3u, L'z');
  EXPECT_TRUE(n == L"zzz");
  std::map<WString, int> m{{L"b", 2}, {L"a", 1}};
  EXPECT_EQ(m.begin()->second, 1);
}

} // namespace
