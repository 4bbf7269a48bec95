// Tests of the SNMP request protocols over a scripted connection.
#include <gtest/gtest.h>

#include "core/SNMPSupplyCmd.h"
#include "helpers/SNMPScriptedConnection.h"
#include "helpers/SNMPTestMessages.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/CUPSSNMPResp.h"
#include "protocol/SNMPDataPacket.h"
#include "protocol/SNMPProtocol.h"
#include "protocol/SNMPResp.h"

using snmptest::Bytes;

namespace {

Bytes toBytes(const Data& data) { return Bytes(data.get(), data.get() + data.size()); }

struct SNMPSetup {
    SNMPScriptedConnection* connection = new SNMPScriptedConnection();
    SNMPProtocol protocol{connection};
    SNMPSetup() { protocol.assignResponseBuilder(new SNMPResp()); }
};

struct CUPSSetup {
    SNMPScriptedConnection* connection = new SNMPScriptedConnection();
    CUPSSNMPProtocol protocol{connection};
    CUPSSetup() { protocol.assignResponseBuilder(new CUPSSNMPResp()); }
};

}  // namespace

TEST(SNMPProtocol, SendsTheWrappedRequestAndJoinsAnAnswerSplitOverDatagrams) {
    SNMPSetup s;
    EXPECT_EQ(PROTOCOL_SNMP, s.protocol.getProtocolType());
    EXPECT_EQ(161, s.protocol.getProtocolPort());

    Bytes answer = snmptest::getResponse({snmptest::stringBinding(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray 1")});
    Bytes first(answer.begin(), answer.begin() + 10);
    Bytes second(answer.begin() + 10, answer.end());
    s.connection->addRead(0, first);
    s.connection->addRead(0, second);
    s.connection->addRead(-1, Bytes{});  // the wait runs out

    SNMPSupplyCmd command;
    Data* request = command.getCommand(7);
    Data joined;
    ASSERT_EQ(0, s.protocol.doRequest(request, joined));

    SNMPDataPacket packet;
    Data expectedMessage;
    packet.getSNMPPacket(request, 1, "opencm", expectedMessage);
    ASSERT_EQ(1u, s.connection->written.size());
    EXPECT_EQ(toBytes(expectedMessage), s.connection->written[0]);
    EXPECT_EQ((Bytes{0x02, 0x01, 0x01, 0x04, 0x06, 'o', 'p', 'e', 'n', 'c', 'm', 0xA0}),
              Bytes(s.connection->written[0].begin() + 2, s.connection->written[0].begin() + 14));
    EXPECT_EQ(answer, toBytes(joined));
    EXPECT_EQ(1, s.connection->opens);
    EXPECT_EQ(1, s.connection->closes);

    packet.parsePDUGetResponse(joined.get(), joined.size());
    EXPECT_EQ(1, packet.getOptionAvailability("Tray 1"));
}

TEST(SNMPProtocol, ReportsEachFailureWithItsDesignedCode) {
    Data command(std::string("\xA0\x00", 2));
    {
        SNMPSetup s;  // no answer at all: nothing to join
        Data answer;
        EXPECT_EQ(-1, s.protocol.doRequest(&command, answer));
        EXPECT_EQ(1, s.connection->readCount);
        EXPECT_EQ(1, s.connection->closes);
    }
    {
        SNMPSetup s;  // the write fails: no read is made
        s.connection->writeResult = -1;
        Data answer;
        EXPECT_EQ(10, s.protocol.doRequest(&command, answer));
        EXPECT_EQ(0, s.connection->readCount);
        EXPECT_EQ(1, s.connection->closes);
    }
    {
        SNMPSetup s;
        s.connection->openResult = 10;
        Data answer;
        EXPECT_EQ(10, s.protocol.doRequest(&command, answer));
        EXPECT_TRUE(s.connection->written.empty());
        EXPECT_EQ(-1, s.protocol.doRequest(nullptr, answer));
    }
    {
        SNMPProtocol unconnected(nullptr);
        Data answer;
        EXPECT_EQ(-1, unconnected.doRequest(&command, answer));
    }
}

TEST(SNMPProtocol, StopsReadingADeviceThatNeverFallsSilent) {
    SNMPSetup s;
    s.connection->endless = [] { return SNMPScriptedConnection::Read{0, Bytes(1400, 0x30)}; };
    Data command(std::string("\xA0\x00", 2));
    Data answer;
    EXPECT_EQ(0, s.protocol.doRequest(&command, answer));
    EXPECT_LE(answer.size(), 0xFFFF);
    EXPECT_LT(s.connection->readCount, 100);
}

TEST(SNMPResp, JoinsOnlyAnUnbrokenSequenceOfPieces) {
    SNMPResp response;
    Data answer(std::string("old"));
    EXPECT_EQ(-1, response.repackResponse(answer, 0));  // nothing stored

    response.addData(1, new Data(std::string("BB")));
    EXPECT_EQ(-1, response.repackResponse(answer, 0));  // piece 0 missing
    response.addData(0, new Data(std::string("AAA")));
    ASSERT_EQ(0, response.repackResponse(answer, 0));
    EXPECT_EQ("AAABB", std::string(reinterpret_cast<char*>(answer.get()), answer.size()));
    EXPECT_EQ(0u, response.getExpectedSequence());  // emptied
}

TEST(CUPSSNMPProtocol, PassesTheSubtreeUnchangedAndKeepsTheLastRead) {
    CUPSSetup s;
    EXPECT_EQ(PROTOCOL_CUPS_SNMP, s.protocol.getProtocolType());
    EXPECT_EQ(0, s.protocol.getProtocolPort());
    s.connection->addRead(0, std::string(".1.3.6.1.2.1.43.11.1.1.9.1.1=80\n"));
    s.connection->addRead(0, std::string(".1.3.6.1.2.1.43.11.1.1.9.1.2=-3\n"));

    Data command(std::string(".1.3.6.1.2.1.43.11.1"));
    Data answer;
    ASSERT_EQ(0, s.protocol.doRequest(&command, answer));
    ASSERT_EQ(1u, s.connection->written.size());
    EXPECT_EQ(toBytes(command), s.connection->written[0]);
    EXPECT_EQ(".1.3.6.1.2.1.43.11.1.1.9.1.2=-3\n", std::string(reinterpret_cast<char*>(answer.get()), answer.size()));
    EXPECT_EQ(1, s.connection->closes);
}

TEST(CUPSSNMPProtocol, ReportsNothingReadAsTen) {
    Data command(std::string(".1.3.6.1.2.1.43.11.1"));
    {
        CUPSSetup s;
        Data answer;
        EXPECT_EQ(10, s.protocol.doRequest(&command, answer));
    }
    {
        CUPSSetup s;
        s.connection->writeResult = -1;
        Data answer;
        EXPECT_EQ(10, s.protocol.doRequest(&command, answer));
        EXPECT_EQ(0, s.connection->readCount);
    }
    {
        CUPSSetup s;
        s.connection->openResult = -1;
        Data answer;
        EXPECT_EQ(-1, s.protocol.doRequest(&command, answer));
        EXPECT_EQ(-1, s.protocol.doRequest(nullptr, answer));
    }
}
