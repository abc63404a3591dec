// CommandMap, the process-wide table of named commands. Code anywhere in the
// editor registers a command at load time (see CommandRegistrar); the table
// numbers it, finds it by name and runs it by number.
//
// A command's index never changes, and a deregistered command leaves an
// invalid record behind, so numbers are never reused. kNoCommand
// (0xFFFFFFFF) stands for no command everywhere.
//
// Registration happens at load time on one thread and the table is read-only
// after that in practice: nothing here takes a lock. The client that hands
// the table to the key-mapping system comes with the key maps.
#pragma once

#include <cstdint>
#include <deque>
#include <map>

#include "core/LightweightString.h"
#include "keys/CmdContext.h"
#include "keys/CommandMapRec.h"
#include "keys/MapItem.h"
#include "keys/UIString.h"

class CommandMap
{
public:
  static constexpr unsigned int kNoCommand = 0xFFFFFFFF;

  // The scope word of the simple registration form.
  enum eCmdScope : int
  {
    eCmdScopeInternal = 0, // any value but 1 and 2: never shown to users
    eCmdScopeAlways = 1,   // always user-visible
    eCmdScopeIfNamed = 2,  // user-visible if it has a display name
  };

  // An empty table. Most callers use the single instance instead.
  CommandMap() = default;
  CommandMap(const CommandMap&) = delete;
  CommandMap& operator=(const CommandMap&) = delete;

  // The single instance, made on first use (unguarded: the first use is a
  // load-time registration).
  static CommandMap* theCommandMap();
  static CommandMap* instance() { return theCommandMap(); }
  // Makes `map` the instance and takes it over; a different old instance is
  // destroyed with its records. Null leaves the next call to make a new one.
  static void theCommandMap(CommandMap* map);

  // Registers a command and gives its index. The same name with the same
  // function gives the existing index and changes nothing; with another
  // function it prints the assertion "it == map_.end()" and gives
  // kNoCommand, and the first registration stands. Display texts come from
  // the UIStrings (a resource number loads the string table).
  unsigned int registerCommand(const char* name, void (*function)(const Cmd::Context&), void* userData,
                               unsigned int attributes, const UIString& displayName,
                               const UIString& description, const MapItem& defaultKey);
  // The simple form, for a function without arguments. Scope 1 makes the
  // command user-visible, scope 2 only if it has a display name (a text, or
  // a resource whose text is not empty), any other scope never. Here the
  // plain function is what "the same function" compares.
  unsigned int registerCommand(const char* name, void (*function)(), const UIString& displayName,
                               const UIString& description, eCmdScope scope, const MapItem& defaultKey);

  // Forgets a command's name and invalidates its record; the index is not
  // reused. False for an index past the end.
  bool deregisterCommand(unsigned int index);

  // The index of a command by name (byte for byte), or kNoCommand.
  unsigned int findCommand(const char* name) const;
  // The first command in index order whose display name equals `displayName`
  // ignoring case, or kNoCommand; an empty name finds nothing.
  unsigned int findCommandByDisplayName(const LightweightString<wchar_t>& displayName) const;
  // The record, or null for kNoCommand and past the end. Records do not move
  // when others are added.
  const CommandMapRec* getCommand(unsigned int index) const;
  // The number of records, invalidated ones included.
  unsigned int size() const { return static_cast<unsigned int>(records_.size()); }

  // Runs a command; nothing for kNoCommand, an index past the end, an
  // invalidated record or an unknown name.
  void callCommand(unsigned int index, const Cmd::Context& context) const;
  void callCommand(const char* name, const Cmd::Context& context) const;

  // The function the simple form registers: it calls the plain function held
  // in userData. A caller context means the caller expected a command that
  // reads it, which is reported as "context.callerContext_ == NULL".
  static void contextlessCommandRedirector(const Cmd::Context& context);

private:
  std::map<LightweightString<char>, unsigned int> map_;
  // A deque, so that records keep their place as the table grows.
  std::deque<CommandMapRec> records_;
};
