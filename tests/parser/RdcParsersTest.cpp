// Tests of what the tray, bin, code-page and supply parsers collect from RDC answers.
#include <gtest/gtest.h>

#include "helpers/NpaAnswerBuilder.h"
#include "parser/RDCGenInfoParser.h"
#include "parser/RDCInputParser.h"
#include "parser/RDCOutputParser.h"
#include "parser/RDCSupplyParser.h"

namespace {

using E = NpaElement;
using OptionMap = std::map<int, std::string>;

NpaElement trayTree(std::vector<NpaElement> trays) {
    return rdc::root({rdc::configuration({rdc::inputTrays(std::move(trays))})});
}

NpaElement unitTree(std::vector<NpaElement> units) {
    return rdc::root({rdc::configuration({rdc::outputUnits(std::move(units))})});
}

TEST(RdcInput, CollectsTraysInSequenceAndReportsTheManualFeeder) {
    struct Case {
        const char* name;
        NpaElement tree;
        OptionMap trays;
        int manualFeeder;
    };
    // Tray 2's single entry holds two id/name pairs: the second name for id 1 replaces the first.
    E twoNames = E::container(
        2, {E::container(5, {E::container(1, {E::container(1, {E::integer(1, 1), E::text(3, "A"),
                                                                E::text(3, "B")})})})});
    // The name comes before its id: it is stored under device id 0.
    E nameFirst = E::container(
        1, {E::container(5, {E::container(1, {E::container(1, {E::text(3, "Early"),
                                                                E::integer(1, 2)})})})});
    const Case cases[] = {
        {"three trays",
         trayTree({rdc::inputTray(1, 1, "T1"), rdc::inputTray(2, 2, "T2"), rdc::inputTray(3, 130, "Env")}),
         {{1, "T1"}, {2, "T2"}, {130, "Env"}}, 1},
        {"no manual feeder", trayTree({rdc::inputTray(1, 1, "T1"), rdc::inputTray(2, 2, "T2")}),
         {{1, "T1"}, {2, "T2"}}, 0},
        {"ids outside the ranges",
         trayTree({rdc::inputTray(1, 1, "T1"), rdc::inputTray(2, 6, "Six"),
                   rdc::inputTray(3, 133, "Big"), rdc::inputTray(4, 128, "Manual")}),
         {{0, "Big"}, {1, "T1"}, {128, "Manual"}}, 0},
        {"out-of-sequence tray is not collected",
         trayTree({rdc::inputTray(1, 1, "T1"), rdc::inputTray(3, 3, "T3")}), {{1, "T1"}}, 0},
        {"second name replaces the first", trayTree({rdc::inputTray(1, 4, "T4"), twoNames}),
         {{1, "B"}, {4, "T4"}}, 0},
        {"name before id", trayTree({nameFirst}), {{0, "Early"}, {2, ""}}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Data answer = NpaAnswerBuilder().buildData(c.tree);
        RDCInputParser parser;
        ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), 0);
        OptionMap trays;
        int manualFeeder = -7;
        EXPECT_EQ(parser.getTrays(trays), 0);
        EXPECT_EQ(parser.getManualFeeder(manualFeeder), 0);
        EXPECT_EQ(trays, c.trays);
        EXPECT_EQ(manualFeeder, c.manualFeeder);
    }
}

TEST(RdcInput, WithoutTraysLeavesTheCallersValuesAlone) {
    // A tray entry with an invalid id and no name leaf.
    E invalid = E::container(
        1, {E::container(5, {E::container(1, {E::container(1, {E::integer(1, 9)})})})});
    Data answer = NpaAnswerBuilder().buildData(trayTree({invalid}));
    RDCInputParser parser;
    OptionMap trays{{5, "kept"}};
    int manualFeeder = -1;
    EXPECT_EQ(parser.getTrays(trays), NPA_NOT_PARSED);
    ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), 0);
    EXPECT_EQ(parser.getTrays(trays), 0);
    EXPECT_EQ(parser.getManualFeeder(manualFeeder), 0);
    EXPECT_EQ(trays, (OptionMap{{5, "kept"}}));
    EXPECT_EQ(manualFeeder, -1);
}

TEST(RdcOutput, CollectsBinsAndFinishersWithTheirOwnRanges) {
    struct Case {
        const char* name;
        NpaElement tree;
        OptionMap bins, finishers;
    };
    const Case cases[] = {
        {"standard unit",
         unitTree({rdc::outputUnit(1, 12, "Stapler", {{1, "Standard"}, {3, "Bin 2"}})}),
         {{1, "Standard"}, {3, "Bin 2"}}, {{12, "Stapler"}}},
        {"bin 0 accepted, 17 not", unitTree({rdc::outputUnit(1, 22, "Adv", {{0, "Z"}, {17, "Q"}})}),
         {{0, "Q"}}, {{22, "Adv"}}},
        {"finisher 15 and 23 are ignored",
         unitTree({rdc::outputUnit(1, 15, "Fifteen", {}), rdc::outputUnit(2, 23, "", {})}), {},
         {{0, "Fifteen"}}},
        {"later unit with the same finisher wins",
         unitTree({rdc::outputUnit(1, 12, "First", {}), rdc::outputUnit(2, 12, "Second", {})}),
         {}, {{12, "Second"}}},
        {"out-of-sequence unit is not read",
         unitTree({rdc::outputUnit(2, 22, "Adv", {{2, "B"}})}), {}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Data answer = NpaAnswerBuilder().buildData(c.tree);
        RDCOutputParser parser;
        ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), 0);
        // An empty result leaves the caller's map as it was.
        const OptionMap untouched{{99, "untouched"}};
        OptionMap bins = untouched;
        OptionMap finishers = untouched;
        EXPECT_EQ(parser.getBins(bins), 0);
        EXPECT_EQ(parser.getFinishers(finishers), 0);
        EXPECT_EQ(bins, c.bins.empty() ? untouched : c.bins);
        EXPECT_EQ(finishers, c.finishers.empty() ? untouched : c.finishers);
    }
}

