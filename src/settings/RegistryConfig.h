// RegistryConfig, the typed front of persistent settings: values live as
// text in the platform registry (iSettings), and a configb file may stand in
// front of it and override values at top level.
#pragma once

#include <memory>
#include <vector>

#include "libOS/LightweightString.h"
#include "libOS/Ptr.h"
#include "libOS/iSettings.h"

class configb;
class Cookie;
class IdStamp;
class TextFile;

// "true" or "false": the text form of a bool in settings.
const char* BoolAsString(bool value);

class RegistryConfig
{
public:
  // Loads overrideFile as a configb when it exists.
  RegistryConfig(Zr::Ptr<iSettings> settings, const LightweightString<wchar_t>& overrideFile);
  ~RegistryConfig();

  // A value of the override file wins for a non-empty name at top level
  // (empty section); otherwise the registry's, or the default.
  LightweightString<char> getValue(const LightweightString<char>& name, const LightweightString<char>& dflt,
                                   LightweightString<char> section);
  LightweightString<char> getValue(const LightweightString<char>& name, const char* dflt,
                                   LightweightString<char> section);
  // Ints are read in base 10, or base 16 when the second character is "x".
  int getValue(const LightweightString<char>& name, int dflt, LightweightString<char> section);
  long getValue(const LightweightString<char>& name, long dflt, LightweightString<char> section);
  // "true" or "false", in any case; other text gives the default.
  bool getValue(const LightweightString<char>& name, bool dflt, LightweightString<char> section);
  double getValue(const LightweightString<char>& name, double dflt, LightweightString<char> section);
  Cookie getValue(const LightweightString<char>& name, const Cookie& dflt, LightweightString<char> section);

  // Writes to the registry alone: the override file is never written.
  bool setValue(const LightweightString<char>& name, const LightweightString<char>& value,
                LightweightString<char> section);
  bool setValue(const LightweightString<char>& name, const char* value, LightweightString<char> section);
  bool setValue(const LightweightString<char>& name, int value, LightweightString<char> section);
  bool setValue(const LightweightString<char>& name, bool value, LightweightString<char> section);
  bool setValue(const LightweightString<char>& name, double value, LightweightString<char> section);
  bool setValue(const LightweightString<char>& name, const Cookie& value, LightweightString<char> section);

  bool removeValue(const LightweightString<char>& name, LightweightString<char> section);
  // Appends what the registry holds in the section.
  void getMultipleValues(std::vector<iSettings::NameValuePair>& pairs, LightweightString<char> section);

  // Appends one line "name=value" per value of the section to `file`.
  void exportTo(TextFile& file, LightweightString<char> section);
  // Settings are not read back from text files: does nothing, gives false.
  bool importFrom(TextFile& file, LightweightString<char> section, LightweightString<char> name);

  // The override block, null without a file.
  const configb* overrides() const { return override_.get(); }

private:
  Zr::Ptr<iSettings> settings_;
  std::shared_ptr<configb> override_;

public:
  // An IdStamp by its text form; bad text gives what the IdStamp text
  // reader makes of it.
  IdStamp getValue(const LightweightString<char>& name, const IdStamp& dflt, LightweightString<char> section);
  bool setValue(const LightweightString<char>& name, const IdStamp& value, LightweightString<char> section);
};

// The shared settings (registry type 1, "config.dat" in the application folder).
RegistryConfig& GlobalConfig();
// The user's settings (registry type 0, "userconfig.dat" in the application folder).
RegistryConfig& UserConfig();
