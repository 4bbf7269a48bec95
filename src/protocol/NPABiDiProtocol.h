// NPABiDiProtocol: NPA request and answer packets carried in network datagrams.
#pragma once

#include "protocol/Protocol.h"

class NPABiDiProtocol : public Protocol {
public:
    // Takes ownership of |connection|.
    explicit NPABiDiProtocol(Connection* connection);
    ~NPABiDiProtocol() override;

    // Opens the connection, sends |request| behind a network header, acknowledges and
    // stores each answer packet until the last one, closes, and joins the answer into
    // |response|. Returns 0, -1 (no connection, request or response builder; joining
    // failed, including a missing sequence number), 10 (the request could not be written
    // or nothing was read), 13 (the printer flagged the command as failed) or the
    // non-zero status of doOpen.
    int doRequest(Data* request, Data& response) override;

    // |request| behind the 8-byte network header that carries the time of day in
    // milliseconds; a new buffer owned by the caller.
    static Data* addNetworkHeader(Data* request);

    // Acknowledges one answer datagram and stores its NPA packet under the datagram's
    // sequence number. Returns 11 (keep reading), 12 (last packet) or 13 (command failed).
    int processResponse(Data* packet);

private:
    // Size of the network header in front of every answer packet.
    int networkHeaderSize_;
};
