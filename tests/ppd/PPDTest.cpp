// Tests of the mapping to PPD keywords and marker attributes: the option, supply-type and colour
// tables each checked whole, the host exception, and what is left out of range.
#include <gtest/gtest.h>

#include "helpers/StubParser.h"
#include "helpers/TestUtil.h"
#include "ppd/PPDParser.h"

namespace {

using OptionMap = std::map<int, std::string>;

PPDKeywordMap create(RequestType type, Parser* parser, int expectedResult) {
    PPDKeywordMap keywords;
    EXPECT_EQ(PPDParser().createData(type, parser, keywords), expectedResult);
    return keywords;
}

PPDKeywordMap optionsOf(StubParser& parser) {
    PPDKeywordMap keywords;
    PPDParser().createData(REQ_INSTALLABLE_OPTIONS, &parser, keywords);
    return keywords;
}

// The keyword's value, or "-" when it was not written.
std::string valueOf(const PPDKeywordMap& keywords, const std::string& keyword) {
    auto found = keywords.find(keyword);
    return found == keywords.end() ? "-" : found->second;
}

supplyInfo_ record(int id, int type, int maximum = 100, int level = 30, const char* name = "S") {
    supplyInfo_ s;
    std::tie(s.supplyId, s.name, s.type, s.maxCapacity, s.currentLevel) = std::make_tuple(id, name, type, maximum, level);
    return s;
}

PPDKeywordMap suppliesOf(std::vector<supplyInfo_> records) {
    StubParser parser(0);
    for (supplyInfo_& r : records) parser.supplies.push_back(&r);
    PPDKeywordMap keywords;
    PPDParser().createData(REQ_SUPPLY_LEVELS, &parser, keywords);
    return keywords;
}

}  // namespace

// The highest tray, bin and finisher id names the installed set; the states map one to one.
TEST(OptionTables, EveryTrayBinFinisherAndUnitStateGivesItsPpdValue) {
    const std::vector<std::tuple<const char*, StubParser::OptionMap, const char*>> units = {
        {"DefaultTrays", {{1, ""}}, "Tray1"},
        {"DefaultTrays", {{1, ""}, {2, ""}}, "Tray12"},
        {"DefaultTrays", {{3, ""}}, "Tray123"},
        {"DefaultTrays", {{1, ""}, {4, ""}, {130, ""}}, "Tray1234"},
        {"DefaultTrays", {{5, ""}}, "Tray12345"},
        {"DefaultTrays", {{6, ""}, {129, ""}, {130, ""}, {131, ""}}, "-"},  // feeders never count
        {"DefaultOptOutputBins", {{1, ""}}, "StandardBin"},
        {"DefaultOptOutputBins", {{16, ""}}, "-"},  // beyond the bins that are looked at
        {"DefaultOutputFinisher", {{12, ""}}, "StandardFinisher"},
        {"DefaultOutputFinisher", {{12, ""}, {22, ""}}, "AdvancedFinisher"},
        {"DefaultOutputFinisher", {{5, ""}}, "-"},
    };
    for (const auto& [keyword, ids, value] : units) {
        StubParser parser(0);
        std::string name = keyword;
        (name == "DefaultTrays" ? parser.trays : name == "DefaultOptOutputBins" ? parser.bins : parser.finishers) = ids;
        EXPECT_EQ(valueOf(optionsOf(parser), keyword), value) << keyword << " " << ids.rbegin()->first;
    }
    for (int bin = 2; bin <= 15; ++bin) {
        StubParser parser(0);
        parser.bins = {{1, ""}, {bin, ""}};
        EXPECT_EQ(valueOf(optionsOf(parser), "DefaultOptOutputBins"), "OBin" + std::to_string(bin - 1));
    }
    // state -> DefaultOptDuplex, DefaultDuplex, DefaultFlash, DefaultEnvFeeder
    const std::vector<std::tuple<int, const char*, const char*, const char*, const char*>> states = {
        {1, "InstalledM", "-", "InstalledF", "InstalledM"},
        {0, "NotInstalledM", "None", "NotInstalledF", "NotInstalledM"},
        {-1, "InstalledM", "-", "NotInstalledF", "-"},  // unknown: duplex assumed, flash not
        {7, "-", "-", "-", "-"},
    };
    for (const auto& [state, duplex, duplexDefault, flash, feeder] : states) {
        StubParser parser(0);
        std::tie(parser.duplex, parser.flash, parser.manualFeeder) = std::make_tuple(state, state, state);
        PPDKeywordMap keywords = optionsOf(parser);
        EXPECT_EQ(valueOf(keywords, "DefaultOptDuplex"), duplex) << state;
        EXPECT_EQ(valueOf(keywords, "DefaultDuplex"), duplexDefault) << state;
        EXPECT_EQ(valueOf(keywords, "DefaultFlash"), flash) << state;
        EXPECT_EQ(valueOf(keywords, "DefaultEnvFeeder"), feeder) << state;
    }
}

