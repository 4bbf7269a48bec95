// NpaAnswerScripts: the NPA request bytes the filter sends, and answer packets framed as the
// simulator's scripted printer frames them (the test program links the simulator's library).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "protocol/Protocol.h"
#include "core/Data.h"
#include "protocol/NPAResp.h"
#include "ScriptedResponder.h"

namespace npa_script {

using Bytes = std::vector<unsigned char>;

constexpr unsigned char kRdcEcho = 0xE0;  // byte 4 of the RDC request, repeated by every answer packet

inline Bytes rdcRequest() { return {0xA5, 0x00, 0x07, 0x50, kRdcEcho, 0x21, 0x01, 0x00, 0x00, 0x00}; }
// The command that puts the printer into NPA mode.
inline Bytes npaModeCommand() {
    return {0xA5, 0x00, 0x10, 0x80, 0xA4, 0x5B, 0xA4, 0x5B, 0x10, 0xEF,
            0xA4, 0x5B, 0x11, 0xEE, 0x00, 0xFF, 0x13, 0xEC, 0x2E};
}
inline Bytes bytesOf(const Data& data) { return data.get() ? Bytes(data.get(), data.get() + data.size()) : Bytes(); }

inline Bytes concat(const std::vector<Bytes>& parts) {
    Bytes bytes;
    for (const Bytes& part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}
// An answer packet: 0xA5, the 16-bit length of what follows, |flags|, |echo|, |payload|.
inline Bytes packet(unsigned char flags, const Bytes& payload, unsigned char echo = kRdcEcho) {
    std::string framed = ScriptedResponder::packet(flags, echo, std::string(payload.begin(), payload.end()));
    return Bytes(framed.begin(), framed.end());
}

// An NPA protocol of type P with its response builder over |connection|, which it owns.
template <class P>
std::unique_ptr<Protocol> protocolOver(Connection* connection) {
    std::unique_ptr<Protocol> protocol = std::make_unique<P>(connection);
    protocol->assignResponseBuilder(new NPAResp());
    return protocol;
}

}  // namespace npa_script
