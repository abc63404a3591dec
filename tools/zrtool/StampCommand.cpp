// zrtool stamp: what an IdStamp text holds.
#include <cctype>
#include <cstdio>
#include <ctime>

#include "Tool.h"
#include "identity/IdStamp.h"

namespace zrtool {

namespace {

const char* magicName(unsigned type)
{
  switch (type) {
  case IdStampMagic::eNotMagic:
    return "none";
  case IdStampMagic::eAnyStamp:
    return "any stamp";
  case IdStampMagic::eNoStamp:
    return "no stamp";
  case IdStampMagic::eDefault:
    return "default";
  default:
    return "unknown";
  }
}

// The text form is 8 + 8 hexadecimal digits and 1 to 8 more for the tick
// word; the reader takes anything, so the tool says when a text is not that.
bool isWellFormed(const std::string& text)
{
  if (text.size() < 17 || text.size() > 24) return false;
  for (char c : text)
    if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
  return true;
}

std::string utcDate(std::uint32_t stampSeconds)
{
  const std::time_t t = std::time_t(IdStamp::kEpoch) + std::time_t(stampSeconds);
  std::tm tm{};
  char text[64];
  if (!::gmtime_r(&t, &tm) || std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &tm) == 0) return "?";
  return text;
}

// Decodes one text; false when it is not a valid, well-formed stamp.
bool showStamp(const std::string& text)
{
  const IdStamp stamp(text.c_str());
  const bool wellFormed = isWellFormed(text);
  std::printf("%s\n", text.empty() ? "(empty text)" : text.c_str());
  std::printf("  machine:     %u (0x%08X)\n", stamp.machineNum(), stamp.machineNum());
  std::printf("  time:        %u (0x%08X)", stamp.timeBits(), stamp.timeBits());
  if (stamp.valid()) std::printf(", %s", utcDate(stamp.timeBits()).c_str());
  std::printf("\n");
  std::printf("  ticks:       %u (0x%X)\n", stamp.tickCount(), stamp.tickWord());
  std::printf("  magic type:  %u (%s)\n", unsigned(stamp.getMagicType()), magicName(stamp.getMagicType()));
  std::printf("  valid:       %s\n", stamp.valid() ? "yes" : "no (time 0: the null stamp)");
  std::printf("  well-formed: %s\n", wellFormed ? "yes" : "no (17 to 24 hexadecimal digits expected)");
  std::printf("  text:        %s\n", stamp.asString().c_str());
  return stamp.valid() && wellFormed;
}

} // namespace

int runStamp(const Args& args)
{
  if (args.empty()) return usageError("stamp", "no stamp text given");
  bool allValid = true;
  for (const std::string& text : args)
    if (!showStamp(text)) allValid = false;
  return allValid ? eOk : eBadData;
}

} // namespace zrtool
