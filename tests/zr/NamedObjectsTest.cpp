#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <dlfcn.h>
#include <stdexcept>
#include <thread>
#include <vector>

#include "NamedTestType.h"
#include "libzr/NamedObjectsNamespace.h"

extern "C" NamedModuleAnswer namedObjectFromModuleA();

namespace {

using Zr::NamedObjectsNamespace;

NamedObjectsNamespace& registry()
{
  return NamedObjectsNamespace::getGlobalNamespaceInstance();
}

std::atomic<int> slowMade{0};

struct SlowToMake
{
  // Slow enough that racing threads all arrive while the first is inside.
  SlowToMake()
  {
    ++slowMade;
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
  }
};

struct Plain
{
  int value = 3;
};
struct Other
{
};

std::atomic<int> throwsLeft{1};
struct FailsOnce
{
  FailsOnce()
  {
    if (throwsLeft-- > 0) throw std::runtime_error("first make fails");
  }
};

struct Outer
{
  // A factory that asks the registry for another name while it runs.
  Outer() { Zr::NamedObjects::findOrCreate(&inner); }
  Plain* inner = nullptr;
};

TEST(NamedObjects, SameNameGivesTheSameObjectAndAFilledSlotIsKept)
{
  Plain* first = nullptr;
  Plain* second = nullptr;
  Zr::NamedObjects::findOrCreate(&first, "test.same-name");
  Zr::NamedObjects::findOrCreate(&second, "test.same-name");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, second);
  EXPECT_EQ(first->value, 3);
  EXPECT_EQ(registry().find("test.same-name"), first);
  EXPECT_EQ(registry().find("test.never-made"), nullptr);

  Plain mine;
  Plain* slot = &mine;
  EXPECT_EQ(Zr::NamedObjects::findOrCreate(&slot, "test.filled-slot"), &mine);
  EXPECT_EQ(registry().find("test.filled-slot"), nullptr);
}

TEST(NamedObjects, RacingThreadsRunTheFactoryOnce)
{
  constexpr int kThreads = 8;
  std::vector<SlowToMake*> got(kThreads, nullptr);
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      ++ready;
      while (ready < kThreads) std::this_thread::yield();
      SlowToMake* slot = nullptr;
      got[t] = Zr::NamedObjects::findOrCreate(&slot, "test.race");
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(slowMade.load(), 1);
  ASSERT_NE(got[0], nullptr);
  for (SlowToMake* p : got) EXPECT_EQ(p, got[0]);
}

TEST(NamedObjects, SameNameWithAnotherTypeGivesNullAndAnAssertionLine)
{
  Plain* plain = nullptr;
  ASSERT_NE(Zr::NamedObjects::findOrCreate(&plain, "test.typed"), nullptr);
  Other* other = nullptr;
  testing::internal::CaptureStdout();
  EXPECT_EQ(Zr::NamedObjects::findOrCreate(&other, "test.typed"), nullptr);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(printed.rfind("assertion failed ", 0), 0u) << printed;
  EXPECT_EQ(printed.back(), '\n');
  // The first type still gets its object.
  Plain* again = nullptr;
  EXPECT_EQ(Zr::NamedObjects::findOrCreate(&again, "test.typed"), plain);
}

TEST(NamedObjects, FactoryThatThrowsIsTriedAgainByTheNextRequest)
{
  FailsOnce* slot = nullptr;
  EXPECT_THROW(Zr::NamedObjects::findOrCreate(&slot, "test.fails-once"), std::runtime_error);
  EXPECT_EQ(slot, nullptr);
  EXPECT_NE(Zr::NamedObjects::findOrCreate(&slot, "test.fails-once"), nullptr);
}

TEST(NamedObjects, FactoryMayAskForOtherNames)
{
  Outer* outer = nullptr;
  ASSERT_NE(Zr::NamedObjects::findOrCreate(&outer), nullptr);
  Plain* inner = nullptr;
  EXPECT_EQ(outer->inner, Zr::NamedObjects::findOrCreate(&inner));
}

TEST(NamedObjects, ModulesWithTheirOwnTemplateCopiesMeetOneObject)
{
  NamedTestType* mine = nullptr;
  Zr::NamedObjects::findOrCreate(&mine, typeid(NamedTestType).name());
  ASSERT_NE(mine, nullptr);

  EXPECT_EQ(namedObjectFromModuleA().object, mine);

  void* module = dlopen(ZR_NAMED_MODULE_B, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(module, nullptr) << dlerror();
  auto fromB = reinterpret_cast<NamedModuleAnswer (*)()>(dlsym(module, "namedObjectFromModuleB"));
  ASSERT_NE(fromB, nullptr) << dlerror();
  const NamedModuleAnswer answer = fromB();
  // Module b's type_info is an object of its own: the match is by name.
  EXPECT_NE(answer.type, &typeid(NamedTestType));
  EXPECT_EQ(answer.object, mine);
  EXPECT_EQ(answer.object->value, 7);
  dlclose(module);
}

} // namespace
