// Tests of the NPA packet and network framings over a scripted connection, and of joining
// answer packets whose lengths cannot be trusted.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "helpers/NpaAnswerScripts.h"
#include "helpers/ScriptedConnection.h"
#include "protocol/NPABiDiProtocol.h"
#include "protocol/NPAProtocol.h"
#include "protocol/NPAResp.h"
#include "support/Clock.h"

using namespace npa_script;

namespace {

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

std::unique_ptr<Protocol> over(ScriptedConnection* connection, bool network) {
    if (network) return protocolOver<NPABiDiProtocol>(connection);
    return protocolOver<NPAProtocol>(connection);
}

}  // namespace

TEST(NpaProtocols, PlayEveryScriptedAnswer) {
    for (bool network : {false, true}) {
        for (const auto& script : network ? networkFramingScripts() : packetFramingScripts()) {
            SCOPED_TRACE(std::string(network ? "network: " : "packet: ") + script.name);
            auto* connection = new ScriptedConnection(script.reads);
            auto protocol = over(connection, network);
            Data request = rdcRequestData(), answer;

            EXPECT_EQ(protocol->doRequest(&request, answer), script.expectedResult);
            EXPECT_EQ(bytesOf(answer), script.expectedResult == 0 ? script.expectedAnswer : Bytes());
            EXPECT_EQ(connection->readsServed, script.readsUsed);
            EXPECT_EQ(connection->opens + connection->closes, 2);
            if (script.expectedResult == 0) {
                EXPECT_EQ(answer.getHeaderSize(), 5);
                EXPECT_EQ(answer.getErrorCheckingByte(), 4);
            }
            if (!network) {
                EXPECT_EQ(connection->writes, (std::vector<Bytes>{npaModeCommand(), rdcRequest()}));
                continue;
            }
            // The request behind an 8-byte header, then one acknowledgement per datagram.
            ASSERT_EQ(connection->writes.size(), 1 + script.readsUsed);
            const Bytes& sent = connection->writes[0];
            ASSERT_EQ(sent.size(), 8 + rdcRequest().size());
            EXPECT_EQ(Bytes(sent.begin(), sent.begin() + 4), (Bytes{0x01, 0x00, 0x00, 0x31}));
            EXPECT_EQ(Bytes(sent.begin() + 8, sent.end()), rdcRequest());
            for (size_t i = 0; i < script.readsUsed; ++i) {
                EXPECT_EQ(connection->writes[1 + i], acknowledgement(script.reads[i])) << "read " << i;
            }
        }
    }
}

TEST(NpaNetworkProtocol, RequestHeaderCarriesTheTimeOfDayInMilliseconds) {
    std::vector<struct timeval> times = {{1000, 234567}, {5000000000, 999999}};
    size_t next = 0;
    Clock::setNowFunction([&] { return times[next++ % 2]; });
    const Bytes answer = datagram(0, packet(0x00, {0x01}));
    auto* connection = new ScriptedConnection({answer, answer});
    auto protocol = protocolOver<NPABiDiProtocol>(connection);
    Data request = rdcRequestData(), got;
    EXPECT_EQ(protocol->doRequest(&request, got), 0);
    EXPECT_EQ(protocol->doRequest(&request, got), 0);
    Clock::setNowFunction(nullptr);

    ASSERT_EQ(connection->writes.size(), 4u);
    // 1000234 ms, then 5000000000999 ms cut to its low 32 bits; least significant byte first.
    EXPECT_EQ(Bytes(connection->writes[0].begin(), connection->writes[0].begin() + 8),
              (Bytes{0x01, 0x00, 0x00, 0x31, 0x2A, 0x43, 0x0F, 0x00}));
    EXPECT_EQ(Bytes(connection->writes[2].begin(), connection->writes[2].begin() + 8),
              (Bytes{0x01, 0x00, 0x00, 0x31, 0xE7, 0x53, 0x39, 0x27}));
}

