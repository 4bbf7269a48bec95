// Tests of the NPA device commands run over the packet protocol and a scripted connection.
#include <gtest/gtest.h>

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

const std::string kSupplyRequest = supplyRequest(0).substr(kModeCommand.size());  // in the default language
const Bytes kSupply(kSupplyRequest.begin(), kSupplyRequest.end());

}  // namespace

TEST(NpaCommands, RdcThenRocEachGetTheirOwnAnswer) {
    DevCommand::requestID_ = 1;
    const Bytes rdcAnswer = packet(0x00, {0x10, 0x20});
    // The ROC answer's echo is not checked; its packets are numbered afresh, so no RDC packet joins them.
    auto* connection = new ScriptedConnection({rdcAnswer, packet(0x20, {'O'}, 0x33), packet(0x00, {'K'}, 0x33)});
    auto protocol = protocolOver<NPAProtocol>(connection);
    RecordingParser parser;
    RDCCmd rdc;
    ROCCmd roc(REQ_INSTALLABLE_OPTIONS);

    EXPECT_EQ(rdc.Execute(protocol.get(), &parser), 0);
    EXPECT_EQ(roc.Execute(protocol.get(), &parser), 0);
    EXPECT_EQ(DevCommand::requestID_, 3u);  // the request bytes show in the whole-program USB runs
    EXPECT_EQ(parser.parsed, (Parsed{{CMD_CONFIGURATION, rdcAnswer}, {CMD_ROC, packet(0x20, {'O', 'K'}, 0x33)}}));
}

TEST(NpaCommands, SupplyRequestIsRetriedOnceInTheDefaultLanguage) {
    const Bytes good = packet(0x00, {0x01, 0x02}), failed = packet(0x80, {0x00});
    const ScriptedConnection::Read quiet = {{}, 10}, unusable = {packet(0x00, {0x01}, 0x99)};
    const std::tuple<const char*, std::vector<ScriptedConnection::Read>, int, size_t, bool> cases[] = {
        // name, reads, result, requests sent, answer parsed
        // The device ignores the request (the answer is unusable, then it goes quiet).
        {"UnusableAnswerThenSuccess", {unusable, quiet, {good}}, 0, 2, true},
        {"FailsTwice", {{failed}, {failed}}, 13, 2, false},
        {"SilenceIsNotRetried", {quiet, {good}}, 10, 1, false},
    };
    for (const auto& [name, reads, expected, requestsSent, parsed] : cases) {
        SCOPED_TRACE(name);
        DevCommand::requestID_ = 7;
        auto* connection = new ScriptedConnection();
        connection->reads.assign(reads.begin(), reads.end());
        auto protocol = protocolOver<NPAProtocol>(connection);
        RecordingParser parser;
        RDCSupply supply;

        EXPECT_EQ(supply.Execute(protocol.get(), &parser), expected);
        EXPECT_EQ(DevCommand::requestID_, 8u);  // one request number, however often it goes out
        std::vector<Bytes> writes;
        for (size_t i = 0; i < requestsSent; ++i) writes.insert(writes.end(), {npaModeCommand(), kSupply});
        EXPECT_EQ(connection->writes, writes);
        EXPECT_EQ(parser.parsed, Parsed(parsed, {CMD_SUPPLIES, good}));
    }
}
