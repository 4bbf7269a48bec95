// CommandManager: expands a request into its ordered list of device commands.
#pragma once

#include <list>

#include "core/RequestType.h"
#include "protocol/ProtocolType.h"

class DevCommand;

class CommandManager {
public:
    // New commands owned by the caller (released with deleteCommands).
    std::list<DevCommand*> getCommand(RequestType type, ProtocolType protocolType);
};
