// Tests of the SNMP device commands: request numbering, error paths and the subtree walk.
#include <gtest/gtest.h>

#include <deque>

#include "core/CUPSSNMPSupplyCmd.h"
#include "core/SNMPConfigCmd.h"
#include "core/SNMPSupplyCmd.h"
#include "helpers/SNMPScriptedConnection.h"
#include "parser/CUPSSNMPParser.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/CUPSSNMPResp.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::string asText(const Data* data) {
    return data && data->get() ? std::string(reinterpret_cast<const char*>(data->get()), data->size()) : "";
}

// Records every request and answers with scripted (result, answer text) pairs.
class RecordingProtocol : public Protocol {
public:
    RecordingProtocol() : Protocol(nullptr) {}
    int doRequest(Data* request, Data& answer) override {
        requests.push_back(request ? Bytes(request->get(), request->get() + request->size()) : Bytes{});
        auto next = script.empty() ? std::make_pair(0, std::string("answer")) : script.front();
        if (!script.empty()) {
            script.pop_front();
        }
        answer.assign(reinterpret_cast<const unsigned char*>(next.second.data()), static_cast<int>(next.second.size()));
        return next.first;
    }
    std::deque<std::pair<int, std::string>> script;
    std::vector<Bytes> requests;
};

class RecordingParser : public Parser {
public:
    int parseData(Data* answer, CommandID id) override {
        calls.push_back({asText(answer), id});
        return parseResult;
    }
    int getSupplyInfo(std::list<supplyInfo_*>&) override { return 0; }
    int getTrays(std::map<int, std::string>&) override { return 0; }
    int getBins(std::map<int, std::string>&) override { return 0; }
    int getDuplex(int&) override { return 0; }
    int getFLash(int&) override { return 0; }
    int getFinishers(std::map<int, std::string>&) override { return 0; }
    int getSNMPCodePage(int&) override { return 0; }
    int getManualFeeder(int&) override { return 0; }

    std::vector<std::pair<std::string, CommandID>> calls;
    int parseResult = 0;
};

// The request-id byte of a GetRequest PDU, after the tag and its BER length.
int requestIdByte(const Bytes& pdu) {
    size_t at = (pdu.at(1) & 0x80) ? 2 + (pdu[1] & 0x7F) : 2;
    EXPECT_EQ(0x02, pdu.at(at));
    EXPECT_EQ(0x01, pdu.at(at + 1));
    return pdu.at(at + 2);
}

}  // namespace

TEST(SNMPCommands, NumberTheirRequestsFromTheSharedCounter) {
    DevCommand::requestID_ = 0x1FE;
    SNMPConfigCmd config;
    SNMPSupplyCmd supply;
    EXPECT_EQ(CMD_CONFIGURATION, config.getCommandID());
    EXPECT_EQ(CMD_SUPPLIES, supply.getCommandID());
    EXPECT_EQ(0, config.getRespHeaderSize());
    EXPECT_EQ(0, supply.getRespHeaderSize());

    RecordingProtocol protocol;
    RecordingParser parser;
    EXPECT_EQ(0, config.Execute(&protocol, &parser));
    EXPECT_EQ(0, supply.Execute(&protocol, &parser));
    ASSERT_EQ(2u, protocol.requests.size());
    EXPECT_EQ(0xFE, requestIdByte(protocol.requests[0]));
    EXPECT_EQ(0xFF, requestIdByte(protocol.requests[1]));
    EXPECT_EQ(0x200u, DevCommand::requestID_);
    EXPECT_GT(protocol.requests[0].size(), 1000u);  // all 63 identifiers
    EXPECT_LT(protocol.requests[1].size(), 64u);    // a single identifier

    ASSERT_EQ(2u, parser.calls.size());
    EXPECT_EQ(std::make_pair(std::string("answer"), CMD_CONFIGURATION), parser.calls[0]);
    EXPECT_EQ(CMD_SUPPLIES, parser.calls[1].second);
}

TEST(SNMPCommands, AProtocolErrorSkipsTheParser) {
    SNMPConfigCmd config;
    RecordingProtocol protocol;
    RecordingParser parser;
    parser.parseResult = -1;  // the configuration parser's usual answer: not an error
    protocol.script = {{10, ""}, {0, "ok"}};
    EXPECT_EQ(10, config.Execute(&protocol, &parser));
    EXPECT_TRUE(parser.calls.empty());
    EXPECT_EQ(0, config.Execute(&protocol, &parser));
    EXPECT_EQ(1u, parser.calls.size());
    EXPECT_EQ(-1, config.Execute(nullptr, &parser));
    EXPECT_EQ(-1, config.Execute(&protocol, nullptr));
}

