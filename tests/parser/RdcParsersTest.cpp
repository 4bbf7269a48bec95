// Tests of what the tray, bin and supply parsers collect from RDC answers.
#include <gtest/gtest.h>

#include "helpers/NpaAnswerBuilder.h"
#include "parser/RDCGenInfoParser.h"
#include "parser/RDCInputParser.h"
#include "parser/RDCOutputParser.h"
#include "parser/RDCSupplyParser.h"

namespace {

using E = NpaElement;
using OptionMap = std::map<int, std::string>;
const OptionMap kUntouched{{99, "untouched"}};  // an empty result leaves the caller's map as it was

NpaElement inConfiguration(NpaElement part) { return rdc::root({rdc::configuration({std::move(part)})}); }

// Tray |tray| with one entry holding |leaves|.
E trayEntry(uint64_t tray, std::vector<E> leaves) {
    return E::container(tray, {E::container(5, {E::container(1, {E::container(1, std::move(leaves))})})});
}

TEST(RdcInput, CollectsTraysInSequenceAndReportsTheManualFeeder) {
    const std::tuple<const char*, std::vector<E>, OptionMap, int> cases[] = {
        {"manual feeder", {rdc::inputTray(1, 1, "T1"), rdc::inputTray(2, 2, "T2"), rdc::inputTray(3, 130, "Env")},
         {{1, "T1"}, {2, "T2"}, {130, "Env"}}, 1},
        {"ids outside the ranges",
         {rdc::inputTray(1, 1, "T1"), rdc::inputTray(2, 6, "Six"), rdc::inputTray(3, 133, "Big"),
          rdc::inputTray(4, 128, "Manual")},
         {{0, "Big"}, {1, "T1"}, {128, "Manual"}}, 0},
        {"out-of-sequence tray is not collected", {rdc::inputTray(1, 1, "T1"), rdc::inputTray(3, 3, "T3")},
         {{1, "T1"}}, 0},
        // A second name for the same id replaces the first.
        {"two names", {rdc::inputTray(1, 4, "T4"), trayEntry(2, {E::integer(1, 1), E::text(3, "A"), E::text(3, "B")})},
         {{1, "B"}, {4, "T4"}}, 0},
        {"name before id: filed under id 0", {trayEntry(1, {E::text(3, "Early"), E::integer(1, 2)})},
         {{0, "Early"}, {2, ""}}, 0},
        {"invalid id, no name: nothing", {trayEntry(1, {E::integer(1, 9)})}, {}, -1},
    };
    for (const auto& [name, trays, expected, manualFeeder] : cases) {
        SCOPED_TRACE(name);
        Data answer = NpaAnswerBuilder().buildData(inConfiguration(rdc::inputTrays(trays)));
        RDCInputParser parser;
        OptionMap got = kUntouched;
        int feeder = -1;
        EXPECT_EQ(parser.getTrays(got), NPA_NOT_PARSED);
        ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), 0);
        EXPECT_EQ(parser.getTrays(got), 0);
        EXPECT_EQ(parser.getManualFeeder(feeder), 0);
        EXPECT_EQ(got, expected.empty() ? kUntouched : expected);
        EXPECT_EQ(feeder, manualFeeder);
    }
}

