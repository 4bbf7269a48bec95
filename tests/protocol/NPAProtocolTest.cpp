// Tests of the NPA packet protocol over a scripted connection.
#include <gtest/gtest.h>

#include <memory>

#include "helpers/NpaAnswerScripts.h"
#include "helpers/ScriptedConnection.h"
#include "protocol/NPAProtocol.h"
#include "protocol/NPAResp.h"

namespace {

using npa_script::Bytes;
using npa_script::bytesOf;
using npa_script::rdcRequestData;

auto protocolOver(ScriptedConnection* connection) { return npa_script::protocolOver<NPAProtocol>(connection); }

}  // namespace

TEST(NpaPacketProtocol, PlaysEveryScriptedAnswer) {
    for (const auto& script : npa_script::packetFramingScripts()) {
        SCOPED_TRACE(script.name);
        auto* connection = new ScriptedConnection(script.reads);
        auto protocol = protocolOver(connection);
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
    auto protocol = protocolOver(connection);
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

TEST(NpaPacketProtocol, ConnectionFailures) {
    struct Case {
        const char* name;
        int openResult;
        std::map<size_t, int> writeResults;
        int expected;
        size_t writes, readCalls;
        int closes;
    };
    const Case cases[] = {
        {"OpenFailureIsPassedThroughAndNothingIsWritten", 7, {}, 7, 0, 0, 0},
        {"RequestWriteFailureGivesTenWithoutReading", 0, {{1, 5}}, 10, 2, 0, 1},
        {"ModeCommandFailureIsIgnored", 0, {{0, 5}}, 0, 2, 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto* connection = new ScriptedConnection({npa_script::packet(0x00, {0x01})});
        connection->openResult = c.openResult;
        connection->writeResults = c.writeResults;
        auto protocol = protocolOver(connection);
        Data request = rdcRequestData();
        Data answer;

        EXPECT_EQ(protocol->doRequest(&request, answer), c.expected);
        EXPECT_EQ(connection->writes.size(), c.writes);
        EXPECT_EQ(connection->readCalls, c.readCalls);
        EXPECT_EQ(connection->closes, c.closes);
    }
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
        auto protocol = protocolOver(connection);
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
