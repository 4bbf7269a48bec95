// Hostile and damaged answers fed to every NPA parser: each must end quickly and read in bounds.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "RdcTrees.h"
#include "helpers/DamagedAnswers.h"
#include "parser/NPAParser.h"
#include "parser/RDCGenInfoParser.h"
#include "ppd/PPDParser.h"

namespace {

using rdc::E;
using rdc::T;
using Clock = std::chrono::steady_clock;

// Feeds |bytes| to a registry under every command id, as one run does, and to the general-information
// parser, which the registry never feeds directly; the PPD mapping queries everything. Returns how
// many of the registry's facts (and the code page) the answer gave.
int feedEverywhere(const std::string& bytes) {
    Data data(bytes);
    NPAParser registry;
    for (int id : {1, 2, 3, 4, 5}) registry.parseData(&data, static_cast<CommandID>(id));
    PPDKeywordMap keywords;
    PPDParser().createData(REQ_INSTALLABLE_OPTIONS, &registry, keywords);
    PPDParser().createData(REQ_SUPPLY_LEVELS, &registry, keywords);
    std::map<int, std::string> units;
    std::list<supplyInfo_*> supplies;
    int state = 0;
    const int facts[] = {registry.getTrays(units), registry.getBins(units), registry.getFinishers(units),
                         registry.getDuplex(state), registry.getFLash(state), registry.getManualFeeder(state),
                         registry.getSupplyInfo(supplies), RDCGenInfoParser().parseData(&data, CMD_GENERAL_INFO)};
    return static_cast<int>(std::count(std::begin(facts), std::end(facts), 0));
}

std::string fullConfiguration(const ContainerWidths& widths = {}) {
    supplyInfo_ toner;
    std::tie(toner.supplyId, toner.name, toner.type, toner.maxCapacity, toner.currentLevel) =
        std::make_tuple(1, "Black", 1, 100, 30);
    return rdc::answer(
        rdc::root({rdc::generalInfo(850),
                   rdc::configuration({rdc::inputTrays({rdc::inputTray(1, 1, "T1"), rdc::inputTray(2, 130, "Env")}),
                                       rdc::outputUnits({rdc::outputUnit(1, 22, "Adv", {{1, "Std"}, {2, "B1"}})}),
                                       rdc::duplex(1), rdc::supplies({rdc::supply(1, toner), rdc::supply(2, toner)}),
                                       T::node(9, {})})}),
        {widths, std::nullopt});
}

// Containers "1.2.1.1.1..." |levels| deep, all of which the tray walk descends into.
std::string deeplyNested(size_t levels) {
    std::string tree;
    for (size_t level = 0; level < levels; ++level) {
        std::string outer{static_cast<char>(level == levels - 2 ? 2 : 1), 0, 1, static_cast<char>(tree.size() >> 8),
                          static_cast<char>(tree.size())};
        tree = outer + tree;
    }
    std::string framed = rdc::answer(T::node(1, {}));
    // The header string, without the empty root.
    return rdc::frame(framed.substr(3, framed.size() - 8) + tree);
}

// Containers that claim many children but a length of 0: each descent reads on to the end of
// the answer, so without a bound on the whole walk their cost grows with every level.
std::string overlappingDescents() {
    E greedy = T::node(1, {});
    greedy.claimedCount = 255;
    E configuration = rdc::configuration(std::vector<E>(3000, greedy));
    configuration.claimedCount = 1, configuration.claimedLength = 0;
    E tree = rdc::root({configuration});
    tree.claimedLength = 0;
    return rdc::answer(tree);
}

}  // namespace

// Lengths past the end come from the damaged answers below.
TEST(ParserHardening, HostileTreesEndQuickly) {
    const std::pair<const char*, std::string> answers[] = {
        {"count 2^32-1",
         rdc::answer(rdc::root({rdc::withCount(rdc::configuration({rdc::inputTrays({rdc::inputTray(1, 1, "T")})}),
                                               0xFFFFFFFFL)}),
                     {{1, 1, 4, 2, 2}, std::nullopt})},
        {"widths above 8", fullConfiguration({9, 12, 9, 10, 16})},
        {"zero widths", rdc::answer(T::node(1, {}), {{}, "P{ID:0,DT:0}C{NE:0,LD:0}L{LD:0}"})},
        {"huge and negative widths",
         rdc::answer(rdc::root({rdc::duplex(1)}), {{}, "P{ID:99999999999,DT:-4}C{NE:70000,LD:1}L{LD:2}"})},
        {"12000 nested containers", deeplyNested(12000)},
        {"3000 overlapping descents", overlappingDescents()},
    };
    for (const auto& [name, bytes] : answers) {
        SCOPED_TRACE(name);
        Clock::time_point start = Clock::now();
        feedEverywhere(bytes);
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
    }
}

// An answer cut short anywhere is refused by every parser, so nothing of it reaches the spooler;
// one damaged inside, with its length field repaired, must still be walked in bounds (the
// sanitizers watch).
TEST(ParserHardening, TruncatedAnswersAreRefusedAndCorruptedOnesStayInBounds) {
    const std::string options = NpaAnswerBuilder::optionPacket(rdc::kOptionsRequest, "FLASH:1; RAM:64;");
    for (const std::string& answer :
         {fullConfiguration(), fullConfiguration({2, 1, 2, 4, 3}), fullConfiguration({1, 1, 4, 2, 1}), options}) {
        ASSERT_GT(feedEverywhere(answer), 0);
        cfftest::feedDamaged(answer, 3000, 4, [](const std::string& bytes, bool truncated) {
            int accepted = feedEverywhere(bytes);
            if (truncated) {
                EXPECT_EQ(accepted, 0) << "cut at " << bytes.size() << " bytes";
            }
            if (bytes.size() >= 3) feedEverywhere(rdc::frame(bytes.substr(3)));
        });
    }
}
