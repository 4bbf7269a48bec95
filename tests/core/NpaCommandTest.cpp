// Tests of the NPA device commands run over the packet protocol and a scripted connection.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "core/RDCCmd.h"
#include "core/RDCSupply.h"
#include "core/ROCCmd.h"
#include "helpers/NpaAnswerScripts.h"
#include "helpers/ScriptedConnection.h"
#include "helpers/StubParser.h"
#include "protocol/NPAProtocol.h"

using namespace npa_script;

namespace {

using Parsed = std::vector<std::pair<CommandID, Bytes>>;

// Records every answer handed to it.
struct RecordingParser : StubParser {
    int parseData(Data* answer, CommandID id) override {
        parsed.emplace_back(id, bytesOf(*answer));
        return 0;
    }
    Parsed parsed;
};

// A command that notes the request number of every request it hands out.
template <class Command>
struct NumberedCommand : Command {
    using Command::Command;
    Data* getCommand(int requestID) override {
        numbers.push_back(requestID);
        return Command::getCommand(requestID);
    }
    std::vector<int> numbers;
};

const Bytes kRoc = {0xA5, 0x00, 0x03, 0x50, 0x01, 0x04};
const Bytes kSupply = {0xA5, 0x00, 0x08, 0x50, 0xE0, 0x21, 0x01, 0x00, 0x00, 0x01, 0x08};

}  // namespace

TEST(NpaCommands, RdcThenRocSendTheirRequestsUnderNumbersOneAndTwo) {
    DevCommand::requestID_ = 1;
    const Bytes rdcAnswer = packet(0x00, {0x10, 0x20});
    // The ROC answer is checked for its start byte only; its packets are numbered afresh,
    // so nothing of the first answer joins them.
    const Bytes rocFirst = packet(0x20, {'O'}, 0x33), rocLast = packet(0x00, {'K'}, 0x33);
    auto* connection = new ScriptedConnection({rdcAnswer, rocFirst, rocLast});
    auto protocol = protocolOver<NPAProtocol>(connection);
    RecordingParser parser;
    NumberedCommand<RDCCmd> rdc;
    NumberedCommand<ROCCmd> roc(REQ_INSTALLABLE_OPTIONS);

    EXPECT_EQ(rdc.Execute(protocol.get(), &parser), 0);
    EXPECT_EQ(roc.Execute(protocol.get(), &parser), 0);

    EXPECT_EQ(rdc.numbers, std::vector<int>{1});
    EXPECT_EQ(roc.numbers, std::vector<int>{2});
    EXPECT_EQ(connection->writes, (std::vector<Bytes>{npaModeCommand(), rdcRequest(), npaModeCommand(), kRoc}));
    EXPECT_EQ(parser.parsed, (Parsed{{CMD_CONFIGURATION, rdcAnswer}, {CMD_ROC, packet(0x20, {'O', 'K'}, 0x33)}}));
    EXPECT_EQ(rdc.getRespHeaderSize(), 5);
    EXPECT_EQ(roc.getRespHeaderSize(), 5);
}

TEST(NpaCommands, SupplyRequestIsRetriedOnceInTheDefaultLanguage) {
    const Bytes good = packet(0x00, {0x01, 0x02}), failed = packet(0x80, {0x00});
    const ScriptedConnection::Read quiet = {{}, 10}, unusable = {packet(0x00, {0x01}, 0x99)};
    struct Case {
        const char* name;
        std::vector<ScriptedConnection::Read> reads;
        int expected;
        size_t requestsSent;
        bool parsed;
    };
    const Case cases[] = {
        {"FlaggedFailureThenSuccess", {{failed}, {good}}, 0, 2, true},
        // The device ignores the request (the answer is unusable, then it goes quiet).
        {"UnusableAnswerThenSuccess", {unusable, quiet, {good}}, 0, 2, true},
        {"FailsTwice", {{failed}, {failed}}, 13, 2, false},
        {"SilenceIsNotRetried", {quiet, {good}}, 10, 1, false},
        {"SuccessAtOnce", {{good}}, 0, 1, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DevCommand::requestID_ = 7;
        auto* connection = new ScriptedConnection();
        connection->reads.assign(c.reads.begin(), c.reads.end());
        auto protocol = protocolOver<NPAProtocol>(connection);
        RecordingParser parser;
        NumberedCommand<RDCSupply> supply;

        EXPECT_EQ(supply.Execute(protocol.get(), &parser), c.expected);
        // One request number, however often the request goes out.
        EXPECT_EQ(DevCommand::requestID_, 8u);
        EXPECT_EQ(supply.numbers, std::vector<int>(c.requestsSent, 7));
        std::vector<Bytes> writes;
        for (size_t i = 0; i < c.requestsSent; ++i) writes.insert(writes.end(), {npaModeCommand(), kSupply});
        EXPECT_EQ(connection->writes, writes);
        EXPECT_EQ(parser.parsed, Parsed(c.parsed, {CMD_SUPPLIES, good}));
    }
}

TEST(NpaCommands, SupplyLanguageIdGoesIntoByteEight) {
    RDCSupply supply;
    Data* request = supply.getCommand(0);
    request->get()[8] = 0x2A;
    supply.setlangId(true);
    EXPECT_EQ(bytesOf(*request), kSupply);
    EXPECT_EQ(request->getErrorCheckingByte(), 4);
    EXPECT_EQ(request->getHeaderSize(), 5);
}
