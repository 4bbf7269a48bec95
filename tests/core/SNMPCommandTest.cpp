// Tests of the SNMP device commands: request numbering, error paths and the subtree walk.
#include <gtest/gtest.h>

#include "core/CUPSSNMPSupplyCmd.h"
#include "core/SNMPConfigCmd.h"
#include "core/SNMPSupplyCmd.h"
#include "helpers/ScriptedConnection.h"
#include "parser/CUPSSNMPParser.h"
#include "parser/SNMPParser.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/CUPSSNMPResp.h"

namespace {

// Records each request and answers with the next scripted result (0 once they are used up).
struct RecordingProtocol : Protocol {
    RecordingProtocol() : Protocol(nullptr) {}
    int doRequest(Data* request, Data& answer) override {
        requests.emplace_back(request->get(), request->get() + request->size());
        answer.assign(reinterpret_cast<const unsigned char*>("x"), 1);
        return requests.size() <= results.size() ? results[requests.size() - 1] : 0;
    }
    std::vector<int> results;
    std::vector<std::vector<unsigned char>> requests;
};

// The request-id byte of a GetRequest PDU, after the tag and its BER length.
int requestIdByte(const std::vector<unsigned char>& pdu) {
    size_t at = (pdu.at(1) & 0x80) ? 2 + (pdu[1] & 0x7F) : 2;
    EXPECT_EQ(0x02, pdu.at(at));
    return pdu.at(at + 2);
}

}  // namespace

TEST(SNMPCommands, NumberTheirRequestsFromTheSharedCounterAndStopOnProtocolErrors) {
    DevCommand::requestID_ = 0x1FE;
    SNMPConfigCmd config;
    SNMPSupplyCmd supply;
    RecordingProtocol protocol;
    protocol.results = {0, 0, 10};
    SNMPParser parser;
    EXPECT_EQ(0, config.Execute(&protocol, &parser));  // the parser's -1 is not an error
    EXPECT_EQ(0, supply.Execute(&protocol, &parser));
    EXPECT_EQ(10, config.Execute(&protocol, &parser));
    EXPECT_EQ(-1, config.Execute(nullptr, &parser));
    ASSERT_EQ(3u, protocol.requests.size());
    EXPECT_EQ(0xFE, requestIdByte(protocol.requests[0]));
    EXPECT_EQ(0xFF, requestIdByte(protocol.requests[1]));
    EXPECT_EQ(0x00, requestIdByte(protocol.requests[2]));
    EXPECT_EQ(0x201u, DevCommand::requestID_);
    EXPECT_LT(protocol.requests[1].size(), 64u);  // one identifier
}

TEST(CUPSSNMPSupplyCmd, ReportsSuppliesThroughTheBackendChannelWhenOneSubtreeFails) {
    const std::map<std::string, std::vector<std::string>> rows = {
        {".1.3.6.1.2.1.43.7.1", {"ja", "JP", "17"}},
        {".1.3.6.1.2.1.43.12.1", {"1", "3", "cyan", "256"}},
        {".1.3.6.1.2.1.43.11.1", {"1", "1", "3", "3", "Cyan Toner", "13", "5000", "-3"}},
    };  // the general subtree gets no answer
    auto* connection = new ScriptedConnection();
    connection->silenceStatus = -1;
    // Answers each subtree with one row, column by column, as the walk delivers it.
    connection->onWrite = [connection, &rows](const ScriptedConnection::Bytes& written) {
        const std::string subtree(written.begin(), written.end());
        if (rows.count(subtree) == 0) return;
        std::string lines;
        for (size_t column = 0; column < rows.at(subtree).size(); ++column) {
            lines += subtree + ".1." + std::to_string(column + 2) + ".1.1=" + rows.at(subtree)[column] + "\n";
        }
        connection->addText(lines);
    };
    CUPSSNMPProtocol protocol(connection);
    protocol.assignResponseBuilder(new CUPSSNMPResp());
    CUPSSNMPParser parser;
    CUPSSNMPSupplyCmd command;

    EXPECT_EQ(0, command.Execute(&protocol, &parser));
    const char* subtrees[] = {".1.3.6.1.2.1.43.7.1", ".1.3.6.1.2.1.43.5.1", ".1.3.6.1.2.1.43.12.1", ".1.3.6.1.2.1.43.11.1"};
    ASSERT_EQ(connection->writes.size(), 4u);
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(connection->writtenText(i), subtrees[i]);
    std::list<supplyInfo_*> records;
    ASSERT_EQ(0, parser.getSupplyInfo(records));
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(2, records.front()->supplyId);
    EXPECT_EQ("Cyan Toner", records.front()->name);
    EXPECT_EQ(0, records.front()->currentLevel);
    EXPECT_EQ(2009, parser.getCodePage());  // no general row names the localization
    Data* supplies = command.getCommand(3);
    EXPECT_EQ(supplies, command.getCommand(9));  // unknown number: request kept
}
