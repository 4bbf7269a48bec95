// SNMPSupplyCmd: the SNMP GetRequest sent for supply levels over the network.
#pragma once

#include <list>
#include <string>

#include "core/DevCommand.h"

class SNMPSupplyCmd : public DevCommand {
public:
    SNMPSupplyCmd();
    ~SNMPSupplyCmd() override;

    // Builds a new GetRequest for the single identifier, with |requestID| as its request id.
    Data* getCommand(int requestID) override;

    static const std::list<std::string>& getOIDList();
};
