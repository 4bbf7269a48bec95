// Tests of the SNMP request protocols over a scripted connection.
#include <gtest/gtest.h>

#include "helpers/SNMPScriptedConnection.h"
#include "helpers/TestUtil.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/CUPSSNMPResp.h"
#include "protocol/SNMPProtocol.h"
#include "protocol/SNMPResp.h"
#include "support/TempLog.h"

namespace {

template <class P, class R>
struct Setup {
    SNMPScriptedConnection* connection = new SNMPScriptedConnection();
    P protocol{connection};
    Setup() { protocol.assignResponseBuilder(new R()); }
};
using SNMPSetup = Setup<SNMPProtocol, SNMPResp>;
using CUPSSetup = Setup<CUPSSNMPProtocol, CUPSSNMPResp>;
using cfftest::text;

}  // namespace

TEST(SNMPProtocol, SendsTheWrappedRequestAndJoinsAnAnswerSplitOverDatagrams) {
    SNMPSetup s;
    EXPECT_EQ(161, s.protocol.getProtocolPort());
    s.connection->reads = {{0, "first half, "}, {0, "second half"}};
    Data pdu(std::string("\xA0\x03\x02\x01\x07", 5));
    Data joined;
    ASSERT_EQ(0, s.protocol.doRequest(&pdu, joined));
    EXPECT_EQ(std::string("\x30\x10\x02\x01\x01\x04\x06opencm\xA0\x03\x02\x01\x07", 18), s.connection->written.at(0));
    EXPECT_EQ("first half, second half", text(joined));
    EXPECT_EQ(1, s.connection->closes);
}

TEST(SNMPProtocol, LogsEachPieceAfterHandingItToTheResponse) {
    TempLog log;
    log.enable();
    SNMPSetup s;
    s.connection->reads = {{0, std::string("\x0a\x1b", 2)}};
    Data pdu(std::string("\xA0\x00", 2));
    Data answer;
    ASSERT_EQ(0, s.protocol.doRequest(&pdu, answer));
    std::string text = log.log();
    size_t stored = text.find("sequenceID =0");
    size_t dumped = text.find("Received buffer");
    ASSERT_NE(std::string::npos, stored);
    ASSERT_NE(std::string::npos, dumped);
    EXPECT_LT(stored, dumped);
    EXPECT_NE(std::string::npos, text.find("<0x0a,0x1b,>dumped 2 bytes", dumped));
    // The failed read that ends the loop is handed over first, then dumped empty.
    size_t last = text.find("sequenceID =1", dumped);
    ASSERT_NE(std::string::npos, last);
    EXPECT_NE(std::string::npos, text.find("<>dumped 0 bytes", last));
}

TEST(SNMPProtocol, ReportsEachFailureWithItsOwnCode) {
    Data pdu(std::string("\xA0\x00", 2));
    Data answer;
    SNMPSetup silent;  // no answer at all: nothing to join
    EXPECT_EQ(-1, silent.protocol.doRequest(&pdu, answer));
    EXPECT_EQ(1, silent.connection->closes);

    SNMPSetup unwritable;
    unwritable.connection->writeResult = -1;
    EXPECT_EQ(10, unwritable.protocol.doRequest(&pdu, answer));
    EXPECT_EQ(0, unwritable.connection->readCount);
    EXPECT_EQ(1, unwritable.connection->closes);

    SNMPSetup unopened;
    unopened.connection->openResult = 10;
    EXPECT_EQ(10, unopened.protocol.doRequest(&pdu, answer));
    EXPECT_TRUE(unopened.connection->written.empty());
    EXPECT_EQ(-1, unopened.protocol.doRequest(nullptr, answer));
}

TEST(SNMPProtocol, StopsReadingADeviceThatNeverFallsSilent) {
    SNMPSetup s;
    s.connection->reads.assign(1000, {0, std::string(1400, '0')});
    Data pdu(std::string("\xA0\x00", 2));
    Data answer;
    EXPECT_EQ(0, s.protocol.doRequest(&pdu, answer));
    EXPECT_LE(answer.size(), 0xFFFF);
    EXPECT_LT(s.connection->readCount, 100);
}

TEST(CUPSSNMPProtocol, PassesTheSubtreeUnchangedAndKeepsTheLastRead) {
    CUPSSetup s;
    s.connection->reads = {{0, "first walk\n"}, {0, "second walk\n"}};
    Data subtree(std::string(".1.3.6.1.2.1.43.11.1"));
    Data answer;
    ASSERT_EQ(0, s.protocol.doRequest(&subtree, answer));
    EXPECT_EQ(".1.3.6.1.2.1.43.11.1", s.connection->written.at(0));
    EXPECT_EQ("second walk\n", text(answer));

    CUPSSetup silent;
    EXPECT_EQ(10, silent.protocol.doRequest(&subtree, answer));
    CUPSSetup unwritable;
    unwritable.connection->writeResult = -1;
    EXPECT_EQ(10, unwritable.protocol.doRequest(&subtree, answer));
    EXPECT_EQ(0, unwritable.connection->readCount);
}
