// CommandManager: expands a request into its ordered list of device commands.
#include "core/CommandManager.h"

#include "core/CUPSSNMPSupplyCmd.h"
#include "core/DevCommand.h"
#include "core/RDCCmd.h"
#include "core/RDCSupply.h"
#include "core/ROCCmd.h"
#include "core/SNMPConfigCmd.h"
#include "core/SNMPSupplyCmd.h"

std::list<DevCommand*> CommandManager::getCommand(RequestType type, ProtocolType protocolType) {
    std::list<DevCommand*> commands;
    bool supplies = type == REQ_SUPPLY_LEVELS;
    if (protocolType == PROTOCOL_NPA) {
        if (supplies) {
            commands.push_back(new RDCSupply());
        } else {
            commands.push_back(new RDCCmd());
            commands.push_back(new ROCCmd(type));
        }
    } else if (protocolType == PROTOCOL_SNMP) {
        if (supplies) {
            commands.push_back(new SNMPSupplyCmd());
        } else {
            commands.push_back(new SNMPConfigCmd());
        }
    } else if (supplies) {
        commands.push_back(new CUPSSNMPSupplyCmd());
    } else {
        commands.push_back(new SNMPConfigCmd());
    }
    return commands;
}
