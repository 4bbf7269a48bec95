// NPABiDiProtocol: NPA request and answer packets carried in network datagrams.
#include "protocol/NPABiDiProtocol.h"

#include <sys/time.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "connection/Connection.h"
#include "protocol/NPAResp.h"
#include "support/ByteCursor.h"
#include "support/Clock.h"
#include "support/Logger.h"

namespace {
constexpr int kNpaNetworkPort = 9300;
constexpr int kAnswerHeaderSize = 12;
constexpr size_t kRequestHeaderSize = 8;
const unsigned char kRequestHeader[] = {0x01, 0x00, 0x00, 0x31};
const unsigned char kAckHeader[] = {0x01, 0x03};
constexpr size_t kAckSize = 6;
// Offsets inside an answer datagram.
constexpr size_t kAckedBytesOffset = 2;
constexpr size_t kSequenceOffset = 6;
constexpr size_t kFlagsOffset = 15;

}  // namespace

NPABiDiProtocol::NPABiDiProtocol(Connection* connection)
    : Protocol(connection), networkHeaderSize_(kAnswerHeaderSize) {
    setProtocolType(PROTOCOL_NPA);
    setProtocolPort(kNpaNetworkPort);
}

NPABiDiProtocol::~NPABiDiProtocol() = default;

Data* NPABiDiProtocol::addNetworkHeader(Data* request) {
    size_t requestSize = 0;
    if (request != nullptr && request->get() != nullptr && request->size() > 0) {
        requestSize = static_cast<size_t>(request->size());
    }
    std::vector<unsigned char> wrapped(kRequestHeaderSize + requestSize, 0);
    std::memcpy(wrapped.data(), kRequestHeader, sizeof(kRequestHeader));

    // Milliseconds of the time of day, truncated to 32 bits, least significant byte first.
    struct timeval now = Clock::now();
    uint32_t stamp = static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000u +
                                           static_cast<uint64_t>(now.tv_usec) / 1000u);
    for (size_t i = 0; i < 4; ++i) {
        wrapped[4 + i] = static_cast<unsigned char>(stamp >> (8 * i));
    }
    if (requestSize > 0) {
        std::memcpy(wrapped.data() + kRequestHeaderSize, request->get(), requestSize);
    }
    return new Data(wrapped.data(), static_cast<int>(wrapped.size()));
}

int NPABiDiProtocol::doRequest(Data* request, Data& response) {
    Logger logger("NPABiDiProtocol", "doRequest");
    auto send = [&](Connection& connection) {
        std::unique_ptr<Data> wrapped(addNetworkHeader(request));
        int writeResult = connection.doWrite(wrapped.get());
        logger.Log("Send command. Return value =%d", writeResult);
        logger.LogData(wrapped->get(), wrapped->size());
        return writeResult;
    };
    auto handle = [this](Data* packet, int, unsigned int) { return processResponse(packet); };
    return exchangePackets(logger, request, response, send, handle);
}

int NPABiDiProtocol::processResponse(Data* packet) {
    Logger logger("NPABiDiProtocol", "processResponse");
    // Bytes a short datagram lacks read as 0.
    return readPacket(logger, packet, [&](ByteCursor& bytes, size_t size, int& state) {
        unsigned char ack[kAckSize] = {kAckHeader[0], kAckHeader[1]};
        for (size_t i = 0; i < 4; ++i) {
            ack[2 + i] = bytes.peek(kAckedBytesOffset + i);
        }
        Data ackPacket(ack, static_cast<int>(kAckSize));
        Connection* connection = getConnection();
        int ackResult = connection != nullptr ? connection->doWrite(&ackPacket) : -1;
        logger.Log("Sending Ack packet. Return value =%d", ackResult);

        state = packetState(logger, bytes.peek(kFlagsOffset));

        int sequence = NPAResp::swapByte(bytes, kSequenceOffset);
        size_t header = static_cast<size_t>(networkHeaderSize_);
        Response* builder = getResponseBuilder();
        if (builder != nullptr) {
            // A datagram no longer than its header gives an empty piece, which is not stored.
            Data* piece = size > header ? new Data(packet->get() + header, static_cast<int>(size - header))
                                        : new Data();
            builder->addData(sequence, piece);
        }
        return state;
    });
}
