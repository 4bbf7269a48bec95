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

Bytes bytesOf(const Data& data) {
    return data.get() ? Bytes(data.get(), data.get() + data.size()) : Bytes();
}

Bytes npaModeCommand() {
    return {0xA5, 0x00, 0x10, 0x80, 0xA4, 0x5B, 0xA4, 0x5B, 0x10, 0xEF,
            0xA4, 0x5B, 0x11, 0xEE, 0x00, 0xFF, 0x13, 0xEC, 0x2E};
}

Bytes packet(unsigned char flags, const Bytes& payload, unsigned char echo) {
    size_t length = payload.size() + 2;
    Bytes bytes = {0xA5, static_cast<unsigned char>(length >> 8), static_cast<unsigned char>(length & 0xFF),
                   flags, echo};
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

Bytes concat(const std::vector<Bytes>& parts) {
    Bytes bytes;
    for (const Bytes& part : parts) {
        bytes.insert(bytes.end(), part.begin(), part.end());
    }
    return bytes;
}

Bytes datagram(uint16_t sequence, const Bytes& npa, uint32_t tag) {
    Bytes bytes = {0x00,
                   0x02,
                   static_cast<unsigned char>(tag >> 24),
                   static_cast<unsigned char>(tag >> 16),
                   static_cast<unsigned char>(tag >> 8),
                   static_cast<unsigned char>(tag),
                   static_cast<unsigned char>(sequence >> 8),
                   static_cast<unsigned char>(sequence & 0xFF),
                   0x00,
                   0x00,
                   0x00,
                   0x00};
    bytes.insert(bytes.end(), npa.begin(), npa.end());
    return bytes;
}

Bytes acknowledgement(const Bytes& datagram) {
    Bytes ack = {0x01, 0x03, 0, 0, 0, 0};
    for (size_t i = 0; i < 4; ++i) {
        ack[2 + i] = 2 + i < datagram.size() ? datagram[2 + i] : 0;
    }
    return ack;
}

std::vector<AnswerScript> packetFramingScripts() {
    const Bytes single = packet(0x00, {0x01, 0x02, 0x03});
    return {
        {"SinglePacket", {single}, 1, 0, single},
        {"ThreePacketsOnePerRead",
         {packet(0x20, {0x01, 0x02}), packet(0x20, {0x03}), packet(0x00, {0x04, 0x05, 0x06})},
         3,
         0,
         packet(0x20, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06})},
        // The first packet says more follow, so reading goes on until the device is quiet.
        {"TwoPacketsInOneRead",
         {concat({packet(0x20, {0x01, 0x02}), packet(0x00, {0x03, 0x04})})},
         1,
         0,
         packet(0x20, {0x01, 0x02, 0x03, 0x04})},
        {"ContinuationNeverArrives", {packet(0x20, {0x01, 0x02})}, 1, 0, packet(0x20, {0x01, 0x02})},
        {"LeadingNoiseRejectsTheWholeRead",
         {concat({{0x00}, packet(0x00, {0x09})}), packet(0x00, {0x07, 0x08})},
         2,
         0,
         packet(0x00, {0x07, 0x08})},
        {"OnlyNoise", {concat({{0x00}, packet(0x00, {0x09})})}, 1, -1, {}},
        {"WrongEchoByte", {packet(0x00, {0x01}, 0xE1)}, 1, -1, {}},
        {"CommandFailedFlag", {packet(0x80, {0x01}), packet(0x00, {0x02})}, 1, 13, {}},
        {"SilentDevice", {}, 0, 10, {}},
        // Lying lengths: what is held is joined, the length field is made to fit it.
        {"FirstLengthBeyondTheRead",
         {Bytes{0xA5, 0x00, 0x40, 0x00, 0xE0, 0x01, 0x02}},
         1,
         0,
         Bytes{0xA5, 0x00, 0x04, 0x00, 0xE0, 0x01, 0x02}},
        {"ContinuationLengthBeyondTheRead",
         {packet(0x20, {0x01, 0x02}), Bytes{0xA5, 0xFF, 0xF0, 0x00, 0xE0, 0x03}},
         2,
         0,
         packet(0x20, {0x01, 0x02, 0x03})},
        {"ContinuationLengthZero",
         {packet(0x20, {0x01}), Bytes{0xA5, 0x00, 0x00, 0x20, 0xE0, 0x03, 0x04}},
         2,
         0,
         packet(0x20, {0x01, 0x03, 0x04})},
        {"FirstLengthWrapsBelowItsHeader", {Bytes{0xA5, 0xFF, 0xFE, 0x00, 0xE0, 0x01}}, 1, -1, {}},
    };
}

std::vector<AnswerScript> networkFramingScripts() {
    const Bytes single = packet(0x00, {0x01, 0x02, 0x03});
    return {
        {"SinglePacket", {datagram(0, single)}, 1, 0, single},
        {"ThreePackets",
         {datagram(0, packet(0x20, {0x01})), datagram(1, packet(0x20, {0x02})),
          datagram(2, packet(0x00, {0x03}))},
         3,
         0,
         packet(0x20, {0x01, 0x02, 0x03})},
        // Both say more follow; the answer ends when the device goes quiet.
        {"OutOfOrderIsJoinedInSequenceOrder",
         {datagram(1, packet(0x20, {0x03})), datagram(0, packet(0x20, {0x01, 0x02}))},
         2,
         0,
         packet(0x20, {0x01, 0x02, 0x03})},
        {"MissingSequenceNumber",
         {datagram(0, packet(0x20, {0x01})), datagram(2, packet(0x00, {0x03}))},
         2,
         -1,
         {}},
        {"CommandFailedFlag", {datagram(0, packet(0x80, {0x01})), datagram(1, single)}, 1, 13, {}},
        {"SilentDevice", {}, 0, 10, {}},
        // Shorter than the 16 bytes up to the flags: the flags read as 0 (last packet).
        {"HeaderOnlyDatagram", {Bytes{0x00, 0x02, 0xAA, 0xBB, 0xCC, 0xDD, 0x00, 0x00, 0x00, 0x00}}, 1, -1, {}},
        {"ThreeByteDatagram", {Bytes{0x00, 0x02, 0xAA}}, 1, -1, {}},
        {"DatagramCutInsideThePacketHeader", {datagram(0, Bytes{0xA5, 0x00})}, 1, -1, {}},
        {"LengthBeyondTheDatagram",
         {datagram(0, Bytes{0xA5, 0x00, 0x40, 0x00, 0xE0, 0x01, 0x02})},
         1,
         0,
         Bytes{0xA5, 0x00, 0x04, 0x00, 0xE0, 0x01, 0x02}},
    };
}

}  // namespace npa_script
