#include "keys/CommandMap.h"

#include "core/Assert.h"
#include "libzr/Strings.h"

namespace {

CommandMap* theInstance = nullptr;

using PlainFunction = void (*)();

void* asUserData(PlainFunction function)
{
  return reinterpret_cast<void*>(function);
}
PlainFunction asPlainFunction(void* userData)
{
  return reinterpret_cast<PlainFunction>(userData);
}

} // namespace

CommandMap* CommandMap::theCommandMap()
{
  if (!theInstance) theInstance = new CommandMap;
  return theInstance;
}

void CommandMap::theCommandMap(CommandMap* map)
{
  if (map == theInstance) return;
  delete theInstance;
  theInstance = map;
}

unsigned int CommandMap::registerCommand(const char* name, void (*function)(const Cmd::Context&),
                                         void* userData, unsigned int attributes, const UIString& displayName,
                                         const UIString& description, const MapItem& defaultKey)
{
  const LightweightString<char> key(name ? name : "");
  const auto it = map_.find(key);
  if (it != map_.end()) {
    const CommandMapRec& existing = records_[it->second];
    // The simple form always registers the redirector; its plain function
    // is the user data.
    const bool same = existing.commandFunction() == function &&
                      (function != &contextlessCommandRedirector || existing.userData() == userData);
    if (same) return it->second;
    Zr::softAssert(false, "it == map_.end()", "misc/cmdmap line 118");
    return kNoCommand;
  }
  const unsigned int index = size();
  records_.emplace_back(key, function, userData, attributes, displayName.resolve(), description.resolve(),
                        defaultKey);
  map_.emplace(key, index);
  return index;
}

unsigned int CommandMap::registerCommand(const char* name, void (*function)(), const UIString& displayName,
                                         const UIString& description, eCmdScope scope,
                                         const MapItem& defaultKey)
{
  unsigned int attributes = 0;
  if (scope == eCmdScopeAlways) {
    attributes = CommandMapRec::eUserVisible;
  } else if (scope == eCmdScopeIfNamed) {
    const bool named = !displayName.text().empty() ||
                       (displayName.resourceId() != kNoResource && !displayName.resolve().empty());
    if (named) attributes = CommandMapRec::eUserVisible;
  }
  return registerCommand(name, &contextlessCommandRedirector, asUserData(function), attributes, displayName,
                         description, defaultKey);
}

bool CommandMap::deregisterCommand(unsigned int index)
{
  if (index >= size()) return false;
  CommandMapRec& record = records_[index];
  const auto it = map_.find(record.commandName());
  // An invalidated record's empty name may belong to another command.
  if (it != map_.end() && it->second == index) map_.erase(it);
  record.invalidate();
  return true;
}

unsigned int CommandMap::findCommand(const char* name) const
{
  if (!name) return kNoCommand;
  const auto it = map_.find(LightweightString<char>(name));
  return it == map_.end() ? kNoCommand : it->second;
}

unsigned int CommandMap::findCommandByDisplayName(const LightweightString<wchar_t>& displayName) const
{
  if (displayName.empty()) return kNoCommand;
  const LightweightString<wchar_t> wanted = toLower(displayName);
  for (unsigned int index = 0; index < size(); ++index) {
    const LightweightString<wchar_t>& candidate = records_[index].displayName();
    if (candidate.size() == wanted.size() && toLower(candidate) == wanted) return index;
  }
  return kNoCommand;
}

const CommandMapRec* CommandMap::getCommand(unsigned int index) const
{
  return index < size() ? &records_[index] : nullptr;
}

void CommandMap::callCommand(unsigned int index, const Cmd::Context& context) const
{
  if (const CommandMapRec* record = getCommand(index)) record->call(context);
}

void CommandMap::callCommand(const char* name, const Cmd::Context& context) const
{
  callCommand(findCommand(name), context);
}

void CommandMap::contextlessCommandRedirector(const Cmd::Context& context)
{
  Zr::softAssert(context.callerContext_ == nullptr, "context.callerContext_ == NULL", "misc/cmdmap line 57");
  if (PlainFunction function = asPlainFunction(context.userData)) function();
}