TEST(RdcOutput, CollectsBinsAndFinishersWithTheirOwnRanges) {
    const std::tuple<const char*, std::vector<E>, OptionMap, OptionMap> cases[] = {
        {"standard unit", {rdc::outputUnit(1, 12, "Stapler", {{1, "Standard"}, {3, "Bin 2"}})},
         {{1, "Standard"}, {3, "Bin 2"}}, {{12, "Stapler"}}},
        {"bin 0 accepted, 17 not", {rdc::outputUnit(1, 22, "Adv", {{0, "Z"}, {17, "Q"}})}, {{0, "Q"}}, {{22, "Adv"}}},
        {"finisher 15 and 23 are ignored", {rdc::outputUnit(1, 15, "Fifteen", {}), rdc::outputUnit(2, 23, "", {})}, {},
         {{0, "Fifteen"}}},
        {"later unit with the same finisher wins",
         {rdc::outputUnit(1, 12, "First", {}), rdc::outputUnit(2, 12, "Second", {})}, {}, {{12, "Second"}}},
        {"out-of-sequence unit is not read", {rdc::outputUnit(2, 22, "Adv", {{2, "B"}})}, {}, {}},
    };
    for (const auto& [name, units, bins, finishers] : cases) {
        SCOPED_TRACE(name);
        Data answer = NpaAnswerBuilder().buildData(inConfiguration(rdc::outputUnits(units)));
        RDCOutputParser parser;
        ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), 0);
        OptionMap gotBins = kUntouched, gotFinishers = kUntouched;
        EXPECT_EQ(parser.getBins(gotBins), 0);
        EXPECT_EQ(parser.getFinishers(gotFinishers), 0);
        EXPECT_EQ(gotBins, bins.empty() ? kUntouched : bins);
        EXPECT_EQ(gotFinishers, finishers.empty() ? kUntouched : finishers);
    }
}

supplyInfo_ makeSupply(int id, std::string name, int type, int maximum, int level) {
    supplyInfo_ s;
    std::tie(s.supplyId, s.name, s.type, s.maxCapacity, s.currentLevel) =
        std::make_tuple(id, std::move(name), type, maximum, level);
    return s;
}

auto fields(const supplyInfo_& s) { return std::make_tuple(s.supplyId, s.name, s.type, s.maxCapacity, s.currentLevel); }

TEST(RdcSupply, BuildsOneRecordPerSupplyInOrderWithNamesFromTheCodePage) {
    supplyInfo_ black = makeSupply(1, "Black \x81", 1, 100, 40), drum = makeSupply(2, "Drum", 4, 2000, -3),
                third = makeSupply(4, "Third", 1, 10, 9);
    // Supply 4 is out of sequence: no record, nothing written into another; "1.2.9" adds an
    // empty record. Without a code page the name bytes stay as they are; with 2009 they
    // are converted.
    const std::pair<int, std::string> codePages[] = {{0, "Black \x81"}, {2009, "Black \xC3\xBC"}};
    for (const auto& [codePage, name] : codePages) {
        std::vector<E> sections = {rdc::configuration(
            {rdc::supplies({rdc::supply(1, black), rdc::supply(2, drum), rdc::supply(4, third)}),
             E::container(9, {E::integer(1, 77)})})};
        if (codePage) sections.insert(sections.begin(), rdc::generalInfo(codePage));
        Data answer = NpaAnswerBuilder().buildData(rdc::root(sections));
        RDCGenInfoParser generalInfo;
        RDCSupplyParser parser(&generalInfo);
        ASSERT_EQ(parser.parseData(&answer, CMD_SUPPLIES), 0);
        std::list<supplyInfo_*> records;
        EXPECT_EQ(parser.getSupplyInfo(records), 0);
        ASSERT_EQ(records.size(), 3u);
        supplyInfo_ converted = black;
        converted.name = name;
        EXPECT_EQ(fields(*records.front()), fields(converted));
        EXPECT_EQ(fields(**std::next(records.begin())), fields(drum));
        EXPECT_EQ(fields(*records.back()), fields(supplyInfo_()));
    }

    Data noSupplies = NpaAnswerBuilder().buildData(inConfiguration(rdc::duplex(1)));
    RDCGenInfoParser generalInfo;
    RDCSupplyParser parser(&generalInfo);
    ASSERT_EQ(parser.parseData(&noSupplies, CMD_SUPPLIES), 0);
    supplyInfo_ mine;
    std::list<supplyInfo_*> records{&mine};
    EXPECT_EQ(parser.getSupplyInfo(records), 0);
    EXPECT_EQ(records, std::list<supplyInfo_*>{&mine});  // the caller's list is left alone
}

}  // namespace
