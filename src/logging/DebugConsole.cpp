#include "logging/DebugConsole.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <mutex>

#include "core/Assert.h"
#include "core/Config.h"
#include "libOS/OS.h"
#include "libOS/Utf8.h"
#include "libzr/CriticalSection.h"

namespace {

constexpr int kMessageSize = 256;
constexpr int kTabWidth = 8;

// Constant-initialised: logging may start in any module's load-time code.
constinit CriticalSection consoleLock("herc lock");
std::atomic<bool> visible{false};
std::atomic<bool> debugStrings{false};

// Never destroyed, so that logging from other modules' exit code finds them.
Zr::Ptr<iStatusWindow>& window()
{
  static auto* w = new Zr::Ptr<iStatusWindow>;
  return *w;
}
// The column where the next character of the message area goes.
int messageColumn = 0;

struct Filter
{
  std::mutex lock;
  LightweightString<char> text;
};
Filter& filter()
{
  static auto* f = new Filter;
  return *f;
}
LightweightString<char> currentFilter()
{
  Filter& f = filter();
  std::lock_guard<std::mutex> guard(f.lock);
  return f.text;
}

double startMilliseconds()
{
  static const double start = OS()->timer()->getMilliseconds();
  return start;
}
double secondsSinceStart()
{
  return (OS()->timer()->getMilliseconds() - startMilliseconds()) / 1000.0;
}

struct Shape
{
  int width;
  int height;
  bool onTop;
};
const Shape& shape()
{
  static const Shape s{config_int("herc_width", 80), config_int("herc_height", 25),
                       config_int("console_on_top", 0) != 0};
  return s;
}

// The clock's zero and the window's shape are taken while the library loads.
[[maybe_unused]] const double loadTimeStart = startMilliseconds();
[[maybe_unused]] const Shape& loadTimeShape = shape();

// Keeps the visible flag in step with the window, whoever changes it, and
// passes every event on to the host's handler.
class ConsoleEvents final : public iStatusWindow::iEventHandler
{
public:
  explicit ConsoleEvents(Zr::Ptr<iStatusWindow::iEventHandler> host) : host_(std::move(host)) {}
  void onClose() override
  {
    if (host_) host_->onClose();
  }
  void onKey(int keyCode) override
  {
    if (host_) host_->onKey(keyCode);
  }
  void onVisibilityChanged(bool nowVisible) override
  {
    visible = nowVisible;
    if (host_) host_->onVisibilityChanged(nowVisible);
  }

private:
  Zr::Ptr<iStatusWindow::iEventHandler> host_;
};

void createDebugWindow(Zr::Ptr<iStatusWindow::iEventHandler> handler)
{
  iStatusWindow::Params params;
  params.title = L"Debug";
  params.width = shape().width;
  params.height = shape().height;
  params.onTop = shape().onTop;
  params.visible = false;
  params.handler = Zr::Ptr<iStatusWindow::iEventHandler>(new ConsoleEvents(std::move(handler)));
  window() = OS()->createStatusWindow(params);
  visible = window() && window()->isVisible();
  messageColumn = 0;
}

int statusRow(const iStatusWindow& w)
{
  return w.height() - 1;
}
// With a single row, the message area and the status line share it.
int messageBottom(const iStatusWindow& w)
{
  return w.height() >= 2 ? w.height() - 2 : 0;
}

void newMessageLine(iStatusWindow& w)
{
  w.scroll(0, messageBottom(w), 1);
  messageColumn = 0;
}

void putMessageChar(iStatusWindow& w, char c)
{
  if (messageColumn >= w.width()) newMessageLine(w);
  w.putChar(messageColumn++, messageBottom(w), static_cast<unsigned char>(c));
}

void putCells(iStatusWindow& w, int x, int y, const char* text)
{
  for (; *text; ++text, ++x) w.putChar(x, y, static_cast<unsigned char>(*text));
}

// Formats into buffer; false when the result is empty or does not fit.
bool formatMessage(char (&buffer)[kMessageSize], const char* format, va_list args)
{
  if (!format) return false;
  const int n = std::vsnprintf(buffer, kMessageSize, format, args);
  return n > 0 && n < kMessageSize;
}

bool passesFilter(const char* text)
{
  const LightweightString<char> f = currentFilter();
  return f.empty() || (text && std::strstr(text, f.c_str()));
}

bool passesFilter(const wchar_t* text)
{
  const LightweightString<char> f = currentFilter();
  if (f.empty()) return true;
  const LightweightString<wchar_t> wide = OSUtf8::toWide(f.c_str(), f.size());
  return text && std::wcsstr(text, wide.c_str());
}

void writeLogLine(const char* text)
{
  std::printf("%-9.3f: %s", secondsSinceStart(), text);
  std::fflush(stdout);
}

// Wide text goes out as UTF-8 whatever the C locale is, so that "%ls" does
// not drop characters outside ASCII.
void writeLogLine(const wchar_t* text, size_t length)
{
  const LightweightString<char> narrow = OSUtf8::toNarrow(text, length);
  writeLogLine(narrow.c_str());
}

} // namespace

