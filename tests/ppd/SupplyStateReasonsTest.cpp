// Tests of the state reasons that supply levels raise, and of the lines that carry them.
#include <gtest/gtest.h>

#include <vector>

#include "helpers/OutputCapture.h"
#include "helpers/StubParser.h"
#include "ppd/PPDStringModifier.h"
#include "ppd/SupplyStateReasons.h"
#include "ppd/WriterSTDERR.h"

namespace {

using Reasons = std::vector<std::string>;

supplyInfo_ record(int id, int type, int maximum, int level) {
    supplyInfo_ s;
    std::tie(s.supplyId, s.name, s.type, s.maxCapacity, s.currentLevel) =
        std::make_tuple(id, "Supply", type, maximum, level);
    return s;
}

// What one PPDStringModifier writes to stderr for |type| and |records|.
std::string written(RequestType type, std::vector<supplyInfo_> records, int expectedResult = 0) {
    StubParser parser(0);
    for (supplyInfo_& r : records) parser.supplies.push_back(&r);
    parser.trays = {{1, "Tray 1"}};
    OutputCapture err(2);
    PPDStringModifier writer;
    writer.setOutputMode(new WriterSTDERR());
    EXPECT_EQ(writer.writeData(type, &parser), expectedResult);
    return err.text();
}

}  // namespace

// Low at 5 % and below, empty at 1 % and below (exclusive per supply); only measured levels.
TEST(SupplyStateReasons, RaisesOneReasonPerSupplyFromItsKindAndLevel) {
    struct Case {
        const char* type;
        int percent;
        bool capacityKnown;
        Reasons raised;
    } cases[] = {
        {"toner", 6, true, {}},
        {"toner", 5, true, {"toner-low-report"}},
        {"toner", 2, true, {"toner-low-report"}},
        {"toner", 1, true, {"toner-empty-warning"}},
        {"toner", 0, true, {"toner-empty-warning"}},
        {"ink", 5, true, {"marker-supply-low-report"}},
        {"ink", 1, true, {"marker-supply-empty-warning"}},
        {"opc", 4, true, {"opc-near-eol-report"}},
        {"opc", 0, true, {"opc-life-over-warning"}},
        {"fuser", 3, true, {"opc-near-eol-report"}},
        {"fuser", 1, true, {"opc-life-over-warning"}},
        {"wasteToner", 0, true, {}},  // nearly full box: room left 0 %
        {"other", 0, true, {}},
        {"toner", 0, false, {}},      // capacity 0 or less: reported as 0, not a warning
        {"toner", -3, true, {}},      // the printer's "some remaining"
        {"toner", -1, true, {}},
        {"Toner", 0, true, {}},       // marker types compare exactly
    };
    for (const Case& c : cases) {
        SupplyStateReasons reasons;
        reasons.addSupply(c.type, c.percent, c.capacityKnown);
        EXPECT_EQ(reasons.raised(), c.raised) << c.type << " at " << c.percent;
        EXPECT_EQ(reasons.raised().size() + reasons.cleared().size(), 6u) << c.type << " at " << c.percent;
    }
}

// One line clears the family's other reasons, one adds those that hold; no supply, no line.
TEST(SupplyStateReasons, LinesClearTheRestOfTheFamilyAndAddWhatHolds) {
    SupplyStateReasons none;
    EXPECT_TRUE(none.lines().empty());

    SupplyStateReasons full;
    full.addSupply("toner", 80, true);
    EXPECT_EQ(full.lines(), (Reasons{"STATE: -toner-low-report,toner-empty-warning,marker-supply-low-report,"
                                     "marker-supply-empty-warning,opc-near-eol-report,opc-life-over-warning"}));

    SupplyStateReasons mixed;  // two toners in different states, and a worn drum twice
    for (auto [type, percent] : {std::make_pair("toner", 3), std::make_pair("toner", 1), std::make_pair("opc", 4),
                                 std::make_pair("opc", 5), std::make_pair("wasteToner", 2)}) {
        mixed.addSupply(type, percent, true);
    }
    EXPECT_EQ(mixed.lines(), (Reasons{"STATE: -marker-supply-low-report,marker-supply-empty-warning,opc-life-over-warning",
                                      "STATE: +toner-low-report,toner-empty-warning,opc-near-eol-report"}));
}

// The lines follow a written supply report on the same stream, from the levels it reported.
TEST(SupplyStateReasons, FollowOnlyAWrittenSupplyReport) {
    const std::string clearedExceptTonerLow =
        "STATE: -toner-empty-warning,marker-supply-low-report,marker-supply-empty-warning,"
        "opc-near-eol-report,opc-life-over-warning\n";
    // Yellow toner at 3 of 100; waste box holding 98 of 100 (2 % room); an unmeasured drum.
    EXPECT_EQ(written(REQ_SUPPLY_LEVELS, {record(4, 1, 100, 3), record(112, 7, 100, 98), record(16, 4, 0, 0)}),
              "ATTR: marker-colors=#FFFF00,#000000,#000000 marker-levels=3,2,0 "
              "marker-names='\"Supply\"','\"Supply\"','\"Supply\"' marker-types=toner,wasteToner,opc \n" +
                  clearedExceptTonerLow + "STATE: +toner-low-report\n");
    // Hidden and untyped supplies only: no report, so the queue's reasons stay as they are.
    EXPECT_EQ(written(REQ_SUPPLY_LEVELS, {record(42, 1, 100, 1), record(3, 0, 100, 1)}, -1), "");
    EXPECT_EQ(written(REQ_SUPPLY_LEVELS, {}, -1), "");
    // Options never carry state reasons.
    EXPECT_EQ(written(REQ_INSTALLABLE_OPTIONS, {record(4, 1, 100, 3)}).find("STATE:"), std::string::npos);
}
