// Tests of the NPA packet and network framings, and of joining answer packets with untrusted lengths.
#include <gtest/gtest.h>

#include "helpers/DamagedAnswers.h"
#include "helpers/NpaAnswerScripts.h"
#include "helpers/ScriptedConnection.h"
#include "protocol/NPABiDiProtocol.h"
#include "protocol/NPAProtocol.h"
#include "support/Clock.h"

using namespace npa_script;

namespace {

// An answer datagram: a 12-byte header with a tag in bytes 2-5 and |sequence| in bytes 6-7, then |npa|.
Bytes datagram(uint16_t sequence, const Bytes& npa) {
    return concat({{0, 2, 0x11, 0x22, 0x33, 0x44, uint8_t(sequence >> 8), uint8_t(sequence), 0, 0, 0, 0}, npa});
}

// The acknowledgement a host sends for |datagram|: 01 03, then its bytes 2-5 (0 where missing).
Bytes acknowledgement(const Bytes& datagram) {
    Bytes ack = {0x01, 0x03, 0, 0, 0, 0};
    for (size_t i = 2; i < 6 && i < datagram.size(); ++i) ack[i] = datagram[i];
    return ack;
}

// One RDC request over a fresh scripted connection in either framing.
struct Exchange {
    ScriptedConnection* connection;  // owned by |protocol|
    std::unique_ptr<Protocol> protocol;
    Data answer;
    Exchange(bool network, const std::vector<Bytes>& reads = {})
        : connection(new ScriptedConnection(reads)),
          protocol(network ? protocolOver<NPABiDiProtocol>(connection) : protocolOver<NPAProtocol>(connection)) {}
    int request() {
        Bytes bytes = rdcRequest();
        Data request(bytes.data(), static_cast<int>(bytes.size()));
        request.setHeaderSize(5);
        request.setErrorCheckingByte(4);
        return protocol->doRequest(&request, answer);
    }
};

// A joined answer is one packet whose length field covers exactly what follows it.
void expectOnePacket(const Data& answer, size_t held) {
    ASSERT_GE(answer.size(), 3);
    ASSERT_LE(static_cast<size_t>(answer.size()), held);
    EXPECT_EQ(answer.get()[0], 0xA5);
    EXPECT_EQ((answer.get()[1] << 8) | answer.get()[2], answer.size() - 3);
}

}  // namespace

