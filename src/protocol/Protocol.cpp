// Protocol: one device dialogue carried over a Connection.
#include "protocol/Protocol.h"

#include "connection/Connection.h"
#include "protocol/NPAResp.h"
#include "protocol/Response.h"
#include "support/ByteCursor.h"
#include "support/Logger.h"

Protocol::Protocol(Connection* connection) : connection_(connection) {}

Protocol::~Protocol() = default;

ProtocolType Protocol::getProtocolType() { return protocolType_; }

int Protocol::getProtocolPort() { return port_; }

void Protocol::assignResponseBuilder(Response* response) { response_.reset(response); }

int Protocol::exchangePackets(Logger& logger, Data* request, Data& response,
                              const std::function<int(Connection& connection)>& send,
                              const PacketHandler& handle) {
    Connection* connection = getConnection();
    Response* builder = getResponseBuilder();
    if (connection == nullptr || request == nullptr || builder == nullptr) {
        return -1;
    }
    const int echoIndex = request->getErrorCheckingByte();
    ByteCursor requestBytes(request->get(), static_cast<size_t>(request->size()));
    const unsigned int echoValue =
        echoIndex >= 0 ? requestBytes.peek(static_cast<size_t>(echoIndex)) : 0;

    // Status reported if an exception ends the request: the last status reached.
    int status = -1;
    bool opened = false;
    try {
        int openResult = connection->doOpen();
        if (openResult != 0) {
            return openResult;
        }
        opened = true;
        status = 0;

        int writeResult = send(*connection);
        status = writeResult;

        bool processed = false;
        int state = kNPAStateReading;
        if (writeResult == 0) {
            unsigned int reads = 0;
            while (state == kNPAStateReading) {
                // A device that never ends its answer gets it treated as ended here.
                if (reads >= NPAResp::kMaxAnswerPackets ||
                    builder->getMaxSize() >= NPAResp::kMaxAnswerBytes) {
                    logger.Log("Answer limit reached after %u reads, %u bytes", reads,
                               builder->getMaxSize());
                    break;
                }
                Data buffer;
                int readResult = connection->doRead(buffer);
                status = readResult;
                if (readResult != 0) {
                    break;
                }
                ++reads;
                state = handle(&buffer, echoIndex, echoValue);
                processed = true;
            }
        }

        opened = false;
        connection->doClose();

        if (!processed) {
            return kNPANothingRead;
        }
        if (state == kNPAStateFailed) {
            return kNPAStateFailed;
        }
        response.setErrorCheckingByte(echoIndex);
        response.setHeaderSize(request->getHeaderSize());
        return builder->repackResponse(response, echoValue);
    } catch (...) {
        logger.Log("Exception in doRequest, status =%d", status);
        if (opened) {
            try {
                connection->doClose();
            } catch (...) {
            }
        }
        return status;
    }
}

int Protocol::packetState(Logger& logger, unsigned int flags) {
    constexpr unsigned int kCommandFailed = 0x80;
    constexpr unsigned int kMorePackets = 0x20;
    if (flags & kCommandFailed) {
        logger.Log("NPA command Fail error. Continue byte value =0x%x", flags);
        return kNPAStateFailed;
    }
    if (!(flags & kMorePackets)) {
        logger.Log("This is the last packet. Continue byte value =0x%x", flags);
        return kNPAStateLastPacket;
    }
    return kNPAStateReading;
}

int Protocol::readPacket(Logger& logger, Data* packet,
                         const std::function<int(ByteCursor& bytes, size_t size, int& state)>& body) {
    if (packet == nullptr || packet->size() <= 0 || packet->get() == nullptr) {
        return kNPAStateReading;
    }
    int state = kNPAStateReading;
    try {
        const size_t size = static_cast<size_t>(packet->size());
        ByteCursor bytes(packet->get(), size);
        logger.LogData(packet->get(), packet->size());
        return body(bytes, size, state);
    } catch (...) {
        logger.Log("Exception in processResponse, state =%d", state);
        return state;
    }
}

int Protocol::openForRequest(Logger& logger, Data* request) {
    Connection* connection = getConnection();
    if (connection == nullptr || request == nullptr) {
        return -1;
    }
    int rc = connection->doOpen();
    if (rc != 0) {
        return rc;
    }
    logger.Log("%s", "Command buffer");
    logger.LogData(request->get(), request->size());
    return 0;
}
