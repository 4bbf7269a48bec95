// ParserFactory: creates the parser that fits a protocol.
#include "parser/ParserFactory.h"

#include "parser/CUPSSNMPParser.h"
#include "parser/NPAParser.h"
#include "parser/SNMPParser.h"

Parser* ParserFactory::createParser(ProtocolType type) {
    switch (type) {
        case PROTOCOL_NPA:
            return new NPAParser();
        case PROTOCOL_CUPS_SNMP:
            return new CUPSSNMPParser();
        default:
            return new SNMPParser();
    }
}
