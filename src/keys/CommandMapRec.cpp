#include "keys/CommandMapRec.h"

CommandMapRec::CommandMapRec(const LightweightString<char>& name, Function function, void* userData,
                             uint32_t attributes, const LightweightString<wchar_t>& displayName,
                             const LightweightString<wchar_t>& description, const MapItem& defaultKey)
    : name_(name), function_(function), userData_(userData), displayName_(displayName),
      description_(description), defaultKey_(defaultKey), attributes_(attributes)
{}

void CommandMapRec::init()
{
  userData_ = nullptr;
  attributes_ = 0;
  defaultKey_ = MapItem();
}

void CommandMapRec::invalidate()
{
  name_ = LightweightString<char>();
  function_ = nullptr;
  userData_ = nullptr;
  displayName_ = LightweightString<wchar_t>();
  description_ = LightweightString<wchar_t>();
}

void CommandMapRec::commandFunction(Function function, void* userData)
{
  function_ = function;
  userData_ = userData;
}

void CommandMapRec::call(Cmd::Context context) const
{
  context.userData = userData_;
  if (function_) function_(context);
}