TEST(NpaProtocols, PlayEveryScriptedAnswer) {
    struct Script {
        const char* name;
        std::vector<Bytes> reads;
        size_t readsUsed;
        int result;
        Bytes answer;  // on success
        int openResult = 0;
        std::map<size_t, int> writeResults = {};  // status of the n-th write
    };
    const auto p = [](unsigned char flags, const Bytes& payload) { return packet(flags, payload); };
    const auto d = datagram;
    const std::vector<Script> packetScripts = {
        {"three packets, one per read", {p(0x20, {1, 2}), p(0x20, {3}), p(0, {4, 5, 6})}, 3, 0,
         p(0x20, {1, 2, 3, 4, 5, 6})},
        // The first packet says more follow, so reading goes on until the device is quiet.
        {"two packets in one read", {concat({p(0x20, {1, 2}), p(0, {3, 4})})}, 1, 0, p(0x20, {1, 2, 3, 4})},
        {"leading noise rejects the whole read", {concat({{0}, p(0, {9})}), p(0, {7, 8})}, 2, 0, p(0, {7, 8})},
        {"wrong echo byte", {packet(0, {1}, 0xE1)}, 1, -1, {}},
        {"command failed flag", {p(0x80, {1}), p(0, {2})}, 1, 13, {}},
        {"silent device", {}, 0, 10, {}},
        // Lying lengths: what is held is joined, the length field is made to fit it.
        {"first length beyond the read", {{0xA5, 0, 0x40, 0, 0xE0, 1, 2}}, 1, 0, {0xA5, 0, 4, 0, 0xE0, 1, 2}},
        {"continuation length beyond", {p(0x20, {1, 2}), {0xA5, 0xFF, 0xF0, 0, 0xE0, 3}}, 2, 0, p(0x20, {1, 2, 3})},
        {"continuation length zero", {p(0x20, {1}), {0xA5, 0, 0, 0x20, 0xE0, 3, 4}}, 2, 0, p(0x20, {1, 3, 4})},
        {"first length wraps below its header", {{0xA5, 0xFF, 0xFE, 0, 0xE0, 1}}, 1, -1, {}},
        {"open failure is passed through, nothing written", {p(0, {1})}, 0, 7, {}, 7},
        {"request write failure gives ten without reading", {p(0, {1})}, 0, 10, {}, 0, {{1, 5}}},
        {"mode command failure is ignored", {p(0, {1})}, 1, 0, p(0, {1}), 0, {{0, 5}}},
    }, networkScripts = {
        {"three packets", {d(0, p(0x20, {1})), d(1, p(0x20, {2})), d(2, p(0, {3}))}, 3, 0, p(0x20, {1, 2, 3})},
        // Both say more follow; the answer ends when the device goes quiet.
        {"joined in sequence order", {d(1, p(0x20, {3})), d(0, p(0x20, {1, 2}))}, 2, 0, p(0x20, {1, 2, 3})},
        {"missing sequence number", {d(0, p(0x20, {1})), d(2, p(0, {3}))}, 2, -1, {}},
        {"command failed flag", {d(0, p(0x80, {1})), d(1, p(0, {2}))}, 1, 13, {}},
        {"silent device", {}, 0, 10, {}},
        // Shorter than the 16 bytes up to the flags: the flags read as 0 (last packet).
        {"three-byte datagram", {{0, 2, 0xAA}}, 1, -1, {}},
        {"datagram cut inside the packet header", {d(0, {0xA5, 0})}, 1, -1, {}},
        {"length beyond the datagram", {d(0, {0xA5, 0, 0x40, 0, 0xE0, 1, 2})}, 1, 0, {0xA5, 0, 4, 0, 0xE0, 1, 2}},
        {"open failure is passed through, nothing written", {d(0, p(0, {1}))}, 0, 3, {}, 3},
        {"request write failure gives ten without reading", {d(0, p(0, {1}))}, 0, 10, {}, 0, {{0, 5}}},
        {"failed acknowledgement changes nothing", {d(0, p(0, {1}))}, 1, 0, p(0, {1}), 0, {{1, 5}}},
    };
    Clock::setNowFunction([] { return timeval{5000000000, 999999}; });
    for (bool network : {false, true}) {
        for (const Script& s : network ? networkScripts : packetScripts) {
            SCOPED_TRACE(std::string(network ? "network: " : "packet: ") + s.name);
            Exchange x(network, s.reads);
            x.connection->openResult = s.openResult;
            x.connection->writeResults = s.writeResults;
            EXPECT_EQ(x.request(), s.result);
            EXPECT_EQ(bytesOf(x.answer), s.answer);
            EXPECT_EQ(x.connection->readsServed, s.readsUsed);
            // Opened once; closed once, unless it failed to open.
            EXPECT_EQ(std::make_pair(x.connection->opens, x.connection->closes), std::make_pair(1, s.openResult ? 0 : 1));
            if (s.result == 0) {
                EXPECT_EQ(x.answer.getHeaderSize(), 5);
                EXPECT_EQ(x.answer.getErrorCheckingByte(), 4);
            }
            // Over the network the request goes behind an 8-byte header ending in the time of day in
            // milliseconds (cut to 32 bits, least significant byte first); each datagram is acknowledged.
            std::vector<Bytes> writes = {npaModeCommand(), rdcRequest()};
            if (network) writes = {concat({{0x01, 0x00, 0x00, 0x31, 0xE7, 0x53, 0x39, 0x27}, rdcRequest()})};
            for (size_t i = 0; network && i < s.readsUsed; ++i) writes.push_back(acknowledgement(s.reads[i]));
            EXPECT_EQ(x.connection->writes, s.openResult ? std::vector<Bytes>() : writes);
        }
    }
    Clock::setNowFunction(nullptr);
}

