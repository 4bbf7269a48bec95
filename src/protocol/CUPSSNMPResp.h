// CUPSSNMPResp: response builder of the backend SNMP channel, whose answer comes whole.
#pragma once

#include "protocol/Response.h"

class CUPSSNMPResp : public Response {
public:
    CUPSSNMPResp() = default;
    ~CUPSSNMPResp() override = default;

    // The answer already stands in |answer|; returns 0.
    int repackResponse(Data& answer, unsigned int echoValue) override;
};
