#include "core/config_outb.h"

#include <cstdio>

#include "identity/Cookie.h"
#include "identity/IdStamp.h"

int config_outb::depth_ = 0;

namespace {

constexpr int kPrefixCount = 16;

// Filled by make_prefixes; static storage, so it is ready at load time.
char prefixes[kPrefixCount][2 * kPrefixCount];

} // namespace

config_outb::config_outb(std::ofstream* out, const char* name) : out_(out), name_(name ? name : "")
{
  if (!out_) return;
  *out_ << get_prefix_string() << "{ " << name_ << '\n';
  out_->flush();
}

config_outb::~config_outb()
{
  if (!out_) return;
  // A stream error stays in the stream: nothing leaves a destructor.
  try {
    *out_ << get_prefix_string() << "} " << name_ << '\n';
    out_->flush();
  } catch (...) {
  }
}

void config_outb::line(const char* name, const char* value)
{
  if (!out_) return;
  *out_ << get_prefix_string() << "  " << (name ? name : "") << ' ' << (value ? value : "") << '\n';
  out_->flush();
}

void config_outb::out(const char* name, const char* value)
{
  line(name, value);
}

void config_outb::out(const char* name, int value)
{
  char text[16];
  std::snprintf(text, sizeof text, "%d", value);
  line(name, text);
}

void config_outb::out(const char* name, unsigned int value)
{
  char text[16];
  std::snprintf(text, sizeof text, "%u", value);
  line(name, text);
}

void config_outb::out(const char* name, double value)
{
  char text[400];
  std::snprintf(text, sizeof text, "%.8lf", value);
  line(name, text);
}

void config_outb::out(const char* name, const Cookie& value)
{
  line(name, value.asString(false).c_str());
}

void config_outb::out(const char* name, const IdStamp& value)
{
  line(name, value.asString().c_str());
}

void config_outb::out(const char* name, const bool& value)
{
  line(name, value ? "true" : "false");
}

void config_outb::make_prefixes()
{
  // Each row holds 2 * i blanks; the rest of the static array is already zero.
  for (int i = 0; i < kPrefixCount; ++i)
    for (int j = 0; j < 2 * i; ++j) prefixes[i][j] = ' ';
}

const char* config_outb::get_prefix_string()
{
  static const bool made = (make_prefixes(), true);
  (void)made;
  int depth = depth_;
  if (depth < 0) depth = 0;
  if (depth >= kPrefixCount) depth = kPrefixCount - 1;
  return prefixes[depth];
}
