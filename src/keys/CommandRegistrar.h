// CommandRegistrar: a file-scope object whose construction registers a
// command in CommandMap::instance() while the library loads.
//
//   static CommandRegistrar reg("_Crash", &crash, UIString(), UIString(),
//                               CommandMap::eCmdScopeInternal, MapItem());
#pragma once

#include "keys/CommandMap.h"

class CommandRegistrar
{
public:
  // The forms of CommandMap::registerCommand.
  CommandRegistrar(const char* name, void (*function)(const Cmd::Context&), void* userData,
                   unsigned int attributes, const UIString& displayName, const UIString& description,
                   const MapItem& defaultKey);
  CommandRegistrar(const char* name, void (*function)(), const UIString& displayName,
                   const UIString& description, CommandMap::eCmdScope scope, const MapItem& defaultKey);

  // The command's index, or CommandMap::kNoCommand if the name was taken.
  unsigned int index() const noexcept { return index_; }

private:
  unsigned int index_;
};
