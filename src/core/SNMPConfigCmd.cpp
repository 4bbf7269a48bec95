// SNMPConfigCmd: the SNMP GetRequest for the names of the printer's installed parts.
#include "core/SNMPConfigCmd.h"

#include "protocol/SNMPDataPacket.h"

namespace {

std::list<std::string> buildOIDList() {
    std::list<std::string> oids;
    // Input tray names.
    for (int n = 1; n <= 8; ++n) {
        oids.push_back(".1.3.6.1.2.1.43.8.2.1.13.1." + std::to_string(n));
    }
    // Output bin names.
    for (int n = 1; n <= 13; ++n) {
        oids.push_back(".1.3.6.1.2.1.43.9.2.1.7.1." + std::to_string(n));
    }
    // The maker's private option table, under both of its prefixes.
    for (int n = 1; n <= 20; ++n) {
        oids.push_back(".1.3.6.1.4.1.7707.6.3.1.1.8.1." + std::to_string(n));
    }
    for (int n = 1; n <= 20; ++n) {
        oids.push_back(".1.3.6.1.4.1.5931.20480.100.6.3.1.1.8.1." + std::to_string(n));
    }
    oids.push_back(".1.3.6.1.2.1.43.13.4.1.10.1.2");
    // Without an instance suffix on purpose.
    oids.push_back(".1.3.6.1.2.1.25.2.3.1.3");
    return oids;
}

}  // namespace

SNMPConfigCmd::SNMPConfigCmd() : DevCommand(CMD_CONFIGURATION, 0) {}

SNMPConfigCmd::~SNMPConfigCmd() = default;

const std::list<std::string>& SNMPConfigCmd::getOIDList() {
    static const std::list<std::string> oids = buildOIDList();
    return oids;
}

Data* SNMPConfigCmd::getCommand(int requestID) {
    Data* request = new Data();
    SNMPDataPacket packet;
    packet.createPDUGetRequest(requestID, getOIDList(), *request);
    setRequest(request);
    return request;
}
