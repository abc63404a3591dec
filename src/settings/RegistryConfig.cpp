#include "settings/RegistryConfig.h"

#include <strings.h>

#include <atomic>
#include <cstdlib>
#include <mutex>

#include <loki/Singleton.h>

#include "core/Assert.h"
#include "core/configb.h"
#include "files/TextFile.h"
#include "identity/Cookie.h"
#include "identity/IdStamp.h"
#include "libOS/OS.h"
#include "libzr/Strings.h"

const char* BoolAsString(bool value)
{
  return value ? "true" : "false";
}

RegistryConfig::RegistryConfig(Zr::Ptr<iSettings> settings, const LightweightString<wchar_t>& overrideFile)
    : settings_(std::move(settings))
{
  if (overrideFile.empty() || !OS()->fileManager()->exists(overrideFile)) return;
  override_ = std::make_shared<configb>();
  override_->set_config_name(toUTF8(overrideFile).c_str());
  override_->readFromFile(overrideFile);
}

RegistryConfig::~RegistryConfig() = default;

LightweightString<char> RegistryConfig::getValue(const LightweightString<char>& name,
                                                 const LightweightString<char>& dflt,
                                                 LightweightString<char> section)
{
  // The override file speaks for the top level only.
  if (override_ && section.empty() && !name.empty()) {
    LightweightString<char> value = override_->in(name.c_str());
    if (!value.empty()) return value;
  }
  if (!settings_) return LightweightString<char>();
  return settings_->getValue(name, dflt, section);
}

LightweightString<char> RegistryConfig::getValue(const LightweightString<char>& name, const char* dflt,
                                                 LightweightString<char> section)
{
  return getValue(name, LightweightString<char>(dflt), std::move(section));
}

long RegistryConfig::getValue(const LightweightString<char>& name, long dflt, LightweightString<char> section)
{
  const LightweightString<char> text = getValue(name, StringFromInteger(dflt), std::move(section));
  // "0x10" is hexadecimal; anything strtol cannot read is 0.
  const int base = text.size() > 1 && (text[1] == 'x' || text[1] == 'X') ? 16 : 10;
  return std::strtol(text.c_str(), nullptr, base);
}

int RegistryConfig::getValue(const LightweightString<char>& name, int dflt, LightweightString<char> section)
{
  return int(getValue(name, long(dflt), std::move(section)));
}

bool RegistryConfig::getValue(const LightweightString<char>& name, bool dflt, LightweightString<char> section)
{
  const LightweightString<char> text = getValue(name, BoolAsString(dflt), std::move(section));
  if (strcasecmp(text.c_str(), BoolAsString(true)) == 0) return true;
  if (strcasecmp(text.c_str(), BoolAsString(false)) == 0) return false;
  return dflt;
}

double RegistryConfig::getValue(const LightweightString<char>& name, double dflt,
                                LightweightString<char> section)
{
  const LightweightString<char> text = getValue(name, StringFromFloat(dflt), std::move(section));
  return std::strtod(text.c_str(), nullptr);
}

Cookie RegistryConfig::getValue(const LightweightString<char>& name, const Cookie& dflt,
                                LightweightString<char> section)
{
  const LightweightString<char> text = getValue(name, dflt.asString(false), std::move(section));
  return Cookie(text.c_str(), true);
}

bool RegistryConfig::setValue(const LightweightString<char>& name, const LightweightString<char>& value,
                              LightweightString<char> section)
{
  if (!settings_) return false;
  return settings_->setValue(name, value, section);
}

bool RegistryConfig::setValue(const LightweightString<char>& name, const char* value,
                              LightweightString<char> section)
{
  return setValue(name, LightweightString<char>(value), std::move(section));
}

bool RegistryConfig::setValue(const LightweightString<char>& name, int value, LightweightString<char> section)
{
  return setValue(name, StringFromInteger(value), std::move(section));
}

