// CommandMapRec, one named command of the command map: the function it runs,
// the user data handed to it, its texts for users and its default key.
#pragma once

#include <cstdint>

#include "core/LightweightString.h"
#include "keys/CmdContext.h"
#include "keys/MapItem.h"

class CommandMapRec
{
public:
  using Function = void (*)(const Cmd::Context&);

  // Attribute bits.
  enum : uint32_t
  {
    eWantsKeyUp = 1,  // runs on key-up as well as key-down
    eUserVisible = 2, // shown to users among the commands
  };

  // An invalid record: no name, no function.
  CommandMapRec() = default;
  CommandMapRec(const LightweightString<char>& name, Function function, void* userData, uint32_t attributes,
                const LightweightString<wchar_t>& displayName, const LightweightString<wchar_t>& description,
                const MapItem& defaultKey);

  // Clears the user data and attributes and blanks the default key.
  void init();
  // Clears name, function, user data and both display texts: what a
  // deregistered command leaves behind.
  void invalidate();

  void commandName(const LightweightString<char>& name) { name_ = name; }
  void commandFunction(Function function, void* userData);
  void attribs(uint32_t attributes) { attributes_ = attributes; }

  const LightweightString<char>& commandName() const noexcept { return name_; }
  Function commandFunction() const noexcept { return function_; }
  void* userData() const noexcept { return userData_; }
  uint32_t attribs() const noexcept { return attributes_; }
  const LightweightString<wchar_t>& displayName() const noexcept { return displayName_; }
  const LightweightString<wchar_t>& displayDescription() const noexcept { return description_; }
  const MapItem& defaultMapItem() const noexcept { return defaultKey_; }
  // A record with a function; an invalidated one has none.
  bool valid() const noexcept { return function_ != nullptr; }

  // Runs the function, if there is one, with a copy of the context whose
  // userData is the record's.
  void call(Cmd::Context context) const;

  // By command name, the empty name first.
  bool operator<(const CommandMapRec& other) const { return name_ < other.name_; }

private:
  LightweightString<char> name_;
  Function function_ = nullptr;
  void* userData_ = nullptr;
  LightweightString<wchar_t> displayName_;
  LightweightString<wchar_t> description_;
  MapItem defaultKey_;
  uint32_t attributes_ = 0;
};
