// The message box. Without a host sink the message goes to standard error,
// so a program with no display still shows what it would have asked.
#include <cstdio>
#include <mutex>

#include "libOS/Utf8.h"
#include "libOS/posix/Services.h"

namespace {

class SinkMessageBox final : public iMessageBox
{
public:
  int show(const LightweightString<wchar_t>& text, const LightweightString<wchar_t>& title,
           int buttons) override
  {
    Sink sink;
    {
      std::lock_guard<std::mutex> guard(lock_);
      sink = sink_;
    }
    if (sink) return sink(text, title, buttons);
    const LightweightString<char> t = OSUtf8::toNarrow(title.c_str(), title.size());
    const LightweightString<char> m = OSUtf8::toNarrow(text.c_str(), text.size());
    std::fprintf(stderr, "[%s] %s\n", t.c_str(), m.c_str());
    std::fflush(stderr);
    // Nobody can answer: take the answer that changes nothing.
    if (buttons == eYesNo) return eResultNo;
    return buttons == eOKCancel ? eResultCancel : eResultOK;
  }

  void setSink(Sink sink) override
  {
    std::lock_guard<std::mutex> guard(lock_);
    sink_ = std::move(sink);
  }

private:
  std::mutex lock_;
  Sink sink_;
};

} // namespace

iMessageBox* posix::messageBox()
{
  static SinkMessageBox* instance = new SinkMessageBox;
  return instance;
}
