// Hostile and damaged answers fed to every NPA parser: each must end quickly and read in bounds.
#include <gtest/gtest.h>

#include <chrono>

#include "helpers/DamagedAnswers.h"
#include "helpers/NpaAnswerBuilder.h"
#include "parser/NPAParser.h"
#include "parser/RDCGenInfoParser.h"
#include "ppd/PPDParser.h"

namespace {

using E = NpaElement;
using Clock = std::chrono::steady_clock;

// Feeds |bytes| to a registry under every command id, as one run does, and to the general-information
// parser, which the registry never feeds directly; the PPD mapping queries everything.
void feedEverywhere(const NpaBytes& bytes) {
    Data data = NpaAnswerBuilder::toData(bytes);
    NPAParser registry;
    for (int id : {1, 2, 3, 4, 5}) registry.parseData(&data, static_cast<CommandID>(id));
    PPDKeywordMap keywords;
    PPDParser().createData(REQ_INSTALLABLE_OPTIONS, &registry, keywords);
    PPDParser().createData(REQ_SUPPLY_LEVELS, &registry, keywords);
    RDCGenInfoParser().parseData(&data, CMD_GENERAL_INFO);
}

NpaBytes fullConfiguration(const NpaWidths& widths = {}) {
    supplyInfo_ toner;
    std::tie(toner.supplyId, toner.name, toner.type, toner.maxCapacity, toner.currentLevel) =
        std::make_tuple(1, "Black", 1, 100, 30);
    return NpaAnswerBuilder(widths).build(rdc::root(
        {rdc::generalInfo(850),
         rdc::configuration({rdc::inputTrays({rdc::inputTray(1, 1, "T1"), rdc::inputTray(2, 130, "Env")}),
                             rdc::outputUnits({rdc::outputUnit(1, 22, "Adv", {{1, "Std"}, {2, "B1"}})}),
                             rdc::duplex(1), rdc::supplies({rdc::supply(1, toner), rdc::supply(2, toner)}),
                             E::container(9, {})})}));
}

// Containers "1.2.1.1.1..." |levels| deep, all of which the tray walk descends into.
NpaBytes deeplyNested(size_t levels) {
    NpaBytes tree;
    for (size_t level = 0; level < levels; ++level) {
        NpaBytes outer{uint8_t(level == levels - 2 ? 2 : 1), 0, 1, uint8_t(tree.size() >> 8), uint8_t(tree.size())};
        outer.insert(outer.end(), tree.begin(), tree.end());
        tree.swap(outer);
    }
    NpaBytes framed = NpaAnswerBuilder().build(E::container(1, {}));
    NpaBytes body(framed.begin() + 3, framed.end() - 5);  // the header string, without the empty root
    body.insert(body.end(), tree.begin(), tree.end());
    return NpaAnswerBuilder::frame(body);
}

// Lengths past the end come from the damaged answers below.
TEST(ParserHardening, HostileTreesEndQuickly) {
    NpaWidths wide;
    wide.count = 4;
    NpaAnswerBuilder zeroWidths, hugeWidths;
    zeroWidths.setHeaderString("P{ID:0,DT:0}C{NE:0,LD:0}L{LD:0}");
    hugeWidths.setHeaderString("P{ID:99999999999,DT:-4}C{NE:70000,LD:1}L{LD:2}");
    E countLies = rdc::configuration({rdc::inputTrays({rdc::inputTray(1, 1, "T")})});
    countLies.withCount(0xFFFFFFFFu);

    const std::pair<const char*, NpaBytes> answers[] = {
        {"count 2^32-1", NpaAnswerBuilder(wide).build(rdc::root({countLies}))},
        {"widths above 8", fullConfiguration(NpaWidths{9, 12, 9, 10, 16})},
        {"zero widths", zeroWidths.build(E::container(1, {}))},
        {"huge and negative widths", hugeWidths.build(rdc::root({rdc::duplex(1)}))},
        {"12000 nested containers", deeplyNested(12000)},
    };
    for (const auto& [name, bytes] : answers) {
        SCOPED_TRACE(name);
        Clock::time_point start = Clock::now();
        feedEverywhere(bytes);
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
    }
}

// Each damaged answer also with its length field repaired, so that the walk itself meets the damage.
TEST(ParserHardening, TruncatedAndCorruptedAnswers) {
    for (const NpaBytes& answer : {fullConfiguration(), fullConfiguration(NpaWidths{2, 1, 2, 4, 3}),
                                   fullConfiguration(NpaWidths{1, 1, 4, 2, 1}), rocAnswer("FLASH:1; RAM:64;")}) {
        cfftest::feedDamaged(answer, 3000, 4, [](const NpaBytes& bytes, bool) {
            feedEverywhere(bytes);
            if (bytes.size() >= 3) feedEverywhere(NpaAnswerBuilder::frame(NpaBytes(bytes.begin() + 3, bytes.end())));
        });
    }
}

}  // namespace
