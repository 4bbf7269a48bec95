// Tests of the SNMP configuration parser: part names in an answer to fixed option ids.
#include <gtest/gtest.h>

#include "helpers/SNMPTestMessages.h"
#include "parser/SNMPParser.h"

namespace {

using IdMap = std::map<int, std::string>;

struct Model {
    IdMap trays, bins, finishers;
    int duplex = 99, flash = 99, manualFeeder = 99;
};

// Parses an answer in which each name comes back under its own identifier.
Model parse(const std::vector<std::string>& names, int errorStatus = 0) {
    std::vector<snmptest::Binding> bindings;
    for (const std::string& name : names) {
        bindings.push_back(snmptest::stringBinding(".1.3.6.1.4.1.7707.6.3.1.1.8.1." + std::to_string(bindings.size() + 1), name));
    }
    snmptest::Bytes message = snmptest::getResponse(bindings, errorStatus);
    Data answer(message.data(), static_cast<int>(message.size()));
    SNMPParser parser;
    EXPECT_EQ(-1, parser.parseData(&answer, CMD_CONFIGURATION));  // -1 even on success
    Model m;
    EXPECT_EQ(0, parser.getTrays(m.trays) + parser.getBins(m.bins) + parser.getFinishers(m.finishers) +
                     parser.getDuplex(m.duplex) + parser.getFLash(m.flash) + parser.getManualFeeder(m.manualFeeder));
    return m;
}

}  // namespace

TEST(SNMPParser, MapsReportedNamesToFixedIds) {
    struct Case {
        std::vector<std::string> names;
        IdMap trays, bins, finishers;
        int duplex, flash, manualFeeder;
    } cases[] = {
        {{"Tray 1", "Tray 3", "Feeder"}, {{1, "Tray 1"}, {3, "Tray 3"}}, {}, {}, 0, 0, 1},
        {{"Tray 1", "Duplexor", "flash"}, {{1, "Tray 1"}}, {}, {}, 1, 0, 0},
        {{"Standard Bin", "Bin 12", "Bin 13", "Duplex Paper Path", "%flash%"}, {}, {{1, "Standard Bin"}, {13, "Bin 12"}}, {}, 1, 1, -1},
        {{"Finisher Unit", "Booklet Finisher Unit"}, {}, {}, {{12, "Finisher Unit"}, {22, "Booklet Finisher Unit"}}, 0, 0, -1},
        {{"tray 1", "Tray 1 ", "Duplexer"}, {}, {}, {}, 0, 0, -1},  // exact names only
        {{"Tray 1", "Duplexor", "%flash%"}, {}, {}, {}, -1, -1, -1},  // with error status: no values
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        Model m = parse(c.names, i + 1 == std::size(cases) ? 2 : 0);
        EXPECT_EQ(c.trays, m.trays) << i;
        EXPECT_EQ(c.bins, m.bins) << i;
        EXPECT_EQ(c.finishers, m.finishers) << i;
        EXPECT_EQ((std::vector<int>{c.duplex, c.flash, c.manualFeeder}), (std::vector<int>{m.duplex, m.flash, m.manualFeeder})) << i;
    }
}
