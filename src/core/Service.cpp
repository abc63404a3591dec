#include "core/Service.h"

#include <atomic>
#include <cstdint>

#include "core/Config.h"
#include "libOS/OS.h"
#include "libzr/CriticalSection.h"

namespace {

// Constant-initialised, so that load-time code of any module may take it.
constinit CriticalSection serviceLock("global int lock");
std::atomic<int> lockWaiters{0};
std::atomic<unsigned int> lockEntries{0};

int disablePin = -1;
bool serviceInitDone = false;

std::atomic<unsigned long> mainWindow{0};

constexpr int kEscape = 27;
constexpr int kSpace = 32;
constexpr int kModifiers[] = {0x2000000, 0x1000000, 0x4000000, 0x100000};

bool keyDown(int code)
{
  return OS()->keyboard()->isKeyDown(code);
}

} // namespace

int service_init()
{
  if (!serviceInitDone) {
    serviceInitDone = true;
    disablePin = config_int("disable_pin", disablePin);
  }
  return 0;
}

void service_disable()
{
  ++lockWaiters;
  serviceLock.enter();
  --lockWaiters;
  ++lockEntries;
}

void service_enable()
{
  serviceLock.leave();
}

unsigned int who_owns_service_lock()
{
  return serviceLock.owner();
}

void setMainWindowHandle(unsigned long handle)
{
  mainWindow.store(handle);
}

unsigned long getMainWindowHandle()
{
  return mainWindow.load();
}

bool g_esc_pressed()
{
  return keyDown(kEscape);
}

bool g_esc_or_space_pressed()
{
  return keyDown(kEscape) || keyDown(kSpace);
}

unsigned char qor_check_interrupt()
{
  return static_cast<unsigned char>(g_esc_or_space_pressed());
}

int getKeyboardModifiers()
{
  int sum = 0;
  for (int code : kModifiers)
    if (keyDown(code)) sum += code;
  return sum;
}

double service_get_msecs_precise()
{
  return OS()->timer()->getMilliseconds();
}

int service_get_msecs()
{
  // Through 64 bits, so that a clock past 2^31 milliseconds wraps rather
  // than overflowing the conversion.
  return static_cast<int>(static_cast<int64_t>(service_get_msecs_precise()));
}
