// Tests of the SNMP device commands: request numbering, error paths and the subtree walk.
#include <gtest/gtest.h>

#include "core/CUPSSNMPSupplyCmd.h"
#include "core/SNMPConfigCmd.h"
#include "core/SNMPSupplyCmd.h"
#include "helpers/SNMPScriptedConnection.h"
#include "parser/CUPSSNMPParser.h"
#include "parser/SNMPParser.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/CUPSSNMPResp.h"

namespace {

// Records each request and answers with the next scripted result.
class RecordingProtocol : public Protocol {
public:
    RecordingProtocol() : Protocol(nullptr) {}
    int doRequest(Data* request, Data& answer) override {
        requests.emplace_back(request->get(), request->get() + request->size());
        answer.assign(reinterpret_cast<const unsigned char*>("x"), 1);
        int rc = results.empty() ? 0 : results.front();
        if (!results.empty()) {
            results.erase(results.begin());
        }
        return rc;
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
    // One row per table, column by column, as the walk delivers it.
    auto row = [](const std::string& subtree, const std::vector<std::string>& values) {
        std::string lines;
        for (size_t column = 0; column < values.size(); ++column) {
            lines += subtree + ".1." + std::to_string(column + 2) + ".1.1=" + values[column] + "\n";
        }
        return lines;
    };
    auto* connection = new SNMPScriptedConnection();
    connection->onWrite = [connection, row](const std::string& subtree) {
        if (subtree == ".1.3.6.1.2.1.43.7.1") {
            connection->reads.push_back({0, row(subtree, {"ja", "JP", "17"})});
        } else if (subtree == ".1.3.6.1.2.1.43.12.1") {
            connection->reads.push_back({0, row(subtree, {"1", "3", "cyan", "256"})});
        } else if (subtree == ".1.3.6.1.2.1.43.11.1") {
            connection->reads.push_back({0, row(subtree, {"1", "1", "3", "3", "Cyan Toner", "13", "5000", "-3"})});
        }  // the general subtree gets no answer
    };
    CUPSSNMPProtocol protocol(connection);
    protocol.assignResponseBuilder(new CUPSSNMPResp());
    CUPSSNMPParser parser;
    CUPSSNMPSupplyCmd command;

    EXPECT_EQ(0, command.Execute(&protocol, &parser));
    EXPECT_EQ((std::vector<std::string>{".1.3.6.1.2.1.43.7.1", ".1.3.6.1.2.1.43.5.1", ".1.3.6.1.2.1.43.12.1",
                                        ".1.3.6.1.2.1.43.11.1"}),
              connection->written);
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
