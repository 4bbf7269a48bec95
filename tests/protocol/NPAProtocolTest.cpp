// Tests of the NPA packet and network framings over a scripted connection.
#include <gtest/gtest.h>

#include <memory>

#include "helpers/NpaAnswerScripts.h"
#include "helpers/ScriptedConnection.h"
#include "protocol/NPABiDiProtocol.h"
#include "protocol/NPAProtocol.h"
#include "protocol/NPAResp.h"
#include "support/Clock.h"

namespace {

using npa_script::Bytes;
using npa_script::bytesOf;
using npa_script::protocolOver;
using npa_script::rdcRequestData;

// Serves the given times of day in turn and restores the real clock when done.
class FixedClock {
public:
    explicit FixedClock(std::vector<struct timeval> times) : times_(std::move(times)) {
        Clock::setNowFunction([this] { return times_[next_++ % times_.size()]; });
    }
    ~FixedClock() { Clock::setNowFunction(nullptr); }

private:
    std::vector<struct timeval> times_;
    size_t next_ = 0;
};

}  // namespace

TEST(NpaPacketProtocol, PlaysEveryScriptedAnswer) {
    for (const auto& script : npa_script::packetFramingScripts()) {
        SCOPED_TRACE(script.name);
        auto* connection = new ScriptedConnection(script.reads);
        auto protocol = protocolOver<NPAProtocol>(connection);
        Data request = rdcRequestData();
        Data answer;

        EXPECT_EQ(protocol->doRequest(&request, answer), script.expectedResult);

        EXPECT_EQ(connection->writes, (std::vector<Bytes>{npa_script::npaModeCommand(), npa_script::rdcRequest()}));
        EXPECT_EQ(connection->readsServed, script.readsUsed);
        EXPECT_EQ(connection->opens, 1);
        EXPECT_EQ(connection->closes, 1);
        if (script.expectedResult == 0) {
            EXPECT_EQ(bytesOf(answer), script.expectedAnswer);
            EXPECT_EQ(answer.getHeaderSize(), 5);
            EXPECT_EQ(answer.getErrorCheckingByte(), 4);
        } else {
            EXPECT_EQ(answer.size(), 0);
        }
    }
}

TEST(NpaPacketProtocol, EveryRequestGetsItsOwnModeCommandAndPacketNumbers) {
    const Bytes first = npa_script::packet(0x00, {0x01});
    const Bytes second = npa_script::packet(0x20, {0x02, 0x03});
    const Bytes third = npa_script::packet(0x00, {0x04});
    auto* connection = new ScriptedConnection({first, second, third});
    auto protocol = protocolOver<NPAProtocol>(connection);
    Data request = rdcRequestData();

    Data answer1;
    Data answer2;
    ASSERT_EQ(protocol->doRequest(&request, answer1), 0);
    ASSERT_EQ(protocol->doRequest(&request, answer2), 0);

    EXPECT_EQ(bytesOf(answer1), first);
    EXPECT_EQ(bytesOf(answer2), npa_script::packet(0x20, {0x02, 0x03, 0x04}));
    const Bytes mode = npa_script::npaModeCommand();
    const Bytes rdc = npa_script::rdcRequest();
    EXPECT_EQ(connection->writes, (std::vector<Bytes>{mode, rdc, mode, rdc}));
    EXPECT_EQ(connection->opens, 2);
    EXPECT_EQ(connection->closes, 2);
}

