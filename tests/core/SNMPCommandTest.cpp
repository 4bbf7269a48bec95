// Tests of the SNMP device commands: request numbering and error paths.
#include <gtest/gtest.h>

#include "core/SNMPConfigCmd.h"
#include "core/SNMPSupplyCmd.h"
#include "parser/SNMPParser.h"
#include "protocol/Protocol.h"

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
    std::vector<int> ids;
    for (const auto& request : protocol.requests) ids.push_back(requestIdByte(request));
    ASSERT_EQ(ids, (std::vector<int>{0xFE, 0xFF, 0x00}));
    EXPECT_EQ(0x201u, DevCommand::requestID_);
    EXPECT_LT(protocol.requests[1].size(), 64u);  // one identifier
}
