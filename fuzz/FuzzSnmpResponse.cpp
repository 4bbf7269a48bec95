// Fuzz target: SNMP GetResponse messages through the codec and the SNMP parser.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzCommon.h"
#include "parser/SNMPParser.h"
#include "protocol/SNMPDataPacket.h"

// Input: selector byte (which command the answer belongs to), then one datagram.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    const unsigned char* message = data + 1;
    int length = static_cast<int>(size - 1);

    SNMPDataPacket packet;
    packet.parsePDUGetResponse(message, length);
    int requestId = 0, errorStatus = 0, errorIndex = 0, version = 0;
    std::string community;
    packet.getRequestInfo(message, length, requestId, errorStatus, errorIndex);
    packet.getSnmpPacketInfo(message, length, version, community);
    std::string oid;
    for (const auto& entry : packet.getResponseTable()) {
        packet.getOIDValue(entry.first, oid);
    }

    Data answer(message, length);
    SNMPParser parser;
    parser.parseData(&answer, data[0] & 1 ? CMD_SUPPLIES : CMD_CONFIGURATION);
    fuzz_common::askEverything(parser);
    return 0;
}
