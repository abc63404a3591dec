// The default status window, an in-memory character grid, and the host's factory.
#include <gtest/gtest.h>

#include "libOS/OS.h"

namespace {

struct RecordingHandler : iStatusWindow::iEventHandler
{
  int keys = 0;
  int lastKey = 0;
  int closes = 0;
  int shown = 0;
  int hidden = 0;
  void onKey(int k) override
  {
    ++keys;
    lastKey = k;
  }
  void onClose() override { ++closes; }
  void onVisibilityChanged(bool v) override { ++(v ? shown : hidden); }
};

Zr::Ptr<iStatusWindow> makeWindow(int w, int h, Zr::Ptr<iStatusWindow::iEventHandler> handler = nullptr)
{
  iStatusWindow::Params p;
  p.width = w;
  p.height = h;
  p.handler = handler;
  return OS()->createStatusWindow(p);
}

std::wstring line(const Zr::Ptr<iStatusWindow>& w, int y)
{
  return w->getLine(y).c_str();
}

TEST(StatusWindow, CharactersLandInTheirCellsAndEdgesAreIgnored)
{
  auto w = makeWindow(6, 3);
  EXPECT_EQ(w->height(), 3);
  w->putString(1, 0, L"hello world"); // cut at the right edge
  w->putChar(-1, 0, L'X');
  w->putChar(0, 3, L'X');
  w->putChar(5, 2, L'Z');
  EXPECT_EQ(line(w, 0), L" hello");
  EXPECT_EQ(line(w, 2), L"     Z");
  EXPECT_EQ(w->getChar(5, 2), L'Z');
  EXPECT_EQ(w->getChar(9, 9), L' ');
  EXPECT_TRUE(w->getLine(7).empty());
}

TEST(StatusWindow, ClearAndScrollMoveOnlyTheirRegion)
{
  auto w = makeWindow(4, 4);
  w->putString(0, 0, L"aaaa");
  w->putString(0, 1, L"bbbb");
  w->putString(0, 2, L"cccc");
  w->putString(0, 3, L"dddd");
  w->scroll(1, 3, 1); // rows 1..3 up by one; row 0 untouched
  EXPECT_EQ(line(w, 0), L"aaaa");
  EXPECT_EQ(line(w, 1), L"cccc");
  EXPECT_EQ(line(w, 2), L"dddd");
  EXPECT_EQ(line(w, 3), L"    ");
  w->clearRect(1, 0, 2, 1);
  EXPECT_EQ(line(w, 0), L"a  a");
  EXPECT_EQ(line(w, 1), L"c  c");
  w->scroll(0, 3, 10); // more lines than the region blanks it
  EXPECT_EQ(line(w, 0), L"    ");
}

TEST(StatusWindow, EventsReachTheHandler)
{
  Zr::Ptr<RecordingHandler> h(new RecordingHandler);
  auto w = makeWindow(10, 2, h);
  EXPECT_FALSE(w->isVisible());
  w->setVisible(true);
  w->setVisible(true); // no change, no event
  EXPECT_EQ(h->shown, 1);
  w->postKey(27);
  EXPECT_EQ(h->keys, 1);
  EXPECT_EQ(h->lastKey, 27);
  w->postClose();
  EXPECT_EQ(h->closes, 1);
  EXPECT_FALSE(w->isVisible());
  EXPECT_EQ(h->hidden, 1);
}

TEST(StatusWindow, HostFactoryReplacesTheDefault)
{
  int made = 0;
  OS()->setStatusWindowFactory([&](const iStatusWindow::Params& p) {
    ++made;
    iStatusWindow::Params bigger = p;
    bigger.width = 2 * p.width;
    OS()->setStatusWindowFactory(nullptr); // a factory may restore the default from inside
    return OS()->createStatusWindow(bigger);
  });
  auto w = makeWindow(5, 1);
  EXPECT_EQ(made, 1);
  EXPECT_EQ(w->width(), 10);
  auto plain = makeWindow(5, 1);
  EXPECT_EQ(made, 1);
  EXPECT_EQ(plain->width(), 5);
}

} // namespace