TEST(SupplyTables, EverySupplyTypeAndSupplyIdGivesItsMarkerTypeAndColour) {
    std::vector<supplyInfo_> byType;
    for (int type = 0; type <= 8; ++type) byType.push_back(record(1, type));
    EXPECT_EQ(valueOf(suppliesOf(byType), "marker-types"), "toner,toner,toner,opc,fuser,ink,other");

    const std::vector<std::pair<int, const char*>> colours = {
        {1, "#000000"},  {2, "#00FFFF"},  {3, "#FF00FF"},  {4, "#FFFF00"},  {16, "#000000"}, {17, "#00FFFF"},
        {18, "#FF00FF"}, {19, "#FFFF00"}, {64, "#000000"}, {65, "#00FFFF"}, {66, "#FF00FF"}, {67, "#FFFF00"},
        {68, "#000000"}, {69, "#FF00FF"}, {70, "#00FFFF"}, {5, "#000000"},  {71, "#000000"},
    };
    std::vector<supplyInfo_> byId;
    std::string expected;
    for (const auto& [id, colour] : colours) {
        byId.push_back(record(id, 3));
        expected += std::string(expected.empty() ? "" : ",") + colour;
    }
    EXPECT_EQ(valueOf(suppliesOf(byId), "marker-colors"), expected);
}

// The waste-toner box reports how much room is left, except on Darwin 8 (host release 12).
TEST(SupplyTables, WasteTonerLevelIsInvertedExceptOnDarwin8) {
    const std::tuple<const char*, const char*, const char*> hosts[] = {
        {"Linux", "6.1.0", "40,70"}, {"Darwin", "11.4.2", "40,70"}, {"Darwin", "12.5.0", "40,30"},
        {"Darwin", "13.0.0", "40,70"}, {"Darwin", "14.0.0", "40,70"},
    };
    for (const auto& [sysname, release, levels] : hosts) {
        cfftest::FakeHost host(sysname, release);
        PPDKeywordMap keywords = suppliesOf({record(1, 3, 100, 40), record(112, 7, 100, 30)});
        EXPECT_EQ(valueOf(keywords, "marker-levels"), levels) << sysname << " " << release;
        EXPECT_EQ(valueOf(keywords, "marker-types"), "toner,wasteToner");
    }
}

TEST(PPDOptions, TraysBinsAndFinishersOutOfRange) {
    StubParser parser(0);
    std::tie(parser.manualFeeder, parser.duplex, parser.flash) = std::make_tuple(-1, 1, 1);
    std::tie(parser.trays, parser.bins, parser.finishers) =
        std::make_tuple(OptionMap{{129, ""}, {130, ""}}, OptionMap{{16, ""}}, OptionMap{{5, ""}});
    EXPECT_EQ(create(REQ_INSTALLABLE_OPTIONS, &parser, -1),
              (PPDKeywordMap{{"DefaultOptDuplex", "InstalledM"}, {"DefaultFlash", "InstalledF"}}));  // nothing in range
    parser.trays = {{2, ""}};
    parser.finishers = {{12, ""}};  // the bins fail, but the finishers decide
    EXPECT_EQ(create(REQ_INSTALLABLE_OPTIONS, &parser, 0),
              (PPDKeywordMap{{"DefaultTrays", "Tray12"}, {"DefaultOutputFinisher", "StandardFinisher"},
                             {"DefaultOptDuplex", "InstalledM"}, {"DefaultFlash", "InstalledF"}}));
}

TEST(PPDSupplies, ReportsTheFourMarkerAttributesInThirtyTwoBitArithmetic) {
    std::vector<supplyInfo_> records = {record(1, 1, 100, 40, "Black Toner"), record(42, 1, 100, 1, "Hidden"),
                                        record(2, 5, 40000000, 30000000, "Big"), record(3, 0, 100, 1, "Other")};
    StubParser parser(0);
    for (supplyInfo_& r : records) parser.supplies.push_back(&r);
    // 30000000 * 100 wraps: -1294967296 / 40000000 = -32.
    EXPECT_EQ(create(REQ_SUPPLY_LEVELS, &parser, 0),
              (PPDKeywordMap{{"marker-names", "'\"Black Toner\"','\"Big\"'"}, {"marker-levels", "40,-32"},
                             {"marker-types", "toner,fuser"}, {"marker-colors", "#000000,#00FFFF"}}));
    // Nothing to report: no supplies, or only hidden and untyped ones.
    parser.supplies.clear();
    EXPECT_TRUE(create(REQ_SUPPLY_LEVELS, &parser, -1).empty());
    parser.supplies = {&records[1], &records[3]};
    EXPECT_TRUE(create(REQ_SUPPLY_LEVELS, &parser, -1).empty());
}
