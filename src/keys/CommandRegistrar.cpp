#include "keys/CommandRegistrar.h"

CommandRegistrar::CommandRegistrar(const char* name, void (*function)(const Cmd::Context&), void* userData,
                                   unsigned int attributes, const UIString& displayName,
                                   const UIString& description, const MapItem& defaultKey)
    : index_(CommandMap::instance()->registerCommand(name, function, userData, attributes, displayName,
                                                     description, defaultKey))
{}

CommandRegistrar::CommandRegistrar(const char* name, void (*function)(), const UIString& displayName,
                                   const UIString& description, CommandMap::eCmdScope scope,
                                   const MapItem& defaultKey)
    : index_(CommandMap::instance()->registerCommand(name, function, displayName, description, scope,
                                                     defaultKey))
{}
