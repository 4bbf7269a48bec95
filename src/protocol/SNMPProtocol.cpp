// SNMPProtocol: sends SNMP GetRequests over the network connection and joins the answer.
#include "protocol/SNMPProtocol.h"

#include "connection/Connection.h"
#include "protocol/Response.h"
#include "protocol/SNMPDataPacket.h"
#include "support/Logger.h"

SNMPProtocol::SNMPProtocol(Connection* connection) : Protocol(connection), community_("opencm") {
    setProtocolType(PROTOCOL_SNMP);
    setProtocolPort(kSNMPPort);
}

SNMPProtocol::~SNMPProtocol() = default;

int SNMPProtocol::doRequest(Data* request, Data& answer) {
    Logger logger("SNMPProtocol", "doRequest");
    int rc = openForRequest(logger, request);
    if (rc != 0) {
        return rc;
    }
    Connection* connection = getConnection();

    Data message;
    SNMPDataPacket packet;
    packet.getSNMPPacket(request, kSNMPVersion, community_, message);
    logger.Log("%s", "SNMP Packet buffer");
    logger.LogData(message.get(), message.size());

    rc = connection->doWrite(&message);
    logger.Log("Send command. Return value =%d", rc);

    Response* response = getResponseBuilder();
    int sequence = 0;
    while (rc == 0) {
        Data* piece = new Data();
        rc = connection->doRead(*piece);
        if (response != nullptr) {
            // The last, failed read is handed over too; an empty piece is not stored but
            // deleted, so the dump below reads the stored piece (none for an empty one).
            response->addData(sequence, piece);
            piece = response->getValue(sequence);
        }
        logger.Log("%s", "Received buffer");
        logger.LogData(piece != nullptr ? piece->get() : nullptr, piece != nullptr ? piece->size() : 0);
        if (response == nullptr) {
            delete piece;
        }
        ++sequence;
        if (response != nullptr && response->getMaxSize() >= kMaxAnswerSize) {
            logger.Log("%s", "Answer too large; no further datagrams read");
            break;
        }
    }
    connection->doClose();

    if (sequence == 0) {
        return 10;
    }
    if (response == nullptr) {
        return -1;
    }
    return response->repackResponse(answer, 0);
}
