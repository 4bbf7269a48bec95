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
    if (packet == nullptr || packet->size() <= 0 || packet->get() == nullptr) {
        return kNPAStateReading;
    }
    int state = kNPAStateReading;
    try {
        const size_t size = static_cast<size_t>(packet->size());
        ByteCursor bytes(packet->get(), size);
        logger.LogData(packet->get(), packet->size());
        logger.Log("Error checking index= %d, check val =0x%x", echoIndex, echoValue);

        // A packet must start at the first byte of the read: after a mismatch the search
        // only goes on while i < -echoIndex, so it never does for the offsets in use.
        // Intended; a read with leading noise is rejected as a whole.
        bool found = false;
        long i = 0;
        while (static_cast<size_t>(i) < size) {
            long echoAt = i + echoIndex;
            if (bytes.peek(static_cast<size_t>(i)) == kStartOfPacket && echoAt >= 0 &&
                bytes.has(static_cast<size_t>(echoAt), 1) &&
                bytes.peek(static_cast<size_t>(echoAt)) == echoValue) {
                found = true;
                break;
            }
            if (!(i < -static_cast<long>(echoIndex))) {
                logger.Log("No SOP byte found till end: %d", static_cast<int>(i));
                break;
            }
            ++i;
        }
        if (!found) {
            logger.Log("Valid Data = %s", "FALSE");
            return kNPAStateReading;
        }

        logger.Log("SOP byte found at index %d", static_cast<int>(i));
        Response* builder = getResponseBuilder();
        if (builder != nullptr) {
            builder->addData(packetCounter_,
                             new Data(packet->get() + i, static_cast<int>(size - static_cast<size_t>(i))));
        }
        ++packetCounter_;

        state = packetState(logger, bytes.peek(3));
        logger.Log("Valid Data = %s", "TRUE");
        return state;
    } catch (...) {
        logger.Log("Exception in processResponse, state =%d", state);
        return state;
    }
}
