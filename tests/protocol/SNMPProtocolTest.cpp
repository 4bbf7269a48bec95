// Tests of the SNMP request protocols (datagram and backend walk) over a scripted connection;
// what goes on the wire is read back by the simulator's agent decoder.
#include <gtest/gtest.h>

#include "SnmpMessage.h"
#include "core/SNMPConfigCmd.h"
#include "helpers/ScriptedConnection.h"
#include "helpers/SnmpAnswers.h"
#include "helpers/TestUtil.h"
#include "parser/SNMPParser.h"
#include "ppd/PPDParser.h"
#include "ppd/PPDStringModifier.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/CUPSSNMPResp.h"
#include "protocol/SNMPDataPacket.h"
#include "protocol/SNMPProtocol.h"
#include "protocol/SNMPResp.h"

TEST(SNMPProtocols, FailuresEndlessAnswersAndWhatAWalkSendsAndKeeps) {
    const std::tuple<const char*, bool, std::vector<std::string>, int, int, int> cases[] = {
        // name, backend walk, reads, open result, write result, result
        {"silent: nothing to join", false, {}, 0, 0, -1},
        {"unwritable", false, {}, 0, -1, 10},
        {"unopened", false, {}, 10, 0, 10},
        {"endless", false, std::vector<std::string>(1000, std::string(1400, '0')), 0, 0, 0},
        {"walk: silent", true, {}, 0, 0, 10},
        {"walk: unwritable", true, {}, 0, -1, 10},
        {"walk: the last read is kept", true, {"first walk\n", "second walk\n"}, 0, 0, 0},
    };
    for (const auto& [name, walk, reads, openResult, writeResult, expected] : cases) {
        SCOPED_TRACE(name);
        auto* connection = new ScriptedConnection();
        std::unique_ptr<Protocol> protocol;
        if (walk) protocol = std::make_unique<CUPSSNMPProtocol>(connection);
        else protocol = std::make_unique<SNMPProtocol>(connection);
        protocol->assignResponseBuilder(walk ? static_cast<Response*>(new CUPSSNMPResp()) : new SNMPResp());
        connection->silenceStatus = -1;
        connection->openResult = openResult;
        connection->writeResults[0] = writeResult;
        for (const std::string& read : reads) connection->addText(read);
        const std::string subtree = ".1.3.6.1.2.1.43.11.1";
        Data request(walk ? subtree : std::string("\xA0\x00", 2)), answer;

        EXPECT_EQ(protocol->doRequest(&request, answer), expected);
        EXPECT_EQ(connection->writes.size(), openResult ? 0u : 1u);
        EXPECT_EQ(connection->closes, openResult ? 0 : 1);
        EXPECT_EQ(connection->readCalls == 0, openResult || writeResult);
        EXPECT_LT(connection->readCalls, 100u);
        EXPECT_LE(answer.size(), 0xFFFF);
        if (walk && expected == 0) {
            EXPECT_EQ(connection->writtenText(0), subtree);  // the subtree goes out unchanged
            EXPECT_EQ(cfftest::text(answer), "second walk\n");
        }
        if (!walk) { EXPECT_EQ(protocol->doRequest(nullptr, answer), -1); }
    }
}

// The configuration request goes out once, as a version-2c GetRequest in the read community
// that printers answer. Its answer split over datagrams is joined; one cut short keeps the
// bindings before the cut; noise ahead of it spoils the whole.
TEST(SNMPConfiguration, RequestGoesOutOnceInTheReadCommunityAndItsAnswerCountsAsAWhole) {
    using snmp_answers::text;
    // Two trays and a feeder, two bins, the booklet finisher (private table), duplex and flash.
    const std::string whole = snmp_answers::getResponse({
        text(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray 1"), text(".1.3.6.1.2.1.43.8.2.1.13.1.2", "Tray 2"),
        text(".1.3.6.1.2.1.43.8.2.1.13.1.3", "Feeder"),
        text(".1.3.6.1.2.1.43.9.2.1.7.1.1", "Standard Bin"), text(".1.3.6.1.2.1.43.9.2.1.7.1.2", "Bin 1"),
        text(".1.3.6.1.4.1.7707.6.3.1.1.8.1.1", "Booklet Finisher Unit"),
        text(".1.3.6.1.2.1.43.13.4.1.10.1.2", "Duplexor"), text(".1.3.6.1.2.1.25.2.3.1.3", "%flash%")});
    const std::string equipped = "PPD: DefaultEnvFeeder=InstalledM DefaultFlash=InstalledF DefaultOptDuplex=InstalledM "
                                 "DefaultOptOutputBins=OBin1 DefaultOutputFinisher=AdvancedFinisher DefaultTrays=Tray12 ";
    std::string withoutFlash = equipped;
    withoutFlash.replace(withoutFlash.find("=InstalledF"), 11, "=NotInstalledF");
    const std::tuple<const char*, std::vector<std::string>, std::string> cases[] = {
        {"split over two datagrams", {whole.substr(0, 100), whole.substr(100)}, equipped},
        {"cut short inside the last binding", {whole.substr(0, whole.size() - 7)}, withoutFlash},
        {"noise, then the answer", {"\x01\x02\x03", whole},
         "PPD: DefaultFlash=NotInstalledF DefaultOptDuplex=InstalledM DefaultOptOutputBins=StandardBin "
         "DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray1 "},
    };
    for (const auto& [name, reads, line] : cases) {
        SCOPED_TRACE(name);
        auto* connection = new ScriptedConnection();
        connection->silenceStatus = -1;
        for (const std::string& read : reads) connection->addText(read);
        SNMPProtocol protocol(connection);
        protocol.assignResponseBuilder(new SNMPResp());
        SNMPParser parser;
        SNMPConfigCmd().Execute(&protocol, &parser);
        PPDKeywordMap keywords;
        PPDParser().createData(REQ_INSTALLABLE_OPTIONS, &parser, keywords);
        EXPECT_EQ(PPDStringModifier().formatData(REQ_INSTALLABLE_OPTIONS, keywords), line);
        ASSERT_EQ(connection->writes.size(), 1u);
        SnmpMessage request;
        ASSERT_EQ(request.decode(connection->writes[0].data(), connection->writes[0].size()), 0);
        EXPECT_EQ(std::make_tuple(request.version, request.community, request.pduType, request.bindings.size()),
                  std::make_tuple(1L, std::string("opencm"), SnmpMessage::kGetRequest, SNMPConfigCmd::getOIDList().size()));
    }
}
