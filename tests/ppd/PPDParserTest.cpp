// Tests of the mapping from the device model to PPD keywords and supply marker attributes.
#include <gtest/gtest.h>

#include <tuple>

#include "ppd/PPDParser.h"
#include "parser/Parser.h"
#include "support/Utility.h"

namespace {

using OptionMap = std::map<int, std::string>;

// A parser with fixed answers; every query returns |status|.
struct FakeParser : Parser {
    int status = 0;
    OptionMap trays, bins, finishers;
    int duplex = 0, flash = 0, manualFeeder = 0;
    std::list<supplyInfo_*> supplies;

    int parseData(Data*, CommandID) override { return 0; }
    int getSupplyInfo(std::list<supplyInfo_*>& out) override {
        out = supplies;
        return status;
    }
    int getTrays(OptionMap& out) override { return fill(out, trays); }
    int getBins(OptionMap& out) override { return fill(out, bins); }
    int getFinishers(OptionMap& out) override { return fill(out, finishers); }
    int getDuplex(int& out) override { return fill(out, duplex); }
    int getFLash(int& out) override { return fill(out, flash); }
    int getManualFeeder(int& out) override { return fill(out, manualFeeder); }
    int getSNMPCodePage(int& out) override { return fill(out, 0); }

    template <typename T>
    int fill(T& out, const T& value) {
        if (status != kParserStatusNotAvailable) out = value;
        return status;
    }
};

PPDKeywordMap installable(FakeParser& parser, int* result = nullptr) {
    PPDParser mapper;
    PPDKeywordMap keywords;
    int r = mapper.createData(REQ_INSTALLABLE_OPTIONS, &parser, keywords);
    if (result != nullptr) *result = r;
    return keywords;
}

TEST(PPDOptions, MapsTraysBinsAndFinishers) {
    struct Case {
        const char* name;
        OptionMap trays, bins, finishers;
        PPDKeywordMap expected;  // the three keywords, "" for absent
        int result;
    };
    const Case cases[] = {
        {"highest tray in range", {{1, ""}, {2, ""}, {3, ""}}, {{1, ""}, {3, ""}}, {{12, ""}, {22, ""}},
         {{"DefaultTrays", "Tray123"}, {"DefaultOptOutputBins", "OBin2"},
          {"DefaultOutputFinisher", "AdvancedFinisher"}}, 0},
        {"feeders never chosen, bin 16 out of range", {{1, ""}, {131, ""}}, {{1, ""}, {16, ""}},
         {{12, ""}},
         {{"DefaultTrays", "Tray1"}, {"DefaultOptOutputBins", "StandardBin"},
          {"DefaultOutputFinisher", "StandardFinisher"}}, 0},
        {"empty maps", {}, {}, {},
         {{"DefaultTrays", "Tray1"}, {"DefaultOptOutputBins", "StandardBin"},
          {"DefaultOutputFinisher", "NotInstalledM"}}, 0},
        {"nothing in range", {{129, ""}, {130, ""}}, {{16, ""}}, {{5, ""}}, {}, -1},
        {"bins fail but finishers decide", {{2, ""}}, {{16, ""}}, {}, 
         {{"DefaultTrays", "Tray12"}, {"DefaultOutputFinisher", "NotInstalledM"}}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FakeParser parser;
        std::tie(parser.trays, parser.bins, parser.finishers) = std::tie(c.trays, c.bins, c.finishers);
        std::tie(parser.manualFeeder, parser.duplex, parser.flash) = std::make_tuple(-1, 1, 1);
        int result = 0;
        PPDKeywordMap keywords = installable(parser, &result);
        keywords.erase("DefaultOptDuplex");
        keywords.erase("DefaultFlash");
        EXPECT_EQ(keywords, c.expected);
        EXPECT_EQ(result, c.result);
    }
}

TEST(PPDOptions, DuplexFlashAndManualFeederStates) {
    struct Case {
        int state;
        PPDKeywordMap duplex, flash, feeder;
    };
    const Case cases[] = {
        {-1, {{"DefaultOptDuplex", "InstalledM"}}, {{"DefaultFlash", "NotInstalledF"}}, {}},
        {0, {{"DefaultOptDuplex", "NotInstalledM"}, {"DefaultDuplex", "None"}},
         {{"DefaultFlash", "NotInstalledF"}}, {{"DefaultEnvFeeder", "NotInstalledM"}}},
        {1, {{"DefaultOptDuplex", "InstalledM"}}, {{"DefaultFlash", "InstalledF"}},
         {{"DefaultEnvFeeder", "InstalledM"}}},
        {7, {}, {}, {}},
    };
    PPDParser mapper;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.state);
        PPDKeywordMap duplex, flash, feeder;
        EXPECT_EQ(mapper.setDuplexerOption(c.state, duplex), c.duplex.empty() ? -1 : 0);
        EXPECT_EQ(mapper.setFlashOption(c.state, flash), c.flash.empty() ? -1 : 0);
        EXPECT_EQ(mapper.setManualFeederOption(c.state, feeder), c.feeder.empty() ? -1 : 0);
        EXPECT_EQ(duplex, c.duplex);
        EXPECT_EQ(flash, c.flash);
        EXPECT_EQ(feeder, c.feeder);
    }
}

