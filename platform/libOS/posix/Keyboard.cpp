// The key-state table. The host sets it from its window system's events, so
// that the library can poll keys (Escape to interrupt, modifiers) without a display.
#include <mutex>
#include <unordered_set>

#include "libOS/posix/Services.h"

namespace {

class KeyTable final : public iKeyboard
{
public:
  bool isKeyDown(int keyCode) const override
  {
    std::lock_guard<std::mutex> guard(lock_);
    return down_.count(keyCode) != 0;
  }

  void setKeyDown(int keyCode, bool down) override
  {
    std::lock_guard<std::mutex> guard(lock_);
    if (down)
      down_.insert(keyCode);
    else
      down_.erase(keyCode);
  }

  void clear() override
  {
    std::lock_guard<std::mutex> guard(lock_);
    down_.clear();
  }

private:
  mutable std::mutex lock_;
  std::unordered_set<int> down_;
};

} // namespace

iKeyboard* posix::keyboard()
{
  static KeyTable* instance = new KeyTable;
  return instance;
}
