// Tests of the state reasons that supply levels raise, and of the lines that carry them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ppd/SupplyStateReasons.h"

using Reasons = std::vector<std::string>;

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

    SupplyStateReasons mixed;  // two toners in different states, and a worn drum twice
    for (auto [type, percent] : {std::make_pair("toner", 3), std::make_pair("toner", 1), std::make_pair("opc", 4),
                                 std::make_pair("opc", 5), std::make_pair("wasteToner", 2)}) {
        mixed.addSupply(type, percent, true);
    }
    EXPECT_EQ(mixed.lines(),
              (Reasons{"STATE: -marker-supply-low-report,marker-supply-empty-warning,opc-life-over-warning",
                       "STATE: +toner-low-report,toner-empty-warning,opc-near-eol-report"}));
}
