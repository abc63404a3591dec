// The registry of the platform: text values by section and name, kept across
// runs in one human-readable file per store.
#pragma once

#include <vector>

#include "libOS/LightweightString.h"
#include "libOS/iObject.h"

class iSettings : public iObject
{
public:
  enum eType
  {
    eUser = 0,    // this user's settings
    eShared = 1,  // settings shared by every user of the machine
  };

  struct NameValuePair
  {
    LightweightString<char> name;
    LightweightString<char> value;
  };

  // Stores a value and writes the store back at once, merged with what other
  // processes wrote meanwhile. An empty section is the top level. False if
  // the store could not be written (the value is kept in memory all the same).
  virtual bool setValue(const LightweightString<char>& name, const LightweightString<char>& value,
                        const LightweightString<char>& section) = 0;

  // The stored value, or `defaultValue` when there is none.
  virtual LightweightString<char> getValue(const LightweightString<char>& name,
                                           const LightweightString<char>& defaultValue,
                                           const LightweightString<char>& section) = 0;

  // Removes a value; false if it was not there.
  virtual bool removeValue(const LightweightString<char>& name, const LightweightString<char>& section) = 0;

  // Appends every pair of a section, in the order they were first stored.
  virtual void getMultipleValues(std::vector<NameValuePair>& pairs, const LightweightString<char>& section) = 0;

  // The names of the sections, in the order they were first stored.
  virtual void getSections(std::vector<LightweightString<char>>& sections) = 0;

  // Reads the store again from its file, taking what other processes wrote.
  virtual bool reload() = 0;

  // The file that holds the store.
  virtual LightweightString<wchar_t> getFileName() const = 0;
};

class iRegistry
{
public:
  virtual ~iRegistry() = default;

  // The store of a type; one object per type for the life of the process.
  virtual Zr::Ptr<iSettings> getSettings(iSettings::eType type) = 0;

  // Reads a string value by registry path and name. "HKEY_LOCAL_MACHINE\..."
  // paths read the shared store and "HKEY_CURRENT_USER\..." the user's; the
  // rest of the path is the section. `view` ("wow32", "wow64" or null) is
  // accepted for the callers' sake: this system has one view. False if the
  // value does not exist.
  virtual bool readString(const LightweightString<wchar_t>& path, const LightweightString<wchar_t>& name,
                          const char* view, LightweightString<wchar_t>& value) = 0;

  // Writes a string value by registry path and name, as readString reads it.
  virtual bool writeString(const LightweightString<wchar_t>& path, const LightweightString<wchar_t>& name,
                           const char* view, const LightweightString<wchar_t>& value) = 0;
};
