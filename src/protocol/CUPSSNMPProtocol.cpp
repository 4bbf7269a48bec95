// CUPSSNMPProtocol: passes SNMP walk requests to the spooler backend's SNMP channel.
#include "protocol/CUPSSNMPProtocol.h"

#include "connection/Connection.h"
#include "protocol/Response.h"
#include "support/Logger.h"

CUPSSNMPProtocol::CUPSSNMPProtocol(Connection* connection) : Protocol(connection) {
    setProtocolType(PROTOCOL_CUPS_SNMP);
    setProtocolPort(0);
}

CUPSSNMPProtocol::~CUPSSNMPProtocol() = default;

int CUPSSNMPProtocol::doRequest(Data* request, Data& answer) {
    Logger logger("CUPSSNMPProtocol", "doRequest");
    int rc = openForRequest(logger, request);
    if (rc != 0) {
        return rc;
    }
    Connection* connection = getConnection();

    rc = connection->doWrite(request);
    logger.Log("Send command. Return value =%d", rc);

    bool anyRead = false;
    while (rc == 0) {
        Data piece;
        rc = connection->doRead(piece);
        if (rc == 0) {
            // Each successful read replaces the previous answer.
            answer.assign(piece.get(), piece.size());
            logger.Log("%s", "Received buffer");
            logger.LogData(piece.get(), piece.size());
            anyRead = true;
        }
    }
    connection->doClose();
    if (!anyRead) {
        return 10;
    }
    Response* response = getResponseBuilder();
    return response != nullptr ? response->repackResponse(answer, 0) : 0;
}