bool RegistryConfig::setValue(const LightweightString<char>& name, bool value,
                              LightweightString<char> section)
{
  return setValue(name, LightweightString<char>(BoolAsString(value)), std::move(section));
}

bool RegistryConfig::setValue(const LightweightString<char>& name, double value,
                              LightweightString<char> section)
{
  return setValue(name, StringFromFloat(value), std::move(section));
}

bool RegistryConfig::setValue(const LightweightString<char>& name, const Cookie& value,
                              LightweightString<char> section)
{
  return setValue(name, value.asString(false), std::move(section));
}

bool RegistryConfig::removeValue(const LightweightString<char>& name, LightweightString<char> section)
{
  if (!settings_) return false;
  return settings_->removeValue(name, section);
}

void RegistryConfig::getMultipleValues(std::vector<iSettings::NameValuePair>& pairs,
                                       LightweightString<char> section)
{
  if (settings_) settings_->getMultipleValues(pairs, section);
}

void RegistryConfig::exportTo(TextFile& file, LightweightString<char> section)
{
  std::vector<iSettings::NameValuePair> pairs;
  getMultipleValues(pairs, section);
  for (const iSettings::NameValuePair& pair : pairs) file.appendLine(pair.name + "=" + pair.value);
}

bool RegistryConfig::importFrom(TextFile&, LightweightString<char>, LightweightString<char>) { return false; }

namespace {

LightweightString<wchar_t> overrideFileFor(iSettings::eType type)
{
  return OS()->fileManager()->getApplicationPath() +
         (type == iSettings::eShared ? L"config.dat" : L"userconfig.dat");
}

// The published instance of a type: read without the lock once made, cleared
// when Loki deletes the instance at exit so that a later read makes it again.
template <iSettings::eType Type> std::atomic<RegistryConfig*>& published()
{
  static std::atomic<RegistryConfig*> instance{nullptr};
  return instance;
}

template <iSettings::eType Type> struct Instance
{
  Instance() : config(OS()->registry()->getSettings(Type), overrideFileFor(Type)) {}
  ~Instance() { published<Type>().store(nullptr, std::memory_order_release); }
  RegistryConfig config;
};

// Constant-initialised, so usable by reads at load time.
std::mutex constructionLock;
thread_local bool constructing = false;

struct ConstructingScope
{
  ConstructingScope() { constructing = true; }
  ~ConstructingScope() { constructing = false; }
};

template <iSettings::eType Type> RegistryConfig& instance()
{
  if (RegistryConfig* made = published<Type>().load(std::memory_order_acquire)) return *made;
  if (constructing) {
    // A settings read from inside the making of a settings object would make
    // it twice or wait on itself; it gets the registry alone instead.
    Zr::assertionFailed("!constructing", "settings/RegistryConfig");
    static RegistryConfig* plain =
        new RegistryConfig(OS()->registry()->getSettings(Type), LightweightString<wchar_t>());
    return *plain;
  }
  std::lock_guard<std::mutex> lock(constructionLock);
  if (RegistryConfig* made = published<Type>().load(std::memory_order_acquire)) return *made;
  ConstructingScope scope;
  RegistryConfig& made = Loki::SingletonHolder<Instance<Type>, Loki::CreateUsingNew, Loki::DeletableSingleton,
                                               Loki::SingleThreaded>::Instance()
                             .config;
  published<Type>().store(&made, std::memory_order_release);
  return made;
}

} // namespace

RegistryConfig& GlobalConfig()
{
  return instance<iSettings::eShared>();
}

RegistryConfig& UserConfig()
{
  return instance<iSettings::eUser>();
}

IdStamp RegistryConfig::getValue(const LightweightString<char>& name, const IdStamp& dflt,
                                 LightweightString<char> section)
{
  const LightweightString<char> text = getValue(name, dflt.asString(), std::move(section));
  return IdStamp(text.c_str());
}

bool RegistryConfig::setValue(const LightweightString<char>& name, const IdStamp& value,
                              LightweightString<char> section)
{
  return setValue(name, value.asString(), std::move(section));
}
