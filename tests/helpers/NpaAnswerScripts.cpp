// NpaAnswerScripts: scripted printer answers to the RDC request, in both NPA framings.
#include "NpaAnswerScripts.h"

namespace npa_script {

Bytes rdcRequest() { return {0xA5, 0x00, 0x07, 0x50, 0xE0, 0x21, 0x01, 0x00, 0x00, 0x00}; }

Data rdcRequestData() {
    Bytes bytes = rdcRequest();
    Data request(bytes.data(), static_cast<int>(bytes.size()));
    request.setHeaderSize(5);
    request.setErrorCheckingByte(4);
    return request;
}

Bytes bytesOf(const Data& data) { return data.get() ? Bytes(data.get(), data.get() + data.size()) : Bytes(); }

Bytes npaModeCommand() {
    return {0xA5, 0x00, 0x10, 0x80, 0xA4, 0x5B, 0xA4, 0x5B, 0x10, 0xEF,
            0xA4, 0x5B, 0x11, 0xEE, 0x00, 0xFF, 0x13, 0xEC, 0x2E};
}

Bytes packet(unsigned char flags, const Bytes& payload, unsigned char echo) {
    size_t length = payload.size() + 2;
    return concat({{0xA5, static_cast<unsigned char>(length >> 8), static_cast<unsigned char>(length), flags, echo},
                   payload});
}

Bytes concat(const std::vector<Bytes>& parts) {
    Bytes bytes;
    for (const Bytes& part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

Bytes datagram(uint16_t sequence, const Bytes& npa, uint32_t tag) {
    using B = unsigned char;
    return concat({{0x00, 0x02, B(tag >> 24), B(tag >> 16), B(tag >> 8), B(tag), B(sequence >> 8), B(sequence), 0, 0,
                    0, 0},
                   npa});
}

Bytes acknowledgement(const Bytes& datagram) {
    Bytes ack = {0x01, 0x03, 0, 0, 0, 0};
    for (size_t i = 2; i < 6 && i < datagram.size(); ++i) ack[i] = datagram[i];
    return ack;
}

std::vector<AnswerScript> packetFramingScripts() {
    const Bytes single = packet(0x00, {0x01, 0x02, 0x03});
    return {
        {"SinglePacket", {single}, 1, 0, single},
        {"ThreePacketsOnePerRead", {packet(0x20, {1, 2}), packet(0x20, {3}), packet(0x00, {4, 5, 6})}, 3, 0,
         packet(0x20, {1, 2, 3, 4, 5, 6})},
        // The first packet says more follow, so reading goes on until the device is quiet.
        {"TwoPacketsInOneRead", {concat({packet(0x20, {1, 2}), packet(0x00, {3, 4})})}, 1, 0,
         packet(0x20, {1, 2, 3, 4})},
        {"ContinuationNeverArrives", {packet(0x20, {1, 2})}, 1, 0, packet(0x20, {1, 2})},
        {"LeadingNoiseRejectsTheWholeRead", {concat({{0x00}, packet(0x00, {9})}), packet(0x00, {7, 8})}, 2, 0,
         packet(0x00, {7, 8})},
        {"OnlyNoise", {concat({{0x00}, packet(0x00, {9})})}, 1, -1, {}},
        {"WrongEchoByte", {packet(0x00, {1}, 0xE1)}, 1, -1, {}},
        {"CommandFailedFlag", {packet(0x80, {1}), packet(0x00, {2})}, 1, 13, {}},
        {"SilentDevice", {}, 0, 10, {}},
        // Lying lengths: what is held is joined, the length field is made to fit it.
        {"FirstLengthBeyondTheRead", {{0xA5, 0x00, 0x40, 0x00, 0xE0, 1, 2}}, 1, 0, {0xA5, 0x00, 0x04, 0x00, 0xE0, 1, 2}},
        {"ContinuationLengthBeyondTheRead", {packet(0x20, {1, 2}), {0xA5, 0xFF, 0xF0, 0x00, 0xE0, 3}}, 2, 0,
         packet(0x20, {1, 2, 3})},
        {"ContinuationLengthZero", {packet(0x20, {1}), {0xA5, 0x00, 0x00, 0x20, 0xE0, 3, 4}}, 2, 0,
         packet(0x20, {1, 3, 4})},
        {"FirstLengthWrapsBelowItsHeader", {{0xA5, 0xFF, 0xFE, 0x00, 0xE0, 1}}, 1, -1, {}},
    };
}

std::vector<AnswerScript> networkFramingScripts() {
    const Bytes single = packet(0x00, {1, 2, 3});
    return {
        {"SinglePacket", {datagram(0, single)}, 1, 0, single},
        {"ThreePackets", {datagram(0, packet(0x20, {1})), datagram(1, packet(0x20, {2})), datagram(2, packet(0x00, {3}))},
         3, 0, packet(0x20, {1, 2, 3})},
        // Both say more follow; the answer ends when the device goes quiet.
        {"OutOfOrderIsJoinedInSequenceOrder", {datagram(1, packet(0x20, {3})), datagram(0, packet(0x20, {1, 2}))}, 2, 0,
         packet(0x20, {1, 2, 3})},
        {"MissingSequenceNumber", {datagram(0, packet(0x20, {1})), datagram(2, packet(0x00, {3}))}, 2, -1, {}},
        {"CommandFailedFlag", {datagram(0, packet(0x80, {1})), datagram(1, single)}, 1, 13, {}},
        {"SilentDevice", {}, 0, 10, {}},
        // Shorter than the 16 bytes up to the flags: the flags read as 0 (last packet).
        {"HeaderOnlyDatagram", {{0x00, 0x02, 0xAA, 0xBB, 0xCC, 0xDD, 0x00, 0x00, 0x00, 0x00}}, 1, -1, {}},
        {"ThreeByteDatagram", {{0x00, 0x02, 0xAA}}, 1, -1, {}},
        {"DatagramCutInsideThePacketHeader", {datagram(0, {0xA5, 0x00})}, 1, -1, {}},
        {"LengthBeyondTheDatagram", {datagram(0, {0xA5, 0x00, 0x40, 0x00, 0xE0, 1, 2})}, 1, 0,
         {0xA5, 0x00, 0x04, 0x00, 0xE0, 1, 2}},
    };
}

}  // namespace npa_script
