// SNMPConfigCmd: the SNMP GetRequest for the names of the printer's installed parts.
#pragma once

#include <list>
#include <string>

#include "core/DevCommand.h"

class SNMPConfigCmd : public DevCommand {
public:
    SNMPConfigCmd();
    ~SNMPConfigCmd() override;

    // Builds a new GetRequest for all identifiers, with |requestID| as its request id.
    Data* getCommand(int requestID) override;

    // The identifiers asked for, in request order.
    static const std::list<std::string>& getOIDList();
};
