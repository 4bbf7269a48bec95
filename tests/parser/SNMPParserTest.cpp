// Tests of the SNMP configuration parser: part names in an answer to fixed option ids.
#include <gtest/gtest.h>

#include "helpers/SnmpAnswers.h"
#include "parser/SNMPParser.h"

namespace {

using IdMap = std::map<int, std::string>;
using Model = std::tuple<IdMap, IdMap, IdMap, std::vector<int>>;  // trays, bins, finishers; duplex, flash, feeder

// Parses an answer in which each name comes back under its own identifier.
Model parse(const std::vector<std::string>& names) {
    std::vector<SnmpVarBind> bindings;
    for (const std::string& name : names) {
        const std::string oid = ".1.3.6.1.4.1.7707.6.3.1.1.8.1." + std::to_string(bindings.size() + 1);
        bindings.push_back(snmp_answers::text(oid, name));
    }
    Data answer(snmp_answers::getResponse(bindings));
    SNMPParser parser;
    EXPECT_EQ(-1, parser.parseData(&answer, CMD_CONFIGURATION));  // -1 even on success
    Model m{{}, {}, {}, {99, 99, 99}};
    auto& [trays, bins, finishers, flags] = m;
    EXPECT_EQ(0, parser.getTrays(trays) + parser.getBins(bins) + parser.getFinishers(finishers) +
                     parser.getDuplex(flags[0]) + parser.getFLash(flags[1]) + parser.getManualFeeder(flags[2]));
    return m;
}

}  // namespace

// An answer with an error status decodes to nothing (SNMPDataPacket tests).
TEST(SNMPParser, MapsReportedNamesToFixedIds) {
    const std::pair<std::vector<std::string>, Model> cases[] = {
        {{"Tray 1", "Tray 3", "Feeder"}, {{{1, "Tray 1"}, {3, "Tray 3"}}, {}, {}, {0, 0, 1}}},
        {{"Tray 1", "Duplexor", "flash"}, {{{1, "Tray 1"}}, {}, {}, {1, 0, 0}}},
        {{"Standard Bin", "Bin 12", "Bin 13", "Duplex Paper Path", "%flash%"},
         {{}, {{1, "Standard Bin"}, {13, "Bin 12"}}, {}, {1, 1, -1}}},
        {{"Finisher Unit", "Booklet Finisher Unit"},
         {{}, {}, {{12, "Finisher Unit"}, {22, "Booklet Finisher Unit"}}, {0, 0, -1}}},
        {{"tray 1", "Tray 1 ", "Duplexer"}, {{}, {}, {}, {0, 0, -1}}},  // exact names only
    };
    for (const auto& [names, model] : cases) {
        SCOPED_TRACE(names.back());
        EXPECT_EQ(parse(names), model);
    }
}
