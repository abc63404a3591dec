// The default status window: a character grid in memory. A host with a
// window system draws its own; tests and headless hosts read this one back.
#include <algorithm>
#include <mutex>
#include <vector>

#include "libOS/posix/Services.h"

namespace {

class MemoryStatusWindow final : public iStatusWindow
{
public:
  explicit MemoryStatusWindow(const Params& p)
      : width_(std::max(1, p.width)), height_(std::max(1, p.height)), visible_(p.visible), onTop_(p.onTop),
        title_(p.title), handler_(p.handler), cells_(size_t(width_) * size_t(height_), L' ')
  {
  }

  int width() const override { return width_; }
  int height() const override { return height_; }

  void setVisible(bool visible) override
  {
    Zr::Ptr<iEventHandler> handler;
    {
      std::lock_guard<std::mutex> guard(lock_);
      if (visible_ == visible) return;
      visible_ = visible;
      handler = handler_;
    }
    // The handler runs unlocked: it may call back into the window.
    if (handler) handler->onVisibilityChanged(visible);
  }
  bool isVisible() const override
  {
    std::lock_guard<std::mutex> guard(lock_);
    return visible_;
  }
  void setOnTop(bool onTop) override
  {
    std::lock_guard<std::mutex> guard(lock_);
    onTop_ = onTop;
  }
  bool isOnTop() const override
  {
    std::lock_guard<std::mutex> guard(lock_);
    return onTop_;
  }
  void setTitle(const LightweightString<wchar_t>& title) override
  {
    std::lock_guard<std::mutex> guard(lock_);
    title_ = title;
  }

  void putChar(int x, int y, wchar_t c) override
  {
    std::lock_guard<std::mutex> guard(lock_);
    if (inside(x, y)) cell(x, y) = c;
  }
  wchar_t getChar(int x, int y) const override
  {
    std::lock_guard<std::mutex> guard(lock_);
    return inside(x, y) ? cells_[index(x, y)] : L' ';
  }
  void putString(int x, int y, const wchar_t* text) override
  {
    if (!text) return;
    std::lock_guard<std::mutex> guard(lock_);
    if (y < 0 || y >= height_) return;
    for (; *text && x < width_; ++text, ++x)
      if (x >= 0) cell(x, y) = *text;
  }
  void clearRect(int x0, int y0, int x1, int y1) override
  {
    std::lock_guard<std::mutex> guard(lock_);
    x0 = std::max(x0, 0);
    y0 = std::max(y0, 0);
    x1 = std::min(x1, width_ - 1);
    y1 = std::min(y1, height_ - 1);
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x) cell(x, y) = L' ';
  }
  void scroll(int top, int bottom, int lines) override
  {
    std::lock_guard<std::mutex> guard(lock_);
    top = std::max(top, 0);
    bottom = std::min(bottom, height_ - 1);
    if (top > bottom || lines <= 0) return;
    for (int y = top; y <= bottom; ++y) {
      const int from = y + lines;
      for (int x = 0; x < width_; ++x) cell(x, y) = from <= bottom ? cells_[index(x, from)] : L' ';
    }
  }
  LightweightString<wchar_t> getLine(int y) const override
  {
    std::lock_guard<std::mutex> guard(lock_);
    if (y < 0 || y >= height_) return LightweightString<wchar_t>();
    return LightweightString<wchar_t>(&cells_[index(0, y)], unsigned(width_));
  }

  void postKey(int keyCode) override
  {
    if (Zr::Ptr<iEventHandler> h = handler()) h->onKey(keyCode);
  }
  void postClose() override
  {
    setVisible(false);
    if (Zr::Ptr<iEventHandler> h = handler()) h->onClose();
  }

private:
  Zr::Ptr<iEventHandler> handler() const
  {
    std::lock_guard<std::mutex> guard(lock_);
    return handler_;
  }
  bool inside(int x, int y) const { return x >= 0 && y >= 0 && x < width_ && y < height_; }
  size_t index(int x, int y) const { return size_t(y) * size_t(width_) + size_t(x); }
  wchar_t& cell(int x, int y) { return cells_[index(x, y)]; }

  const int width_;
  const int height_;
  mutable std::mutex lock_;
  bool visible_;
  bool onTop_;
  LightweightString<wchar_t> title_;
  Zr::Ptr<iEventHandler> handler_;
  std::vector<wchar_t> cells_;
};

} // namespace

Zr::Ptr<iStatusWindow> posix::makeMemoryStatusWindow(const iStatusWindow::Params& params)
{
  return Zr::Ptr<iStatusWindow>(new MemoryStatusWindow(params));
}
