#include "core/Config.h"

#include <cstring>
#include <vector>

#include "core/configb.h"
#include "identity/Cookie.h"
#include "identity/IdStamp.h"
#include "libzr/Strings.h"
#include "logging/DebugConsole.h"
#include "settings/RegistryConfig.h"

namespace {

const char* orEmpty(const char* text)
{
  return text ? text : "";
}

LightweightString<char> topLevel()
{
  return LightweightString<char>();
}

// Overridden values of config_string, by lower-cased name. It only grows, so
// that every text it handed out stays valid; it is never destroyed, so that
// reads from destructors at exit still work.
struct StringCache
{
  std::vector<LightweightString<char>> names;
  std::vector<LightweightString<char>> values;
};

StringCache& stringCache()
{
  static StringCache* cache = new StringCache;
  return *cache;
}

} // namespace

int config_init(const char* name)
{
  if (configb::initFailed_) {
    delete configb::pconf_;
    configb::pconf_ = nullptr;
  } else if (configb::pconf_) {
    return 0;
  }
  configb* block = new configb(name ? name : "config.dat", "\\qor\\dat\\config.dat");
  if (configb::initFailed_) {
    delete block;
    configb::pconf_ = nullptr;
  } else {
    configb::pconf_ = block;
  }
  return configb::initFailed_ ? 1 : 0;
}

void config_flush() {}

const char* config_string(const char* name, const char* dflt)
{
  const LightweightString<char> key = toLower(LightweightString<char>(name));
  StringCache& cache = stringCache();
  for (size_t i = 0; i < cache.names.size(); ++i)
    if (cache.names[i] == key) return cache.values[i].c_str();

  const LightweightString<char> value =
      GlobalConfig().getValue(LightweightString<char>(name), orEmpty(dflt), topLevel());
  if (value == orEmpty(dflt)) return dflt;
  cache.names.push_back(key);
  cache.values.push_back(value);
  return cache.values.back().c_str();
}

char* config_string(const char* name, char* buffer, int size, const char* dflt)
{
  if (!buffer || size < 0) return buffer;
  const LightweightString<char> value =
      GlobalConfig().getValue(LightweightString<char>(name), orEmpty(dflt), topLevel());
  std::strncpy(buffer, value.c_str(), size_t(size));
  buffer[size] = 0;
  if (value != orEmpty(dflt))
    Log("Default overridden: %s = %s (dflt %s)\n", orEmpty(name), value.c_str(), orEmpty(dflt));
  return buffer;
}

int config_int(const char* name, int dflt)
{
  const int value = GlobalConfig().getValue(LightweightString<char>(name), dflt, topLevel());
  if (value != dflt) Log("Default overridden: %s = %d (dflt %d)\n", orEmpty(name), value, dflt);
  return value;
}

long config_long(const char* name, long dflt)
{
  return GlobalConfig().getValue(LightweightString<char>(name), dflt, topLevel());
}

double config_double(const char* name, double dflt)
{
  const double value = GlobalConfig().getValue(LightweightString<char>(name), dflt, topLevel());
  if (value != dflt) Log("Default overridden: %s = %f (dflt %f)\n", orEmpty(name), value, dflt);
  return value;
}

bool config_Bool(const char* name, bool dflt)
{
  return GlobalConfig().getValue(LightweightString<char>(name), dflt, topLevel());
}

Cookie config_cookie(const char* name, const Cookie& dflt)
{
  return GlobalConfig().getValue(LightweightString<char>(name), dflt, topLevel());
}

IdStamp config_IdStamp(const char* name, const IdStamp& dflt)
{
  return GlobalConfig().getValue(LightweightString<char>(name), dflt, topLevel());
}