TEST(CUPSSNMPSupplyCmd, WalksTheFourSubtreesAndSkipsAFailedOne) {
    CUPSSNMPSupplyCmd command;
    RecordingProtocol protocol;
    RecordingParser parser;
    protocol.script = {{0, "localization"}, {-1, ""}, {0, "colorant"}, {0, "supplies"}};
    parser.parseResult = 7;
    EXPECT_EQ(7, command.Execute(&protocol, &parser));

    std::vector<std::string> requested;
    for (const Bytes& r : protocol.requests) {
        requested.emplace_back(r.begin(), r.end());
    }
    EXPECT_EQ((std::vector<std::string>{".1.3.6.1.2.1.43.7.1", ".1.3.6.1.2.1.43.5.1", ".1.3.6.1.2.1.43.12.1",
                                        ".1.3.6.1.2.1.43.11.1"}),
              requested);
    ASSERT_EQ(3u, parser.calls.size());
    EXPECT_EQ(std::make_pair(std::string("localization"), CMD_SUPPLIES), parser.calls[0]);
    EXPECT_EQ("colorant", parser.calls[1].first);
    EXPECT_EQ("supplies", parser.calls[2].first);

    RecordingProtocol failing;
    failing.script = {{-1, ""}, {-1, ""}, {-1, ""}, {-1, ""}};
    EXPECT_EQ(-1, command.Execute(&failing, &parser));
    EXPECT_EQ(-1, command.Execute(nullptr, &parser));
}

TEST(CUPSSNMPSupplyCmd, AnUnknownRequestNumberKeepsThePreviousRequest) {
    CUPSSNMPSupplyCmd command;
    Data* colorant = command.getCommand(2);
    EXPECT_EQ(".1.3.6.1.2.1.43.12.1", asText(colorant));
    EXPECT_EQ(colorant, command.getCommand(4));
    EXPECT_EQ(".1.3.6.1.2.1.43.11.1", asText(command.getCommand(3)));
}

TEST(CUPSSNMPSupplyCmd, ReportsSuppliesThroughTheBackendChannelWhenOneSubtreeFails) {
    auto* connection = new SNMPScriptedConnection();
    // One row per table, column by column, as the walk delivers it.
    auto row = [](const std::string& subtree, const std::vector<std::string>& values) {
        std::string lines;
        for (size_t column = 0; column < values.size(); ++column) {
            lines += subtree + ".1." + std::to_string(column + 2) + ".1.1=" + values[column] + "\n";
        }
        return lines;
    };
    connection->onWrite = [connection, row](const Bytes& written) {
        std::string subtree(written.begin(), written.end());
        if (subtree == ".1.3.6.1.2.1.43.7.1") {
            connection->addRead(0, row(subtree, {"ja", "JP", "17"}));
        } else if (subtree == ".1.3.6.1.2.1.43.12.1") {
            connection->addRead(0, row(subtree, {"1", "3", "cyan", "256"}));
        } else if (subtree == ".1.3.6.1.2.1.43.11.1") {
            connection->addRead(0, row(subtree, {"1", "1", "3", "3", "Cyan Toner", "13", "5000", "-3"}));
        }  // the general subtree gets no answer
    };
    CUPSSNMPProtocol protocol(connection);
    protocol.assignResponseBuilder(new CUPSSNMPResp());
    CUPSSNMPParser parser;
    CUPSSNMPSupplyCmd command;

    EXPECT_EQ(0, command.Execute(&protocol, &parser));
    EXPECT_EQ(4u, connection->written.size());
    std::list<supplyInfo_*> supplies;
    ASSERT_EQ(0, parser.getSupplyInfo(supplies));
    ASSERT_EQ(1u, supplies.size());
    EXPECT_EQ(2, supplies.front()->supplyId);
    EXPECT_EQ("Cyan Toner", supplies.front()->name);
    EXPECT_EQ(3, supplies.front()->type);
    EXPECT_EQ(5000, supplies.front()->maxCapacity);
    EXPECT_EQ(0, supplies.front()->currentLevel);
    EXPECT_EQ(2009, parser.getCodePage());  // no general row names the localization
}
