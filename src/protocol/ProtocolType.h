// ProtocolType: which device dialogue a protocol speaks.
#pragma once

enum ProtocolType {
    PROTOCOL_NPA = 0,        // NPAProtocol and NPABiDiProtocol
    PROTOCOL_SNMP = 1,       // SNMPProtocol
    PROTOCOL_CUPS_SNMP = 2,  // CUPSSNMPProtocol
};
