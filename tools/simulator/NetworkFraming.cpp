// NetworkFraming: the headers around packets on the network, and the acknowledgements.
#include "NetworkFraming.h"

bool NetworkFraming::isAck(const std::string& datagram, uint32_t& tag) {
    if (datagram.size() != kAckSize || datagram[0] != 0x01 || datagram[1] != 0x03) {
        return false;
    }
    tag = 0;
    for (size_t i = 2; i < kAckSize; ++i) {
        tag = (tag << 8) | static_cast<unsigned char>(datagram[i]);
    }
    return true;
}

std::string NetworkFraming::requestPacket(const std::string& datagram) {
    return datagram.size() > kRequestHeaderSize ? datagram.substr(kRequestHeaderSize) : std::string();
}

uint32_t NetworkFraming::ackTag(uint16_t sequence) {
    return 0x00310000U | sequence;
}

std::string NetworkFraming::frameAnswer(const std::string& packet, uint16_t sequence, const std::string& request) {
    uint32_t tag = ackTag(sequence);
    std::string header;
    header.push_back(0x01);
    header.push_back(0x02);
    for (int shift = 24; shift >= 0; shift -= 8) {
        header.push_back(static_cast<char>((tag >> shift) & 0xFF));
    }
    header.push_back(static_cast<char>(sequence >> 8));
    header.push_back(static_cast<char>(sequence & 0xFF));
    for (size_t i = 4; i < kRequestHeaderSize; ++i) {
        header.push_back(i < request.size() ? request[i] : '\0');
    }
    return header + packet;
}
