// CupsBackendSNMPConnection: SNMP walks through the backend's side channel.
#include "connection/CupsBackendSNMPConnection.h"

#include <cups/sidechannel.h>
#include <fcntl.h>

#include <exception>

#include "support/Logger.h"

CupsBackendSNMPConnection::CupsBackendSNMPConnection() = default;

CupsBackendSNMPConnection::~CupsBackendSNMPConnection() = default;

int CupsBackendSNMPConnection::doOpen() {
    Logger logger("CupsBackendSNMPConnection", "doOpen");
    return 0;
}

int CupsBackendSNMPConnection::doClose() {
    Logger logger("CupsBackendSNMPConnection", "doClose");
    return 0;
}

// Returns 0 when the backend walked the identifier with status OK, -1 otherwise.
int CupsBackendSNMPConnection::doWrite(Data* request) {
    Logger logger("CupsBackendSNMPConnection", "doWrite");
    std::string oid;
    if (request != nullptr && request->get() != nullptr && request->size() > 0) {
        oid.assign(reinterpret_cast<const char*>(request->get()),
                   static_cast<size_t>(request->size()));
    }
    // The identifier ends at its first zero byte, if the request carries one.
    oid = oid.c_str();
    logger.Log("SNMPWalk for OID = [%s]\n", oid.c_str());
    if (oid.empty()) {
        logger.Log("%s", "No object identifier to walk");
        return -1;
    }
    if (fcntl(CUPS_SC_FD, F_GETFD) == -1) {
        logger.Log("%s", "No side channel: file descriptor 4 is not open");
        return -1;
    }
    cups_sc_status_t status = cupsSideChannelSNMPWalk(oid.c_str(), getTimeoutVal(),
                                                      &CupsBackendSNMWalkCB, this);
    return status == CUPS_SC_STATUS_OK ? 0 : -1;
}

// Returns 0 with every collected line followed by "\n", and empties the list.
int CupsBackendSNMPConnection::doRead(Data& answer) {
    Logger logger("CupsBackendSNMPConnection", "doRead");
    if (responses_.empty()) {
        return -1;
    }
    std::string text;
    text.reserve(collectedBytes_ + responses_.size());
    for (const std::string& line : responses_) {
        text += line;
        text += "\n";
    }
    answer = Data(text);
    responses_.clear();
    collectedBytes_ = 0;
    logger.Log("sBuffer = [%s]", text.c_str());
    return 0;
}

// The value is the first |dataLength| bytes of |data|: the library does not promise a
// terminating zero.
void CupsBackendSNMPConnection::CupsBackendSNMWalkCB(const char* oid, const char* data,
                                                     int dataLength, void* context) {
    if (context == nullptr) {
        return;
    }
    try {
        std::string value;
        if (data != nullptr && dataLength > 0) {
            value.assign(data, static_cast<size_t>(dataLength));
        }
        static_cast<CupsBackendSNMPConnection*>(context)->putSnmpResponse(
            oid != nullptr ? std::string(oid) : std::string(), value);
    } catch (const std::exception&) {
        // Out of memory: the object is dropped, the walk goes on.
    }
}

bool CupsBackendSNMPConnection::putSnmpResponse(std::string oid, std::string value) {
    if (oid.empty() || value.empty()) {
        return false;
    }
    size_t length = oid.size() + 1 + value.size();
    if (collectedBytes_ + length > kMaxCollectedBytes) {
        Logger logger("CupsBackendSNMPConnection", "putSnmpResponse");
        logger.Log("Walk result dropped, %zu bytes already collected", collectedBytes_);
        return false;
    }
    responses_.push_back(oid + "=" + value);
    collectedBytes_ += length;
    return true;
}
