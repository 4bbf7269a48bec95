// NpaAnswerScripts: the NPA request bytes the filter sends, and answer packets framed as the
// simulator's scripted printer frames them (the test program links the simulator's library).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "protocol/Protocol.h"
#include "core/Data.h"
#include "protocol/NPAResp.h"
#include "ScriptedResponder.h"

namespace npa_script {

using Bytes = std::vector<unsigned char>;

constexpr unsigned char kRdcEcho = 0xE0;  // byte 4 of the RDC request, repeated by every answer packet

// The requests the filter sends, written out here so that any change of them shows.
const std::string kModeCommand("\xA5\x00\x10\x80\xA4\x5B\xA4\x5B\x10\xEF\xA4\x5B\x11\xEE\x00\xFF\x13\xEC\x2E", 19);
const std::string kConfigurationRequest("\xA5\x00\x07\x50\xE0\x21\x01\x00\x00\x00", 10);
const std::string kOptionsRequest("\xA5\x00\x03\x50\x01\x04", 6);
// What AutoConfigure sends on a USB queue, each request after the mode command.
const std::string kAutoConfigureRequests = kModeCommand + kConfigurationRequest + kModeCommand + kOptionsRequest;
// What ReportLevels sends: the supply request in language |language|, after the mode command.
inline std::string supplyRequest(char language) {
    return kModeCommand + std::string("\xA5\x00\x08\x50\xE0\x21\x01\x00", 8) + language + std::string("\x01\x08", 2);
}
inline Bytes rdcRequest() { return Bytes(kConfigurationRequest.begin(), kConfigurationRequest.end()); }
inline Bytes npaModeCommand() { return Bytes(kModeCommand.begin(), kModeCommand.end()); }
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
