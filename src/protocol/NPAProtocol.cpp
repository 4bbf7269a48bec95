// NPAProtocol: sends one NPA request packet and gathers its answer packets.
#include "protocol/NPAProtocol.h"

#include "connection/Connection.h"
#include "protocol/NPAResp.h"
#include "support/ByteCursor.h"
#include "support/Logger.h"

namespace {
// Puts the printer into NPA mode; sent before every request.
const unsigned char kNpaModeCommand[] = {0xA5, 0x00, 0x10, 0x80, 0xA4, 0x5B, 0xA4,
                                         0x5B, 0x10, 0xEF, 0xA4, 0x5B, 0x11, 0xEE,
                                         0x00, 0xFF, 0x13, 0xEC, 0x2E};
constexpr unsigned char kStartOfPacket = 0xA5;
}  // namespace

NPAProtocol::NPAProtocol(Connection* connection) : Protocol(connection) {
    setProtocolType(PROTOCOL_NPA);
    setProtocolPort(0);
}

NPAProtocol::~NPAProtocol() = default;

int NPAProtocol::doRequest(Data* request, Data& response) {
    Logger logger("NPAProtocol", "doRequest");
    auto send = [&](Connection& connection) {
        Data modeCommand(kNpaModeCommand, static_cast<int>(sizeof(kNpaModeCommand)));
        connection.doWrite(&modeCommand);
        // The mode command's own result is intentionally not looked at.
        logger.Log("Send NPA mode command. Return value =%d", 0);

        logger.LogData(request->get(), request->size());
        int writeResult = connection.doWrite(request);
        logger.Log("Send command. Return value =%d", writeResult);
        if (writeResult == 0) {
            packetCounter_ = 0;
        }
        return writeResult;
    };
    auto handle = [this](Data* packet, int echoIndex, unsigned int echoValue) {
        return processResponse(packet, echoIndex, echoValue);
    };
    return exchangePackets(logger, request, response, send, handle);
}

int NPAProtocol::processResponse(Data* packet, int echoIndex, unsigned int echoValue) {
    Logger logger("NPAProtocol", "processResponse");
    return readPacket(logger, packet, [&](ByteCursor& bytes, size_t size, int& state) {
        logger.Log("Error checking index= %d, check val =0x%x", echoIndex, echoValue);

        // The packet must start at the first byte of the read; a read with leading noise is
        // rejected as a whole.
        bool found = bytes.peek(0) == kStartOfPacket && echoIndex >= 0 &&
                     bytes.has(static_cast<size_t>(echoIndex), 1) &&
                     bytes.peek(static_cast<size_t>(echoIndex)) == echoValue;
        if (!found) {
            logger.Log("No SOP byte found till end: %d", 0);
            logger.Log("Valid Data = %s", "FALSE");
            return kNPAStateReading;
        }

        logger.Log("SOP byte found at index %d", 0);
        Response* builder = getResponseBuilder();
        if (builder != nullptr) {
            builder->addData(packetCounter_, new Data(packet->get(), static_cast<int>(size)));
        }
        ++packetCounter_;

        state = packetState(logger, bytes.peek(3));
        logger.Log("Valid Data = %s", "TRUE");
        return state;
    });
}
