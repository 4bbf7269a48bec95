// NetworkFraming: the headers around packets on the network, and the acknowledgements.
#pragma once

#include <cstdint>
#include <string>

class NetworkFraming {
public:
    static constexpr size_t kRequestHeaderSize = 8;
    static constexpr size_t kAnswerHeaderSize = 12;
    static constexpr size_t kAckSize = 6;

    // True for a 6-byte acknowledgement; |tag| receives its bytes 2 to 5.
    static bool isAck(const std::string& datagram, uint32_t& tag);
    // The packet inside a request datagram, or "" when the datagram is too short.
    static std::string requestPacket(const std::string& datagram);
    // Wraps one answer packet: bytes 2-5 are the tag that its acknowledgement must repeat,
    // bytes 6-7 the big-endian sequence number, bytes 8-11 the request's time stamp.
    static std::string frameAnswer(const std::string& packet, uint16_t sequence, const std::string& request);
    // The tag that frameAnswer puts into the packet with |sequence|.
    static uint32_t ackTag(uint16_t sequence);
};
