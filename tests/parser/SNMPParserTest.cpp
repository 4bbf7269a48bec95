// Tests of the SNMP configuration parser: part names in an answer to fixed option ids.
#include <gtest/gtest.h>

#include "helpers/SNMPTestMessages.h"
#include "parser/SNMPParser.h"

namespace {

// An answer in which each name comes back under its own private-table identifier.
Data answerWithNames(const std::vector<std::string>& names, int errorStatus = 0) {
    std::vector<snmptest::Binding> bindings;
    int n = 1;
    for (const std::string& name : names) {
        bindings.push_back(snmptest::stringBinding(".1.3.6.1.4.1.7707.6.3.1.1.8.1." + std::to_string(n++), name));
    }
    snmptest::Bytes message = snmptest::getResponse(bindings, errorStatus);
    return Data(message.data(), static_cast<int>(message.size()));
}

struct Model {
    std::map<int, std::string> trays, bins, finishers;
    int duplex = 99, flash = 99, manualFeeder = 99;
};

Model parse(const std::vector<std::string>& names, int errorStatus = 0) {
    SNMPParser parser;
    Data answer = answerWithNames(names, errorStatus);
    EXPECT_EQ(-1, parser.parseData(&answer, CMD_CONFIGURATION));  // -1 even on success
    Model model;
    EXPECT_EQ(0, parser.getTrays(model.trays));
    EXPECT_EQ(0, parser.getBins(model.bins));
    EXPECT_EQ(0, parser.getFinishers(model.finishers));
    EXPECT_EQ(0, parser.getDuplex(model.duplex));
    EXPECT_EQ(0, parser.getFLash(model.flash));
    EXPECT_EQ(0, parser.getManualFeeder(model.manualFeeder));
    return model;
}

using IdMap = std::map<int, std::string>;

}  // namespace

TEST(SNMPParser, MapsReportedNamesToFixedIds) {
    struct Case {
        std::vector<std::string> names;
        IdMap trays, bins, finishers;
        int duplex, flash, manualFeeder;
    } cases[] = {
        {{"Tray 1", "Tray 3", "Feeder"}, {{1, "Tray 1"}, {3, "Tray 3"}}, {}, {}, 0, 0, 1},
        {{"Tray 1"}, {{1, "Tray 1"}}, {}, {}, 0, 0, 0},
        {{"Standard Bin", "Bin 12", "Bin 13"}, {}, {{1, "Standard Bin"}, {13, "Bin 12"}}, {}, 0, 0, -1},
        {{"Finisher Unit", "Booklet Finisher Unit"}, {}, {}, {{12, "Finisher Unit"}, {22, "Booklet Finisher Unit"}},
         0, 0, -1},
        {{"Finisher Unit", "Staple Smart Finisher Unit"}, {}, {}, {{12, "Staple Smart Finisher Unit"}}, 0, 0, -1},
        {{"Duplex Paper Path", "%flash%"}, {}, {}, {}, 1, 1, -1},
        {{"Duplexor", "flash", "Manual Paper"}, {}, {}, {}, 1, 0, 0},
        {{"tray 1", "Tray 1 ", "TRAY 2", "Duplexer"}, {}, {}, {}, 0, 0, -1},  // exact names only
    };
    for (const Case& c : cases) {
        Model model = parse(c.names);
        std::string label = c.names.front();
        EXPECT_EQ(c.trays, model.trays) << label;
        EXPECT_EQ(c.bins, model.bins) << label;
        EXPECT_EQ(c.finishers, model.finishers) << label;
        EXPECT_EQ(c.duplex, model.duplex) << label;
        EXPECT_EQ(c.flash, model.flash) << label;
        EXPECT_EQ(c.manualFeeder, model.manualFeeder) << label;
    }
}

TEST(SNMPParser, AnAnswerWithoutValuesLeavesEveryStateUnknown) {
    Model model = parse({"Tray 1", "Duplexor", "%flash%"}, 2);  // error status: nothing decoded
    EXPECT_TRUE(model.trays.empty());
    EXPECT_EQ(-1, model.duplex);
    EXPECT_EQ(-1, model.flash);
    EXPECT_EQ(-1, model.manualFeeder);
}

TEST(SNMPParser, QueriesBeforeAnyAnswerReportNotAvailable) {
    SNMPParser parser;
    IdMap trays = {{9, "kept"}};
    IdMap bins = trays;
    int duplex = 5, flash = 5, feeder = 5;
    EXPECT_EQ(14, parser.getTrays(trays));
    EXPECT_EQ(14, parser.getBins(bins));
    EXPECT_EQ(14, parser.getDuplex(duplex));
    EXPECT_EQ(14, parser.getFLash(flash));
    EXPECT_EQ(14, parser.getManualFeeder(feeder));
    EXPECT_EQ((IdMap{{9, "kept"}}), trays);
    EXPECT_EQ((IdMap{{9, "kept"}}), bins);
    EXPECT_EQ(-1, duplex);
    EXPECT_EQ(-1, flash);
    EXPECT_EQ(-1, feeder);
    EXPECT_EQ(-1, parser.parseData(nullptr, CMD_CONFIGURATION));
    EXPECT_EQ(14, parser.getTrays(trays));
}
