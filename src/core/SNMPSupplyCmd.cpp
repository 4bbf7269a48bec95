// SNMPSupplyCmd: the SNMP GetRequest sent for supply levels over the network.
#include "core/SNMPSupplyCmd.h"

#include "protocol/SNMPDataPacket.h"

SNMPSupplyCmd::SNMPSupplyCmd() : DevCommand(CMD_SUPPLIES, 0) {}

SNMPSupplyCmd::~SNMPSupplyCmd() = default;

const std::list<std::string>& SNMPSupplyCmd::getOIDList() {
    static const std::list<std::string> oids = {".1.3.6.1.2.1.43.8.2.1.13.1.1"};
    return oids;
}

Data* SNMPSupplyCmd::getCommand(int requestID) {
    Data* request = new Data();
    SNMPDataPacket packet;
    packet.createPDUGetRequest(requestID, getOIDList(), *request);
    setRequest(request);
    return request;
}