TEST(NpaPacketProtocol, EndlessAnswersStopAtTheAnswerLimit) {
    struct Case {
        const char* name;
        Bytes read;
        int expected;
    };
    const Case cases[] = {
        {"SmallContinuationPackets", npa_script::packet(0x20, {0x01, 0x02}), 0},
        {"LargeContinuationPackets", npa_script::packet(0x20, Bytes(60000, 0x55)), 0},
        {"NoiseForever", Bytes{0x00, 0xA5, 0x00, 0x02, 0x20, 0xE0}, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto* connection = new ScriptedConnection();
        connection->endlessReads = [&c](size_t) { return c.read; };
        auto protocol = protocolOver<NPAProtocol>(connection);
        Data request = rdcRequestData();
        Data answer;

        EXPECT_EQ(protocol->doRequest(&request, answer), c.expected);

        EXPECT_LE(connection->readCalls, NPAResp::kMaxAnswerPackets);
        EXPECT_LE(connection->readsServed * c.read.size(), NPAResp::kMaxAnswerBytes + c.read.size());
        EXPECT_EQ(protocol->getResponseBuilder()->getMaxSize(), 0u);
        if (c.expected == 0) {  // one packet whose length field covers exactly what follows it
            ASSERT_GE(answer.size(), 3);
            EXPECT_EQ(answer.get()[0], 0xA5);
            EXPECT_EQ((answer.get()[1] << 8) | answer.get()[2], answer.size() - 3);
            EXPECT_LE(answer.size(), 0xFFFF);
        }
    }
}

TEST(NpaNetworkProtocol, PlaysEveryScriptedAnswerAndAcknowledgesEachDatagram) {
    for (const auto& script : npa_script::networkFramingScripts()) {
        SCOPED_TRACE(script.name);
        auto* connection = new ScriptedConnection(script.reads);
        auto protocol = protocolOver<NPABiDiProtocol>(connection);
        Data request = rdcRequestData();
        Data answer;

        EXPECT_EQ(protocol->doRequest(&request, answer), script.expectedResult);

        ASSERT_EQ(connection->readsServed, script.readsUsed);
        ASSERT_EQ(connection->writes.size(), 1 + script.readsUsed);
        const Bytes& sent = connection->writes[0];
        ASSERT_EQ(sent.size(), 8 + npa_script::rdcRequest().size());
        EXPECT_EQ(Bytes(sent.begin(), sent.begin() + 4), (Bytes{0x01, 0x00, 0x00, 0x31}));
        EXPECT_EQ(Bytes(sent.begin() + 8, sent.end()), npa_script::rdcRequest());
        for (size_t i = 0; i < script.readsUsed; ++i) {
            EXPECT_EQ(connection->writes[1 + i], npa_script::acknowledgement(script.reads[i])) << "read " << i;
        }
        EXPECT_EQ(connection->closes, 1);
        if (script.expectedResult == 0) {
            EXPECT_EQ(bytesOf(answer), script.expectedAnswer);
        } else {
            EXPECT_EQ(answer.size(), 0);
        }
    }
}

TEST(NpaNetworkProtocol, RequestHeaderCarriesTheTimeOfDayInMilliseconds) {
    FixedClock clock({{1000, 234567}, {5000000000, 999999}});
    auto* connection = new ScriptedConnection(
        {npa_script::datagram(0, npa_script::packet(0x00, {0x01})),
         npa_script::datagram(0, npa_script::packet(0x00, {0x02}))});
    auto protocol = protocolOver<NPABiDiProtocol>(connection);
    Data request = rdcRequestData();
    Data answer;
    ASSERT_EQ(protocol->doRequest(&request, answer), 0);
    ASSERT_EQ(protocol->doRequest(&request, answer), 0);

    ASSERT_EQ(connection->writes.size(), 4u);
    const Bytes& first = connection->writes[0];
    const Bytes& second = connection->writes[2];
    // 1000234 ms, least significant byte first.
    EXPECT_EQ(Bytes(first.begin(), first.begin() + 8), (Bytes{0x01, 0x00, 0x00, 0x31, 0x2A, 0x43, 0x0F, 0x00}));
    // 5000000000999 ms keeps its low 32 bits, 0x273953E7.
    EXPECT_EQ(Bytes(second.begin(), second.begin() + 8), (Bytes{0x01, 0x00, 0x00, 0x31, 0xE7, 0x53, 0x39, 0x27}));
}

TEST(NpaNetworkProtocol, EndlessAnswersStopAtTheAnswerLimit) {
    struct Case {
        const char* name;
        std::function<Bytes(size_t)> datagram;
        int expected;
    };
    const Case cases[] = {
        {"ContinuationPacketsInSequence",
         [](size_t n) { return npa_script::datagram(static_cast<uint16_t>(n), npa_script::packet(0x20, {0x01})); },
         0},
        {"LargePacketsUnderOneSequenceNumber",
         [](size_t) { return npa_script::datagram(0, npa_script::packet(0x20, Bytes(30000, 0x02))); }, 0},
        {"SequenceNumbersWithGaps",
         [](size_t n) {
             return npa_script::datagram(static_cast<uint16_t>(n * 16), npa_script::packet(0x20, {0x01}));
         },
         -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto* connection = new ScriptedConnection();
        connection->endlessReads = c.datagram;
        auto protocol = protocolOver<NPABiDiProtocol>(connection);
        Data request = rdcRequestData();
        Data answer;

        EXPECT_EQ(protocol->doRequest(&request, answer), c.expected);
        EXPECT_LE(connection->readCalls, NPAResp::kMaxAnswerPackets);
        EXPECT_LE(connection->readsServed * c.datagram(0).size(),
                  NPAResp::kMaxAnswerBytes + c.datagram(0).size());
        EXPECT_EQ(connection->writes.size(), 1 + connection->readsServed);
        if (c.expected == 0) {
            ASSERT_GE(answer.size(), 3);
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
        const Bytes answer = npa_script::packet(0x00, {0x01});
        auto* connection = new ScriptedConnection({c.network ? npa_script::datagram(0, answer) : answer});
        connection->openResult = c.openResult;
        connection->writeResults = c.writeResults;
        std::unique_ptr<Protocol> protocol;
        if (c.network) {
            protocol = protocolOver<NPABiDiProtocol>(connection);
        } else {
            protocol = protocolOver<NPAProtocol>(connection);
        }
        Data request = rdcRequestData();
        Data answerData;

        EXPECT_EQ(protocol->doRequest(&request, answerData), c.expected);
        EXPECT_EQ(connection->writes.size(), c.writes);
        EXPECT_EQ(connection->readCalls, c.readCalls);
        // A connection that never opened is not closed; one that did is closed once.
        EXPECT_EQ(connection->closes, c.openResult == 0 ? 1 : 0);
    }
}