TEST(RdcGenInfo, ReadsTheCodePageLeaf) {
    Data answer = NpaAnswerBuilder().buildData(
        rdc::root({rdc::generalInfo(850), rdc::configuration({rdc::duplex(1)})}));
    RDCGenInfoParser parser;
    int codePage = -1;
    EXPECT_EQ(parser.getSNMPCodePage(codePage), NPA_NOT_PARSED);
    EXPECT_EQ(codePage, 0);
    ASSERT_EQ(parser.parseData(&answer, CMD_GENERAL_INFO), 0);
    EXPECT_EQ(parser.getSNMPCodePage(codePage), 0);
    EXPECT_EQ(codePage, 850);
}

supplyInfo_ makeSupply(int id, std::string name, int type, int maximum, int level) {
    supplyInfo_ s;
    std::tie(s.supplyId, s.name, s.secondText, s.type, s.maxCapacity, s.currentLevel) =
        std::make_tuple(id, std::move(name), "part-" + std::to_string(id), type, maximum, level);
    std::tie(s.extraNumber1, s.extraNumber2, s.extraNumber3, s.extraNumber4) = std::make_tuple(61, 14, 12, 13);
    return s;
}

// Every field of a record, for comparing whole records.
auto fields(const supplyInfo_& s) {
    return std::make_tuple(s.supplyId, s.name, s.secondText, s.extraNumber1, s.type, s.extraNumber2,
                           s.maxCapacity, s.currentLevel, s.extraNumber3, s.extraNumber4);
}

std::vector<supplyInfo_> parseSupplies(const NpaElement& tree) {
    Data answer = NpaAnswerBuilder().buildData(tree);
    RDCGenInfoParser generalInfo;
    RDCSupplyParser parser(&generalInfo);
    EXPECT_EQ(parser.parseData(&answer, CMD_SUPPLIES), 0);
    std::list<supplyInfo_*> records;
    parser.getSupplyInfo(records);
    std::vector<supplyInfo_> copies;
    for (supplyInfo_* record : records) {
        copies.push_back(*record);
    }
    return copies;
}

TEST(RdcSupply, BuildsOneRecordPerSupplyInOrder) {
    supplyInfo_ black = makeSupply(1, "Black \x81", 1, 100, 40);
    supplyInfo_ drum = makeSupply(4, "Drum", 4, 2000, -3);
    // No general-information branch: code page 0 leaves the name bytes as they are.
    std::vector<supplyInfo_> records = parseSupplies(rdc::root(
        {rdc::configuration({rdc::supplies({rdc::supply(1, black), rdc::supply(2, drum)})})}));
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(fields(records[0]), fields(black));
    EXPECT_EQ(fields(records[1]), fields(drum));
}

TEST(RdcSupply, OutOfSequenceSupplyAndTheTrailingEmptyRecord) {
    supplyInfo_ first = makeSupply(1, "First", 1, 10, 5);
    supplyInfo_ third = makeSupply(3, "Third", 1, 10, 9);
    std::vector<supplyInfo_> records = parseSupplies(rdc::root({rdc::configuration(
        {rdc::supplies({rdc::supply(1, first), rdc::supply(3, third)}),
         E::container(9, {E::integer(1, 77)})})}));
    // Supply 3 gets no record and writes nothing into supply 1's; "1.2.9" adds an empty one.
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(fields(records[0]), fields(first));
    EXPECT_EQ(fields(records[1]), fields(supplyInfo_()));
}

TEST(RdcSupply, WithoutSuppliesLeavesTheCallersListAlone) {
    Data answer = NpaAnswerBuilder().buildData(rdc::root({rdc::configuration({rdc::duplex(1)})}));
    RDCGenInfoParser generalInfo;
    RDCSupplyParser parser(&generalInfo);
    ASSERT_EQ(parser.parseData(&answer, CMD_SUPPLIES), 0);
    supplyInfo_ mine;
    std::list<supplyInfo_*> records{&mine};
    EXPECT_EQ(parser.getSupplyInfo(records), 0);
    EXPECT_EQ(records, std::list<supplyInfo_*>{&mine});
}

TEST(RdcSupply, ConvertsNamesFromTheReportedCodePage) {
    supplyInfo_ toner = makeSupply(1, "Gr\x81n", 1, 100, 50);
    std::vector<supplyInfo_> records = parseSupplies(rdc::root(
        {rdc::generalInfo(2009), rdc::configuration({rdc::supplies({rdc::supply(1, toner)})})}));
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].name, "Gr\xC3\xBCn");
    EXPECT_EQ(records[0].secondText, toner.secondText);
}

}  // namespace
