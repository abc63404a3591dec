// The status window: a character-cell text window for the debug console.
//
// The default window is an in-memory grid that a host or a test can read
// back; a host with a window system installs a factory of its own. Cells
// outside the grid are ignored. Thread-safe.
#pragma once

#include <functional>

#include "libOS/LightweightString.h"
#include "libOS/iObject.h"

class iStatusWindow : public iObject
{
public:
  // What the window tells its owner.
  class iEventHandler : public iObject
  {
  public:
    // The user closed the window (it is hidden, not destroyed).
    virtual void onClose() {}
    // A key was pressed in the window.
    virtual void onKey(int keyCode) { (void)keyCode; }
    // The visibility changed.
    virtual void onVisibilityChanged(bool visible) { (void)visible; }
  };

  struct Params
  {
    LightweightString<wchar_t> title;
    int width = 80;
    int height = 25;
    bool onTop = false;
    bool visible = false;
    Zr::Ptr<iEventHandler> handler;
  };

  virtual int width() const = 0;
  virtual int height() const = 0;

  virtual void setVisible(bool visible) = 0;
  virtual bool isVisible() const = 0;
  virtual void setOnTop(bool onTop) = 0;
  virtual bool isOnTop() const = 0;
  virtual void setTitle(const LightweightString<wchar_t>& title) = 0;

  // Writes one character at column x, row y.
  virtual void putChar(int x, int y, wchar_t c) = 0;
  // Reads one character back; a blank outside the grid.
  virtual wchar_t getChar(int x, int y) const = 0;
  // Writes a run of characters from column x, cut at the right edge.
  virtual void putString(int x, int y, const wchar_t* text) = 0;
  // Fills the rectangle of columns x0..x1 and rows y0..y1 (inclusive) with blanks.
  virtual void clearRect(int x0, int y0, int x1, int y1) = 0;
  // Moves rows top..bottom (inclusive) up by `lines`, blanking the rows freed.
  virtual void scroll(int top, int bottom, int lines) = 0;
  // One row as text, trailing blanks kept.
  virtual LightweightString<wchar_t> getLine(int y) const = 0;

  // Passes an event to the handler as a window system would.
  virtual void postKey(int keyCode) = 0;
  virtual void postClose() = 0;
};

using StatusWindowFactory = std::function<Zr::Ptr<iStatusWindow>(const iStatusWindow::Params&)>;
