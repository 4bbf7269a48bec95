// NPAProtocol: sends one NPA request packet and gathers its answer packets.
#pragma once

#include <cstdint>

#include "protocol/Protocol.h"

class NPAProtocol : public Protocol {
public:
    // Takes ownership of |connection|.
    explicit NPAProtocol(Connection* connection);
    ~NPAProtocol() override;

    // Opens the connection, sends the NPA mode command and |request|, reads answer
    // packets until the last one, closes, and joins the answer into |response|.
    // Returns 0, -1 (no connection, request or response builder; joining failed),
    // 10 (the request could not be written or nothing was read), 13 (the printer
    // flagged the command as failed) or the non-zero status of doOpen.
    int doRequest(Data* request, Data& response) override;

    // Checks one read for an answer packet at its start carrying |echoValue| at
    // |echoIndex| and stores it. Returns 11 (keep reading), 12 (last packet) or 13
    // (command failed).
    int processResponse(Data* packet, int echoIndex, unsigned int echoValue);

private:
    // Sequence number of the next packet stored; restarts for every request.
    int32_t packetCounter_ = 0;
};