void herc_init(Zr::Ptr<iStatusWindow::iEventHandler> handler)
{
  CriticalSection::Guard guard(consoleLock);
  if (window()) return;
  createDebugWindow(std::move(handler));
}

void herc_shutdown()
{
  Zr::Ptr<iStatusWindow> dropped;
  {
    CriticalSection::Guard guard(consoleLock);
    dropped = window();
    window() = Zr::Ptr<iStatusWindow>();
    visible = false;
  }
}

Zr::Ptr<iStatusWindow> herc_window()
{
  CriticalSection::Guard guard(consoleLock);
  return window();
}

bool debugWindowIsVisible()
{
  return visible;
}

void showDebugWindow(bool show)
{
  if (show != visible) toggleHercWindow();
}

void toggleHercWindow()
{
  Zr::Ptr<iStatusWindow> w = herc_window();
  if (!Zr::softAssert(static_cast<bool>(w), "window_", "misc/herc line 558")) return;
  const bool show = !visible;
  visible = show;
  w->setVisible(show);
}

void toggleWin32Debug()
{
  CriticalSection::Guard guard(consoleLock);
  const bool on = !debugStrings;
  debugStrings = on;
  // Debug strings are the debugger's channel, which is standard error here.
  std::fputs(on ? "------------------ Korvane Win32 debug output ON ------------------\n  \n"
                : "------------------ Korvane Win32 debug output OFF -----------------\n  \n",
             stderr);
  std::fflush(stderr);
}

bool outputDebugStrings()
{
  return debugStrings;
}

CriticalSection& getLock()
{
  return consoleLock;
}

void herc_printf(const char* format, ...)
{
  if (!visible) return;
  CriticalSection::Guard guard(consoleLock);
  char text[kMessageSize];
  va_list args;
  va_start(args, format);
  const int n = format ? std::vsnprintf(text, sizeof text, format, args) : -1;
  va_end(args);
  if (n < 0) return;
  for (const char* p = text; *p; ++p) herc_message_write(*p);
}

void herc_printf(int x, int y, const char* format, ...)
{
  if (!visible) return;
  CriticalSection::Guard guard(consoleLock);
  char text[kMessageSize];
  va_list args;
  va_start(args, format);
  const int n = format ? std::vsnprintf(text, sizeof text, format, args) : -1;
  va_end(args);
  if (n < 0) return;
  herc_putstr(x, y, text);
}

void herc_status_write(int x, char c)
{
  if (!visible) return;
  CriticalSection::Guard guard(consoleLock);
  if (iStatusWindow* w = window().get()) w->putChar(x, statusRow(*w), static_cast<unsigned char>(c));
}

void herc_status_write(int x, const char* format, ...)
{
  if (!visible) return;
  CriticalSection::Guard guard(consoleLock);
  iStatusWindow* w = window().get();
  if (!w) return;
  char text[kMessageSize];
  va_list args;
  va_start(args, format);
  const int n = format ? std::vsnprintf(text, sizeof text, format, args) : -1;
  va_end(args);
  if (n < 0) return;
  putCells(*w, x, statusRow(*w), text);
}

void herc_message_write(char c)
{
  if (!visible) return;
  CriticalSection::Guard guard(consoleLock);
  iStatusWindow* w = window().get();
  if (!w) return;
  switch (c) {
  case '\n':
    newMessageLine(*w);
    break;
  case '\r':
    messageColumn = 0;
    break;
  case '\t':
    do putMessageChar(*w, ' ');
    while (messageColumn % kTabWidth != 0 && messageColumn < w->width());
    break;
  default:
    putMessageChar(*w, c);
    break;
  }
}

