#include <gtest/gtest.h>

#include <dlfcn.h>
#include <stdexcept>
#include <vector>

#include "HeapCounter.h"
#include "PoolTestTypes.h"
#include "Zr/ZrPooledObject.h"

namespace {

using pooltest::heapDeletes;
using pooltest::heapNews;

// Each test pools a type of its own, since a type's stack lives as long as
// the process.
template <int N> struct Probe : Zr::PooledObject<Probe<N>>
{
  static inline int live = 0;
  Probe() { ++live; }
  virtual ~Probe() { --live; }
  virtual int tag() const { return N; }
  char payload[40] = {};
};

template <class T> Zr::LockFree::Stack<T>& stackOf()
{
  return *Zr::Private::StackHolder<T>::getStack();
}

TEST(PooledObject, EmptyStackTakesTheHeapAndCountStaysZero)
{
  using P = Probe<1>;
  // The registry's own first-use allocations are not the object's.
  stackOf<P>();
  Zr::Private::DebugTraitsHolder<Zr::PooledObjectDebug::NullTraits<P>>::getDT();
  const long news = heapNews();
  P* object = new P;
  EXPECT_EQ(heapNews() - news, 1);
  EXPECT_EQ(stackOf<P>().count(), 0u);
  EXPECT_EQ(stackOf<P>().top(), nullptr);
  EXPECT_EQ(object->tag(), 1);

  const long deletes = heapDeletes();
  delete object;
  EXPECT_EQ(heapDeletes(), deletes) << "pooled memory never goes back to the heap";
  EXPECT_EQ(stackOf<P>().count(), 1u);
  EXPECT_EQ(P::live, 0);
}

TEST(PooledObject, ReleasedObjectsComeBackLastInFirstOutWithoutTheHeap)
{
  using P = Probe<2>;
  constexpr int kObjects = 8;
  std::vector<P*> made;
  for (int i = 0; i < kObjects; ++i) made.push_back(new P);
  for (P* object : made) delete object;
  EXPECT_EQ(stackOf<P>().count(), unsigned(kObjects));

  std::vector<P*> again;
  again.reserve(kObjects);
  const long news = heapNews();
  for (int i = 0; i < kObjects; ++i) again.push_back(new P);
  EXPECT_EQ(heapNews(), news);
  EXPECT_EQ(stackOf<P>().count(), 0u);
  for (int i = 0; i < kObjects; ++i) EXPECT_EQ(again[i], made[kObjects - 1 - i]) << "at " << i;

  // Reused memory is a whole new object: constructed, with its own vtable.
  for (P* object : again) EXPECT_EQ(object->tag(), 2);
  EXPECT_EQ(P::live, kObjects);
  for (P* object : again) delete object;
  EXPECT_EQ(P::live, 0);
}

template <int N> struct Bigger : Probe<N>
{
  char extra[32] = {};
};

TEST(PooledObject, ObjectOfALargerDerivedClassUsesTheHeapAndLeavesTheStackAlone)
{
  using P = Probe<3>;
  delete new P;
  P* const top = stackOf<P>().top();
  ASSERT_NE(top, nullptr);

  const long news = heapNews();
  const long deletes = heapDeletes();
  P* derived = new Bigger<3>;
  EXPECT_NE(derived, top);
  EXPECT_EQ(heapNews() - news, 1);
  delete derived; // through the base, with the derived class's size
  EXPECT_EQ(heapDeletes() - deletes, 1);
  EXPECT_EQ(stackOf<P>().count(), 1u);
  EXPECT_EQ(stackOf<P>().top(), top);
}

TEST(PooledObject, DeletingNullLeavesTheStackAlone)
{
  using P = Probe<4>;
  delete new P;
  P* const top = stackOf<P>().top();
  P::operator delete(nullptr, sizeof(P));
  P* none = nullptr;
  delete none;
  EXPECT_EQ(stackOf<P>().count(), 1u);
  EXPECT_EQ(stackOf<P>().top(), top);
}

struct ThrowsOnDemand : Zr::PooledObject<ThrowsOnDemand>
{
  explicit ThrowsOnDemand(bool fail)
  {
    if (fail) throw std::runtime_error("construction fails");
  }
  long payload[6] = {};
};

TEST(PooledObject, MemoryOfAFailedConstructionGoesBackToTheStack)
{
  EXPECT_THROW(new ThrowsOnDemand(true), std::runtime_error);
  EXPECT_EQ(stackOf<ThrowsOnDemand>().count(), 1u);
  void* const spare = stackOf<ThrowsOnDemand>().top();

  const long news = heapNews();
  ThrowsOnDemand* object = new ThrowsOnDemand(false);
  EXPECT_EQ(heapNews(), news);
  EXPECT_EQ(static_cast<void*>(object), spare);
  delete object;
}

TEST(PooledObject, PlacementNewStillWorksOnAPooledClass)
{
  alignas(Probe<5>) unsigned char buffer[sizeof(Probe<5>)];
  Probe<5>* object = new (buffer) Probe<5>;
  EXPECT_EQ(object->tag(), 5);
  object->~Probe<5>();
  EXPECT_EQ(stackOf<Probe<5>>().count(), 0u);
}

struct Logged : Zr::PooledObject<Logged, Zr::PooledObjectAllocation::DefaultTraits,
                                 Zr::PooledObjectDebug::LoggingTraits<Logged>>
{
  int payload[10] = {};
};

TEST(PooledObject, LoggingTraitsSeeEveryObjectAndTheStacksCount)
{
  auto* traits = Zr::Private::DebugTraitsHolder<Zr::PooledObjectDebug::LoggingTraits<Logged>>::getDT();
  ASSERT_NE(traits, nullptr);
  Logged* first = new Logged;
  delete first;
  Logged* second = new Logged; // from the stack, which held one
  EXPECT_EQ(second, first);
  EXPECT_EQ(traits->pops(), 2u);
  EXPECT_EQ(traits->heapPops(), 1u);
  EXPECT_EQ(traits->outstanding(), 1);
  delete second;
  EXPECT_EQ(traits->pushes(), 2u);
  EXPECT_EQ(traits->outstanding(), 0);
}

TEST(PooledObject, TwoModulesOfOneProcessShareOneStack)
{
  void* module = dlopen(ZR_POOL_MODULE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(module, nullptr) << dlerror();
  auto api = reinterpret_cast<PoolModuleApi (*)()>(dlsym(module, "poolModuleApi"));
  ASSERT_NE(api, nullptr) << dlerror();
  const PoolModuleApi other = api();

  EXPECT_EQ(other.stack(), &stackOf<SharedPooled>());

  SharedPooled* mine = new SharedPooled;
  delete mine;
  SharedPooled* theirs = other.make();
  EXPECT_EQ(theirs, mine) << "the module took a fresh object while ours was free";
  EXPECT_EQ(theirs->kind(), 1);
  other.drop(theirs);
  EXPECT_EQ(stackOf<SharedPooled>().count(), 1u);
  SharedPooled* back = new SharedPooled;
  EXPECT_EQ(back, mine);
  delete back;
  dlclose(module);
}

} // namespace