// Both framings share the read loop and its limits on packets and bytes.
TEST(NpaProtocols, EndlessAnswersStopAtTheAnswerLimit) {
    const std::tuple<const char*, bool, std::function<Bytes(size_t)>, int> cases[] = {
        {"packet: small continuations", false, [](size_t) { return packet(0x20, {1, 2}); }, 0},
        {"packet: large continuations", false, [](size_t) { return packet(0x20, Bytes(60000, 0x55)); }, 0},
        {"packet: noise forever", false, [](size_t) { return Bytes{0x00, 0xA5, 0x00, 0x02, 0x20, 0xE0}; }, -1},
        {"network: numbers with gaps", true,
         [](size_t n) { return datagram(static_cast<uint16_t>(n * 16), packet(0x20, {1})); }, -1},
    };
    for (const auto& [name, network, read, expected] : cases) {
        SCOPED_TRACE(name);
        Exchange x(network);
        x.connection->endlessReads = read;
        EXPECT_EQ(x.request(), expected);
        const size_t size = read(0).size();
        EXPECT_LE(x.connection->readCalls, NPAResp::kMaxAnswerPackets);
        EXPECT_LE(x.connection->readsServed * size, NPAResp::kMaxAnswerBytes + size);
        if (!network) { EXPECT_EQ(x.protocol->getResponseBuilder()->getMaxSize(), 0u); }  // packets released
        EXPECT_EQ(x.connection->writes.size(), network ? 1 + x.connection->readsServed : 2);
        if (expected == 0) expectOnePacket(x.answer, x.connection->readsServed * size);
    }
}

// Joins |pieces| (sequence numbers 0, 1, ...) into an answer with echo offset 4.
int repack(const std::vector<Bytes>& pieces, int headerSize, Data& answer) {
    NPAResp builder;
    for (size_t i = 0; i < pieces.size(); ++i) {
        builder.addData(static_cast<int>(i), new Data(pieces[i].data(), static_cast<int>(pieces[i].size())));
    }
    answer.setErrorCheckingByte(4);
    answer.setHeaderSize(headerSize);
    return builder.repackResponse(answer, kRdcEcho);
}

TEST(NpaRepack, StuckOrOverlongAnswersEndAtTheLastPacketThatFits) {
    const Bytes stuck = packet(0x20, {});  // with no header to skip, a length of 2 does not move on
    const Bytes full = packet(0x20, Bytes(0xFFFF - 5, 0x11));  // a second packet would overflow the length
    const std::tuple<std::vector<Bytes>, int, Bytes> cases[] = {
        {{concat({stuck, stuck, stuck})}, 0, stuck},
        {{full, packet(0x00, {0x22, 0x33})}, 5, full},
    };
    for (const auto& [pieces, headerSize, expected] : cases) {
        Data answer;
        ASSERT_EQ(repack(pieces, headerSize, answer), 0);
        EXPECT_EQ(bytesOf(answer), expected);
    }
}

TEST(NpaRepack, DamagedPacketsNeverBreakTheJoinedAnswer) {
    const Bytes three = concat({packet(0x20, {1, 2}), packet(0x20, {3, 4, 5}), packet(0x00, {6})});
    cfftest::feedDamaged(three, 3000, 4, [](const Bytes& bytes, bool) {
        auto at = [&bytes](size_t n) { return bytes.begin() + std::min(n, bytes.size()); };
        const std::vector<Bytes> pieces = {{at(0), at(7)}, {at(7), at(15)}, {at(15), bytes.end()}};  // as the packets were
        Data answer;
        if (repack(pieces, static_cast<int>(bytes.size() % 7), answer) == 0) expectOnePacket(answer, bytes.size());
    });
}
