// SNMPProtocol: sends SNMP GetRequests over the network connection and joins the answer.
#pragma once

#include <string>

#include "protocol/Protocol.h"

class SNMPProtocol : public Protocol {
public:
    // The SNMP agent port.
    static constexpr int kSNMPPort = 161;
    // Version byte of the community-based message format that identifies SNMPv2c.
    static constexpr int kSNMPVersion = 1;
    // Stop collecting datagrams once this many bytes came in: no joined answer can hold more.
    static constexpr unsigned int kMaxAnswerSize = 0xFFFF;

    // Takes ownership of |connection| (may be null).
    explicit SNMPProtocol(Connection* connection);
    ~SNMPProtocol() override;

    // Wraps the GetRequest PDU in |request| into a message, sends it, reads datagrams
    // until the connection reports no more, and joins them into |answer|. 0 on success;
    // -1 without connection or command; the open error; 10 when the write failed;
    // otherwise the result of joining the datagrams.
    int doRequest(Data* request, Data& answer) override;

private:
    std::string community_;
};