void herc_message_write(const char* text)
{
  if (!visible || !text) return;
  CriticalSection::Guard guard(consoleLock);
  for (; *text; ++text) herc_message_write(*text);
}

void herc_putc(int x, int y, char c)
{
  if (!visible) return;
  CriticalSection::Guard guard(consoleLock);
  if (iStatusWindow* w = window().get()) w->putChar(x, y, static_cast<unsigned char>(c));
}

void herc_putstr(int x, int y, const char* text)
{
  if (!visible || !text) return;
  CriticalSection::Guard guard(consoleLock);
  if (iStatusWindow* w = window().get()) putCells(*w, x, y, text);
}

void herc_clear_rect(int x0, int y0, int x1, int y1)
{
  if (!visible) return;
  CriticalSection::Guard guard(consoleLock);
  if (iStatusWindow* w = window().get()) w->clearRect(x0, y0, x1, y1);
}

void herc_deleol(int x, int y)
{
  if (!visible) return;
  CriticalSection::Guard guard(consoleLock);
  if (iStatusWindow* w = window().get()) w->clearRect(x, y, w->width() - 1, y);
}

void herc_scroll(int top, int bottom, int lines)
{
  if (!visible) return;
  CriticalSection::Guard guard(consoleLock);
  if (iStatusWindow* w = window().get()) w->scroll(top, bottom, lines);
}

char* herc_ltoa(int value, char* buffer, int radix, int width)
{
  if (!buffer) return buffer;
  if (radix < 2 || radix > 36) radix = 10;
  // Digits are built backwards; 32 binary digits and a sign at most.
  char digits[40];
  int n = 0;
  const bool negative = value < 0;
  unsigned long long magnitude = negative
                                     ? 0ULL - static_cast<unsigned long long>(static_cast<long long>(value))
                                     : static_cast<unsigned long long>(value);
  do {
    digits[n++] = "0123456789abcdefghijklmnopqrstuvwxyz"[magnitude % radix];
    magnitude /= radix;
  } while (magnitude);
  if (negative) digits[n++] = '-';
  char* out = buffer;
  for (int pad = width - n; pad > 0; --pad) *out++ = ' ';
  while (n) *out++ = digits[--n];
  *out = 0;
  return buffer;
}

void Log(const char* format, ...)
{
  if (!passesFilter(format)) return;
  char text[kMessageSize];
  va_list args;
  va_start(args, format);
  const bool ok = formatMessage(text, format, args);
  va_end(args);
  if (!Zr::softAssert(ok, "false", "misc/herc line 500")) return;
  writeLogLine(text);
}

void Log(const wchar_t* format, ...)
{
  if (!passesFilter(format)) return;
  wchar_t text[kMessageSize];
  va_list args;
  va_start(args, format);
  // vswprintf gives -1 when the text does not fit.
  const int n = format ? std::vswprintf(text, kMessageSize, format, args) : -1;
  va_end(args);
  if (!Zr::softAssert(n > 0 && n < kMessageSize, "false", "misc/herc line 518")) return;
  writeLogLine(text, static_cast<size_t>(n));
}

void LogString(const char* text)
{
  if (!passesFilter(text)) return;
  const size_t n = text ? std::strlen(text) : 0;
  if (!Zr::softAssert(n > 0 && n < kMessageSize, "false", "misc/herc line 500")) return;
  writeLogLine(text);
}

void LogStringW(const wchar_t* text)
{
  if (!passesFilter(text)) return;
  const size_t n = text ? std::wcslen(text) : 0;
  if (!Zr::softAssert(n > 0 && n < kMessageSize, "false", "misc/herc line 518")) return;
  writeLogLine(text, n);
}

void LogBoth(const char* format, ...)
{
  if (!passesFilter(format)) return;
  char text[kMessageSize];
  va_list args;
  va_start(args, format);
  const bool ok = formatMessage(text, format, args);
  va_end(args);
  if (!Zr::softAssert(ok, "false", "misc/herc line 482")) return;
  writeLogLine(text);
  herc_printf("%s", text);
}

void SetLogFilter(const char* text)
{
  Filter& f = filter();
  std::lock_guard<std::mutex> guard(f.lock);
  f.text = text; // null or "" leaves the string empty
}
