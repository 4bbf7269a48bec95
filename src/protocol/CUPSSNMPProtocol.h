// CUPSSNMPProtocol: passes SNMP walk requests to the spooler backend's SNMP channel.
#pragma once

#include "protocol/Protocol.h"

class CUPSSNMPProtocol : public Protocol {
public:
    // Takes ownership of |connection| (may be null).
    explicit CUPSSNMPProtocol(Connection* connection);
    ~CUPSSNMPProtocol() override;

    // Writes |request| (an identifier subtree as text) to the channel unchanged and keeps
    // the last successful read in |answer|. 0 on success; -1 without connection or
    // command; the open error; 10 when nothing was read.
    int doRequest(Data* request, Data& answer) override;
};
