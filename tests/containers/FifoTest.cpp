// Fifo: first in, first out, and the checks against poisoned elements.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/Fifo.h"

namespace {

struct Job : FifoElement
{
  explicit Job(int v) : value(v) {}
  int value;
};

template <class F> std::string printed(F f)
{
  testing::internal::CaptureStdout();
  f();
  return testing::internal::GetCapturedStdout();
}

// Overwrites a link the way a freed or poisoned element would hold it
// (the links sit behind the table pointer: next, then previous).
void poisonLink(DLListRec& record, int which)
{
  const void* one = reinterpret_cast<const void*>(size_t(1));
  std::memcpy(reinterpret_cast<char*>(&record) + sizeof(void*) * (1 + which), &one, sizeof one);
}

TEST(Fifo, PopsInPushOrderAndNullWhenEmpty)
{
  Fifo fifo;
  EXPECT_EQ(fifo.pop(), nullptr);
  Job a(1), b(2), c(3);
  fifo.push(&a);
  fifo.push(&b);
  EXPECT_EQ(fifo.pop(), &a);
  fifo.push(&c);
  EXPECT_EQ(fifo.size(), 2u);
  EXPECT_EQ(fifo.pop(), &b);
  EXPECT_EQ(fifo.pop(), &c);
  EXPECT_EQ(fifo.pop(), nullptr);
  EXPECT_TRUE(fifo.isEmpty());
}

TEST(Fifo, PushReportsPoisonedElementsAndLinks)
{
  Fifo fifo;
  EXPECT_EQ(printed([&] { fifo.push(reinterpret_cast<FifoElement*>(size_t(1))); }),
            "assertion failed (size_t)elt != 1 at misc/fifo line 43\n");
  EXPECT_TRUE(fifo.isEmpty());

  Job next(1), previous(2);
  poisonLink(next, 0);
  poisonLink(previous, 1);
  EXPECT_EQ(printed([&] { fifo.push(&next); }),
            "assertion failed (size_t)elt->next() != 1 at misc/fifo line 44\n");
  EXPECT_EQ(printed([&] { fifo.push(&previous); }),
            "assertion failed (size_t)elt->previous() != 1 at misc/fifo line 45\n");
  // Queued all the same, with links of their own now.
  EXPECT_EQ(printed([&] {
              EXPECT_EQ(fifo.pop(), &next);
              EXPECT_EQ(fifo.pop(), &previous);
            }),
            "");
}

TEST(Fifo, PopReportsAPoisonedHeadAndLeavesTheQueueAlone)
{
  Fifo fifo;
  Job a(1), b(2);
  fifo.push(&a);
  fifo.push(&b);
  DLListRec* realNext = a.next();
  poisonLink(a, 0);
  EXPECT_EQ(printed([&] { EXPECT_EQ(fifo.pop(), nullptr); }),
            "assertion failed (size_t)elt->next() != 1 at misc/fifo line 57\n");
  std::memcpy(reinterpret_cast<char*>(&a) + sizeof(void*), &realNext, sizeof realNext);
  EXPECT_EQ(fifo.pop(), &a);
  EXPECT_EQ(fifo.pop(), &b);
}

} // namespace
