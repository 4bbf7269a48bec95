// ResponseFactory: creates the response builder that fits a protocol.
#pragma once

#include "protocol/ProtocolType.h"

class Response;

class ResponseFactory {
public:
    // NPAResp for 0, CUPSSNMPResp for 2, SNMPResp otherwise; owned by the caller.
    static Response* createResponseBuilder(ProtocolType type);
};
