// CommandManager: expands a request into its ordered list of device commands.
#include "core/CommandManager.h"

#include "core/DevCommand.h"

// Placeholder until the device commands exist.
std::list<DevCommand*> CommandManager::getCommand(RequestType /*type*/, ProtocolType /*protocolType*/) {
    return {};
}
