// SNMPResp: joins the datagrams of an SNMP answer in sequence order.
#pragma once

#include "protocol/Response.h"

class SNMPResp : public Response {
public:
    SNMPResp() = default;
    ~SNMPResp() override = default;

    // Appends the stored pieces in ascending sequence order into |answer| and empties
    // the builder. -1 when a piece is missing or nothing was stored. |echoValue| is unused.
    int repackResponse(Data& answer, unsigned int echoValue) override;
};
