#include "identity/IdStamp.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "identity/CookieJar.h"
#include "logging/DebugConsole.h"
#include "streaming/PStream.h"

namespace {

// Shared by every new stamp; no lock, as stamps are made on the main thread.
std::uint32_t cachedMachine = 0;
std::uint32_t lastSeconds = 0;
std::uint32_t lastTicks = 0;

constexpr std::uint32_t kCounterLimit = 0x40000000;
constexpr std::uint32_t kTopBits = 0xFC000000;
constexpr std::uint32_t kRev1TickLimit = 0x3FFFFFF;
constexpr unsigned int kOldHeaderBytes = 38;

// strtol in base 16 over at most `count` characters of text.
std::uint32_t hexField(const char* text, size_t count)
{
  char field[9] = {};
  std::strncpy(field, text, count);
  return std::uint32_t(std::strtol(field, nullptr, 16));
}

} // namespace

std::uint32_t IdStamp::now()
{
  return std::uint32_t(std::time(nullptr)) - kEpoch;
}

IdStamp::IdStamp()
{
  const std::uint32_t seconds = now();
  const std::uint32_t next = (lastTicks & kTickMask) + 1;
  if (seconds == lastSeconds && next < kCounterLimit) {
    lastTicks = (lastTicks & kTopBits) | next;
  } else {
    lastSeconds = seconds;
    lastTicks = 0;
  }
  if (cachedMachine == 0) cachedMachine = std::uint32_t(our_machine_number_get_from_file());
  machine_ = cachedMachine;
  time_ = lastSeconds;
  ticks_ = lastTicks;
}

IdStamp::IdStamp(std::uint32_t machine, std::uint32_t time, std::uint32_t ticks)
    : machine_(machine), time_(time), ticks_(ticks)
{}

IdStamp::IdStamp(const char* text) : machine_(0), time_(0), ticks_(0)
{
  if (!text || !*text) return;
  const size_t length = std::strlen(text);
  machine_ = hexField(text, 8);
  if (length <= 8) return;
  time_ = hexField(text + 8, 8);
  if (length <= 16) return;
  // The rest, however long, is the tick word.
  ticks_ = std::uint32_t(std::strtol(text + 16, nullptr, 16));
}

void IdStamp::nullify()
{
  machine_ = time_ = ticks_ = 0;
}

int IdStamp::compare(const IdStamp& other) const
{
  if (machine_ != other.machine_) return int(machine_ - other.machine_);
  if (time_ != other.time_) return int(time_ - other.time_);
  return int(ticks_ - other.ticks_);
}

bool IdStamp::operator<(const IdStamp& other) const
{
  // compare() gives wrapped differences, which do not order; this does.
  if (machine_ != other.machine_) return machine_ < other.machine_;
  if (time_ != other.time_) return time_ < other.time_;
  return ticks_ < other.ticks_;
}

LightweightString<char> IdStamp::asString() const
{
  if (!valid()) return LightweightString<char>();
  char text[32];
  const int n = std::snprintf(text, sizeof text, "%08X%08X%X", machine_, time_, ticks_);
  return LightweightString<char>(text, unsigned(n));
}

void IdStamp::pack(PStream& stream) const
{
  stream << asString();
}

void IdStamp::unpack(PStream& stream, unsigned char version)
{
  if (version == 'S') {
    stream.skip(kOldHeaderBytes);
    version = 1;
  }
  LightweightString<char> text;
  stream >> text;
  *this = IdStamp(text.c_str());
  if (version == 1 && ticks_ > kRev1TickLimit) {
    herc_printf("WARNING: Encountered Rev.1 IdStamp with out-of-range tickBits value.\n");
    // puts ends the line itself.
    std::puts("WARNING: Encountered Rev.1 IdStamp with out-of-range tickBits value.");
  }
}

void IdStamp::setMagicType(IdStampMagic::MagicType type)
{
  ticks_ = (ticks_ & kTickMask) | (std::uint32_t(type) << kMagicShift);
}

void IdStamp::setCounterState(std::uint32_t seconds, std::uint32_t tickWord)
{
  lastSeconds = seconds;
  lastTicks = tickWord;
}