TEST(PPDOptions, UnavailableFactsWriteNothing) {
    FakeParser parser;
    parser.status = kParserStatusNotAvailable;
    int result = 0;
    EXPECT_TRUE(installable(parser, &result).empty());
    EXPECT_EQ(result, -1);

    PPDParser mapper;
    PPDKeywordMap keywords;
    EXPECT_EQ(mapper.createData(REQ_INSTALLABLE_OPTIONS, nullptr, keywords), -1);
    EXPECT_EQ(mapper.createData(REQ_DUPLEX_OPTIONS, &parser, keywords), 0);
    EXPECT_EQ(mapper.createData(static_cast<RequestType>(3), &parser, keywords), -1);
    EXPECT_TRUE(keywords.empty());
}

supplyInfo_ record(int id, const char* name, int type, int maximum, int level) {
    supplyInfo_ s;
    std::tie(s.supplyId, s.name, s.type, s.maxCapacity, s.currentLevel) = std::make_tuple(id, name, type, maximum, level);
    return s;
}

PPDKeywordMap supplies(std::vector<supplyInfo_> records, int* result = nullptr) {
    FakeParser parser;
    for (supplyInfo_& r : records) {
        parser.supplies.push_back(&r);
    }
    PPDParser mapper;
    PPDKeywordMap keywords;
    int r = mapper.createData(REQ_SUPPLY_LEVELS, &parser, keywords);
    if (result != nullptr) *result = r;
    return keywords;
}

TEST(PPDSupplies, ReportsTheFourMarkerAttributes) {
    int result = -1;
    PPDKeywordMap keywords = supplies(
        {record(1, "Black Toner", 1, 100, 40), record(42, "Hidden", 1, 100, 1),
         record(3, "Other", 8, 100, 1), record(112, "Waste Toner", 7, 100, 30),
         record(5, "Drum, left", 4, 0, 10), record(69, "Magenta", 2, -2, 5),
         record(70, "Cyan", 3, 100, -3), record(2, "Big", 5, 40000000, 30000000)},
        &result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(keywords["marker-names"],
              "'\"Black Toner\"','\"Waste Toner\"','\"Drum, left\"','\"Magenta\"','\"Cyan\"',"
              "'\"Big\"'");
    // 30000000 * 100 wraps in 32-bit arithmetic: -1294967296 / 40000000 = -32.
    EXPECT_EQ(keywords["marker-levels"], "40,70,0,0,-3,-32");
    EXPECT_EQ(keywords["marker-types"], "toner,wasteToner,opc,toner,toner,fuser");
    EXPECT_EQ(keywords["marker-colors"], "#000000,#000000,#000000,#FF00FF,#00FFFF,#00FFFF");
}

TEST(PPDSupplies, NothingToReport) {
    int result = 0;
    EXPECT_TRUE(supplies({}, &result).empty());
    EXPECT_EQ(result, -1);
    EXPECT_TRUE(supplies({record(42, "Hidden", 1, 1, 1), record(1, "Odd", 0, 1, 1)}, &result).empty());
    EXPECT_EQ(result, -1);
}

TEST(PPDSupplies, WasteTonerKeepsThePlainPercentageOnDarwin8) {
    Utility::setUnameFunction([](std::string& sysname, std::string& release) {
        sysname = "Darwin";
        release = "12.5.0";  // reported as major 8
        return 0;
    });
    PPDKeywordMap keywords = supplies({record(112, "Waste", 7, 100, 30)});
    Utility::setUnameFunction(nullptr);
    EXPECT_EQ(keywords["marker-levels"], "30");
}

}  // namespace
