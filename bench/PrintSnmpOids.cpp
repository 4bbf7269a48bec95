// PrintSnmpOids: lists the identifiers of the configuration command's SNMP request.
#include <cstdio>

#include "core/SNMPConfigCmd.h"

int main() {
    for (const std::string& oid : SNMPConfigCmd::getOIDList()) {
        std::printf("%s\n", oid.c_str());
    }
    return 0;
}
