// Tests of the SNMP request protocols over a scripted connection.
#include <gtest/gtest.h>

#include "helpers/ScriptedConnection.h"
#include "helpers/TestUtil.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/CUPSSNMPResp.h"
#include "protocol/SNMPProtocol.h"
#include "protocol/SNMPResp.h"

namespace {

template <class P, class R>
struct Setup {
    ScriptedConnection* connection = new ScriptedConnection();
    P protocol{connection};
    explicit Setup(std::vector<std::string> answers = {}, int writeResult = 0) {
        protocol.assignResponseBuilder(new R());
        connection->silenceStatus = -1;
        connection->writeResults[0] = writeResult;
        for (const std::string& answer : answers) connection->addText(answer);
    }
};
using SNMPSetup = Setup<SNMPProtocol, SNMPResp>;
using CUPSSetup = Setup<CUPSSNMPProtocol, CUPSSNMPResp>;
using cfftest::text;

}  // namespace

TEST(SNMPProtocol, FailuresAndEndlessAnswers) {
    Data pdu(std::string("\xA0\x00", 2)), answer;
    SNMPSetup silent;  // no answer at all: nothing to join
    EXPECT_EQ(-1, silent.protocol.doRequest(&pdu, answer));
    EXPECT_EQ(1, silent.connection->closes);

    SNMPSetup unwritable({}, -1);
    EXPECT_EQ(10, unwritable.protocol.doRequest(&pdu, answer));
    EXPECT_EQ(0u, unwritable.connection->readCalls);
    EXPECT_EQ(1, unwritable.connection->closes);

    SNMPSetup unopened;
    unopened.connection->openResult = 10;
    EXPECT_EQ(10, unopened.protocol.doRequest(&pdu, answer));
    EXPECT_TRUE(unopened.connection->writes.empty());
    EXPECT_EQ(-1, unopened.protocol.doRequest(nullptr, answer));

    SNMPSetup endless(std::vector<std::string>(1000, std::string(1400, '0')));
    EXPECT_EQ(0, endless.protocol.doRequest(&pdu, answer));
    EXPECT_LE(answer.size(), 0xFFFF);
    EXPECT_LT(endless.connection->readCalls, 100u);
}

TEST(CUPSSNMPProtocol, PassesTheSubtreeUnchangedAndKeepsTheLastRead) {
    CUPSSetup s({"first walk\n", "second walk\n"});
    Data subtree(std::string(".1.3.6.1.2.1.43.11.1")), answer;
    ASSERT_EQ(0, s.protocol.doRequest(&subtree, answer));
    EXPECT_EQ(".1.3.6.1.2.1.43.11.1", s.connection->writtenText(0));
    EXPECT_EQ("second walk\n", text(answer));

    CUPSSetup silent;
    EXPECT_EQ(10, silent.protocol.doRequest(&subtree, answer));
    CUPSSetup unwritable({}, -1);
    EXPECT_EQ(10, unwritable.protocol.doRequest(&subtree, answer));
    EXPECT_EQ(0u, unwritable.connection->readCalls);
}
