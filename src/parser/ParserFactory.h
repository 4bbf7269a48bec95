// ParserFactory: creates the parser that fits a protocol.
#pragma once

#include "protocol/ProtocolType.h"

class Parser;

class ParserFactory {
public:
    // NPAParser for 0, CUPSSNMPParser for 2, SNMPParser otherwise; owned by the caller.
    static Parser* createParser(ProtocolType type);
};
