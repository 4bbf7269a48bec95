// NpaAnswerScripts: scripted printer answers to the RDC request, in both NPA framings,
// shared by every test that plays a device over some transport.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "connection/Connection.h"
#include "core/Data.h"
#include "protocol/NPAResp.h"

namespace npa_script {

using Bytes = std::vector<unsigned char>;

// Request byte 4 of the RDC request, which every answer packet must repeat.
constexpr unsigned char kRdcEcho = 0xE0;

// The RDC request as the command builds it, as bytes and as a Data with its header size
// (5) and echo offset (4).
Bytes rdcRequest();
Data rdcRequestData();
Bytes bytesOf(const Data& data);
// The 19-byte command that puts the printer into NPA mode.
Bytes npaModeCommand();

// An answer packet: 0xA5, the 16-bit length of what follows, |flags|, |echo|, |payload|.
Bytes packet(unsigned char flags, const Bytes& payload, unsigned char echo = kRdcEcho);
Bytes concat(const std::vector<Bytes>& parts);
// An answer datagram: a 12-byte network header carrying |tag| in bytes 2-5 and
// |sequence| in bytes 6-7, most significant first, followed by |npa|.
Bytes datagram(uint16_t sequence, const Bytes& npa, uint32_t tag = 0x11223344);
// The acknowledgement a host sends for |datagram|: 01 03, then its bytes 2-5 (0 where missing).
Bytes acknowledgement(const Bytes& datagram);

// One device behaviour: what each read returns before the device goes quiet, how many of
// those reads the protocol takes, its result and (on success) the joined answer.
struct AnswerScript {
    std::string name;
    std::vector<Bytes> reads;
    size_t readsUsed;
    int expectedResult;
    Bytes expectedAnswer;
};

// Answers over the packet framing (USB, backend back-channel).
std::vector<AnswerScript> packetFramingScripts();
// Answers over the network framing (UDP datagrams with sequence numbers).
std::vector<AnswerScript> networkFramingScripts();

// An NPA protocol of type P with its response builder over |connection|, which it owns.
template <class P>
std::unique_ptr<P> protocolOver(Connection* connection) {
    auto protocol = std::make_unique<P>(connection);
    protocol->assignResponseBuilder(new NPAResp());
    return protocol;
}

}  // namespace npa_script
