// CupsBackendSNMPConnection: SNMP walks through the backend's side channel.
#pragma once

#include <string>
#include <vector>

#include "connection/Connection.h"

class CupsBackendSNMPConnection : public Connection {
public:
    CupsBackendSNMPConnection();
    ~CupsBackendSNMPConnection() override;

    // Nothing to open or close: both return 0.
    int doOpen() override;
    int doClose() override;
    // Walks the object identifier held as text in |request|; 0 when the walk succeeded.
    int doWrite(Data* request) override;
    // The collected "OID=value" lines, each ending in "\n"; -1 when none were collected.
    int doRead(Data& answer) override;

    // Walk callback; |context| is the connection.
    static void CupsBackendSNMWalkCB(const char* oid, const char* data, int dataLength,
                                     void* context);
    // Stores oid "=" value; false (nothing stored) when either is empty.
    bool putSnmpResponse(std::string oid, std::string value);

    // Bound on the text collected between two reads, against a backend that never stops.
    static constexpr size_t kMaxCollectedBytes = 1 << 20;

private:
    std::vector<std::string> responses_;
    size_t collectedBytes_ = 0;
};
