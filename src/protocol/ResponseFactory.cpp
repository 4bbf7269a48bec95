// ResponseFactory: creates the response builder that fits a protocol.
#include "protocol/ResponseFactory.h"

#include "protocol/CUPSSNMPResp.h"
#include "protocol/NPAResp.h"
#include "protocol/SNMPResp.h"

Response* ResponseFactory::createResponseBuilder(ProtocolType type) {
    switch (type) {
        case PROTOCOL_NPA:
            return new NPAResp();
        case PROTOCOL_CUPS_SNMP:
            return new CUPSSNMPResp();
        default:
            return new SNMPResp();
    }
}