// Both framings share the read loop and its limits on packets and bytes.
TEST(NpaProtocols, EndlessAnswersStopAtTheAnswerLimit) {
    struct Case {
        const char* name;
        bool network;
        std::function<Bytes(size_t)> read;
        int expected;
    };
    const Case cases[] = {
        {"packet: small continuations", false, [](size_t) { return packet(0x20, {1, 2}); }, 0},
        {"packet: large continuations", false, [](size_t) { return packet(0x20, Bytes(60000, 0x55)); }, 0},
        {"packet: noise forever", false, [](size_t) { return Bytes{0x00, 0xA5, 0x00, 0x02, 0x20, 0xE0}; }, -1},
        {"network: numbers with gaps", true,
         [](size_t n) { return datagram(static_cast<uint16_t>(n * 16), packet(0x20, {1})); }, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto* connection = new ScriptedConnection();
        connection->endlessReads = c.read;
        auto protocol = over(connection, c.network);
        Data request = rdcRequestData(), answer;

        EXPECT_EQ(protocol->doRequest(&request, answer), c.expected);
        const size_t size = c.read(0).size();
        EXPECT_LE(connection->readCalls, NPAResp::kMaxAnswerPackets);
        EXPECT_LE(connection->readsServed * size, NPAResp::kMaxAnswerBytes + size);
        if (!c.network) { EXPECT_EQ(protocol->getResponseBuilder()->getMaxSize(), 0u); }  // packets released
        EXPECT_EQ(connection->writes.size(), c.network ? 1 + connection->readsServed : 2);
        if (c.expected == 0) {  // one packet whose length field covers exactly what follows it
            ASSERT_GE(answer.size(), 3);
            EXPECT_EQ(answer.get()[0], 0xA5);
            EXPECT_EQ((answer.get()[1] << 8) | answer.get()[2], answer.size() - 3);
        }
    }
}

TEST(NpaProtocols, ConnectionFailures) {
    struct Case {
        const char* name;
        bool network;
        int openResult;
        std::map<size_t, int> writeResults;
        int expected;
        size_t writes, readCalls;
    };
    const Case cases[] = {
        {"packet: open failure is passed through, nothing written", false, 7, {}, 7, 0, 0},
        {"packet: request write failure gives ten without reading", false, 0, {{1, 5}}, 10, 2, 0},
        {"packet: mode command failure is ignored", false, 0, {{0, 5}}, 0, 2, 1},
        {"network: open failure is passed through, nothing written", true, 3, {}, 3, 0, 0},
        {"network: request write failure gives ten without reading", true, 0, {{0, 5}}, 10, 1, 0},
        {"network: failed acknowledgement changes nothing", true, 0, {{1, 5}}, 0, 2, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Bytes answer = packet(0x00, {0x01});
        auto* connection = new ScriptedConnection({c.network ? datagram(0, answer) : answer});
        connection->openResult = c.openResult;
        connection->writeResults = c.writeResults;
        auto protocol = over(connection, c.network);
        Data request = rdcRequestData(), got;

        EXPECT_EQ(protocol->doRequest(&request, got), c.expected);
        EXPECT_EQ(connection->writes.size(), c.writes);
        EXPECT_EQ(connection->readCalls, c.readCalls);
        // A connection that never opened is not closed; one that did is closed once.
        EXPECT_EQ(connection->closes, c.openResult == 0 ? 1 : 0);
    }
}

TEST(NpaRepack, StuckOrOverlongAnswersEndAtTheLastPacketThatFits) {
    // With no header to skip, a length of 2 leaves the position where it was.
    const Bytes stuck = packet(0x20, {});
    // A second packet would take the length field past 0xFFFF.
    const Bytes full = packet(0x20, Bytes(0xFFFF - 5, 0x11));
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

TEST(NpaRepack, RandomPacketsNeverBreakTheJoinedAnswer) {
    // Random lengths, flags and bodies; start and echo bytes are usually right so that the
    // walk gets past the first checks.
    std::mt19937 random(20240611);
    for (int round = 0; round < 3000; ++round) {
        std::vector<Bytes> pieces(1 + random() % 4);
        size_t held = 0;
        for (Bytes& bytes : pieces) {
            bytes.resize(random() % 24);
            for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
            if (!bytes.empty() && random() % 8 != 0) bytes[0] = 0xA5;
            if (bytes.size() > 4 && random() % 8 != 0) bytes[4] = kRdcEcho;
            held += bytes.size();
        }
        Data answer;
        if (repack(pieces, static_cast<int>(random() % 7), answer) == 0) {
            ASSERT_GE(answer.size(), 3);
            ASSERT_LE(static_cast<size_t>(answer.size()), held);
            EXPECT_EQ(answer.get()[0], 0xA5);
            EXPECT_EQ((answer.get()[1] << 8) | answer.get()[2], answer.size() - 3);
        }
    }
}
