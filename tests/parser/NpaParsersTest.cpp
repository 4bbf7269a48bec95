// Tests of the NPA parsers: frame and container walk (also where lengths disagree with the children),
// trays, bins, supplies and the ROC option text.
#include <gtest/gtest.h>

#include "RdcTrees.h"
#include "parser/RDCDuplexParser.h"
#include "parser/RDCGenInfoParser.h"
#include "parser/RDCInputParser.h"
#include "parser/RDCOutputParser.h"
#include "parser/RDCSupplyParser.h"
#include "parser/ROCParser.h"

namespace {

using rdc::E;
using rdc::T;
using rdc::Framing;
using OptionMap = std::map<int, std::string>;
using RocRecords = std::list<std::map<std::string, long>>;
const OptionMap kUntouched{{99, "untouched"}};  // an empty result leaves the caller's map as it was

E inConfiguration(E part) { return rdc::root({rdc::configuration({std::move(part)})}); }
E duplexTree(long value) { return inConfiguration(rdc::duplex(value)); }

// Feeds |parser| the answer holding |tree|, which it must accept.
void parse(NPABaseParser& parser, const E& tree, CommandID id = CMD_CONFIGURATION, const Framing& framing = {}) {
    Data answer(rdc::answer(tree, framing));
    ASSERT_EQ(parser.parseData(&answer, id), 0);
}

TEST(NpaFrame, BadFramesAndHeadersKeepTheirCodes) {
    const std::string good = rdc::answer(duplexTree(1));
    auto changed = [&good](size_t at, int value) {
        std::string bytes = good;
        bytes[at] = static_cast<char>(value);
        return bytes;
    };
    auto withHeader = [](const char* header) { return rdc::answer(duplexTree(1), {{}, header}); };
    const std::tuple<const char*, std::string, int, int> cases[] = {
        {"46 bytes cannot hold a tree", rdc::frame(std::string(43, '\0')), INSUFFICIENT_NPA_DATA_ERROR, NPA_NOT_PARSED},
        {"length off by one", changed(2, static_cast<unsigned char>(good[2]) + 1), INVALID_RESPONSE_DATA_ERROR,
         INVALID_RESPONSE_DATA_ERROR},
        {"bad start byte", changed(0, 0xA4), INVALID_RESPONSE_DATA_ERROR, INVALID_RESPONSE_DATA_ERROR},
        // Every key present, but the third brace group missing.
        {"header without leaf group", withHeader("P{ID:1,DT:1}C{NE:1,LD:2}"), INVALID_HEADER_INFO_ERROR, NPA_NOT_PARSED},
        {"header of another kind", withHeader("Q{ID:1,DT:1}C{NE:1,LD:2}L{LD:2}"), INVALID_HEADER_INFO_ERROR, NPA_NOT_PARSED},
        {"header cut short", withHeader("P{ID:1,DT:1"), INVALID_HEADER_INFO_ERROR, NPA_NOT_PARSED},
    };
    for (const auto& [name, bytes, parsed, status] : cases) {
        SCOPED_TRACE(name);
        RDCDuplexParser parser;
        Data answer(bytes);
        EXPECT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), parsed);
        int duplex = 5;
        EXPECT_EQ(parser.getDuplex(duplex), status);
    }
    RDCDuplexParser parser;
    int duplex = 0;
    EXPECT_EQ(parser.parseData(nullptr, CMD_CONFIGURATION), NPA_DATA_RESPONSE_ERROR);
    EXPECT_EQ(parser.getDuplex(duplex), NPA_DATA_RESPONSE_ERROR);
}

TEST(NpaWalk, FindsTheDuplexLeafOnlyWhereItBelongs) {
    Framing plain, wideId, leafless;
    wideId.widths.id = 2;
    leafless.widths.leafLength = 0;
    leafless.header = "P{ID:1,DT:1}C{NE:1,LD:2}L{}";
    // Only its length field matters.
    E unwanted = rdc::withCount(T::node(3, {T::number(1, 99), T::text(2, "xx"), T::number(3, 5)}), 200);
    std::vector<std::tuple<std::string, Framing, E, int>> cases = {
        {"no duplex leaf", plain, rdc::root({rdc::configuration({})}), -1},
        {"string leaf", plain, inConfiguration(T::node(4, {T::text(1, "1")})), -1},
        {"two", plain, duplexTree(2), 2},
        {"after an unwanted container and an unknown leaf", plain,
         rdc::root({rdc::configuration({unwanted, T::raw(9, 7, "\x01\x02\x03"), rdc::duplex(0)})}), 0},
        // Ids 0x0102, 0x0104 and 0x0101 read as 2, 4 and 1: the leaf is "1.2.4.1".
        {"wide ids keep their low byte", wideId,
         T::node(1, {T::node(0x0102, {T::node(0x0104, {T::number(0x0101, 7)}),
                                                T::node(0x0105, {T::number(1, 3)})})}), 7},
        {"wide id 0x0105 is not leaf 1", wideId,
         T::node(1, {T::node(2, {T::node(0x0104, {T::number(0x0105, 7)})})}), -1},
        // A leaf then carries no value bytes, and the walk must still land on the next one.
        {"no leaf lengths: integers read 0", leafless, inConfiguration(T::node(4, {T::raw(1, 1, "")})), 0},
    };
    // Trays before the duplex leaf, with other field widths.
    const E trays = rdc::inputTrays({rdc::inputTray(1, 1, "Tray 1"), rdc::inputTray(2, 3, "Tray 3")});
    for (const ContainerWidths& w :
         {ContainerWidths{4, 1, 4, 4, 1}, ContainerWidths{1, 2, 1, 3, 4}, ContainerWidths{8, 8, 8, 8, 8}}) {
        cases.emplace_back(ContainerTree::headerString(w).c_str(), Framing{w, std::nullopt},
                           rdc::root({rdc::configuration({trays, rdc::duplex(1)})}), 1);
    }
    for (const auto& [name, framing, tree, expected] : cases) {
        SCOPED_TRACE(name);
        RDCDuplexParser parser;
        parse(parser, tree, CMD_CONFIGURATION, framing);
        int duplex = 42;
        EXPECT_EQ(parser.getDuplex(duplex), 0);
        EXPECT_EQ(duplex, expected);
    }
}

// |element| declaring a length one byte shorter than its children take.
E shortened(E element) {
    std::string body, error;
    for (const E& child : element.children) T::encode(child, {}, body, error);
    element.claimedLength = static_cast<long>(body.size()) - 1;
    return element;
}

// The last container at its level declares one byte too few: its children lie whole inside
// the answer and are all read. Level 0 shortens nothing.
TEST(ContainerWalk, LastContainerWithTooShortALengthKeepsAllItsChildren) {
    for (int level = 0; level <= 4; ++level) {
        SCOPED_TRACE("shortened level " + std::to_string(level));
        auto cut = [level](int at, E element) { return at == level ? shortened(std::move(element)) : element; };
        E entry = cut(4, T::node(1, {T::number(1, 130), T::text(3, "Env")}));
        E envelopeTray = cut(3, T::node(2, {T::node(5, {T::node(1, {entry})})}));
        E tree = rdc::root({cut(1, rdc::configuration({rdc::inputTrays({rdc::inputTray(1, 1, "T1"), envelopeTray}),
                                                        cut(2, rdc::duplex(1))}))});
        RDCInputParser input;
        RDCDuplexParser duplex;
        parse(input, tree);
        parse(duplex, tree);
        std::map<int, std::string> trays;
        int installed = -1;
        input.getTrays(trays);
        duplex.getDuplex(installed);
        EXPECT_EQ(trays, (std::map<int, std::string>{{1, "T1"}, {130, "Env"}}));
        EXPECT_EQ(installed, 1);
    }
}

// Tray |tray| with one entry holding |leaves|.
E trayEntry(int tray, std::vector<E> leaves) {
    return T::node(tray, {T::node(5, {T::node(1, {T::node(1, std::move(leaves))})})});
}

TEST(RdcOptions, TraysInSequenceAndBinsAndFinishersWithTheirOwnRanges) {
    using rdc::inputTray, rdc::outputUnit;
    const std::tuple<const char*, E, OptionMap, int, OptionMap, OptionMap> cases[] = {
        // name, configuration part, trays, manual feeder, bins, finishers
        {"tray ids outside the ranges",
         rdc::inputTrays({inputTray(1, 1, "T1"), inputTray(2, 6, "Six"), inputTray(3, 133, "Big"), inputTray(4, 128, "M")}),
         {{0, "Big"}, {1, "T1"}, {128, "M"}}, 0, {}, {}},
        {"out-of-sequence tray is not collected", rdc::inputTrays({inputTray(1, 1, "T1"), inputTray(3, 3, "T3")}),
         {{1, "T1"}}, 0, {}, {}},
        // A second name for the same id replaces the first.
        {"two names",
         rdc::inputTrays({inputTray(1, 4, "T4"), trayEntry(2, {T::number(1, 1), T::text(3, "A"), T::text(3, "B")})}),
         {{1, "B"}, {4, "T4"}}, 0, {}, {}},
        {"name before id: filed under id 0", rdc::inputTrays({trayEntry(1, {T::text(3, "Early"), T::number(1, 2)})}),
         {{0, "Early"}, {2, ""}}, 0, {}, {}},
        {"invalid id, no name: nothing", rdc::inputTrays({trayEntry(1, {T::number(1, 9)})}), {}, -1, {}, {}},
        {"bin 0 accepted, 17 not", rdc::outputUnits({outputUnit(1, 22, "Adv", {{0, "Z"}, {17, "Q"}})}), {}, -1, {{0, "Q"}},
         {{22, "Adv"}}},
        {"finisher 15 and 23 are ignored", rdc::outputUnits({outputUnit(1, 15, "Fifteen", {}), outputUnit(2, 23, "", {})}),
         {}, -1, {}, {{0, "Fifteen"}}},
        {"later unit with the same finisher wins",
         rdc::outputUnits({outputUnit(1, 12, "First", {}), outputUnit(2, 12, "Second", {})}), {}, -1, {}, {{12, "Second"}}},
        {"out-of-sequence unit is not read", rdc::outputUnits({outputUnit(2, 22, "Adv", {{2, "B"}})}), {}, -1, {}, {}},
    };
    for (const auto& [name, part, trays, manualFeeder, bins, finishers] : cases) {
        SCOPED_TRACE(name);
        RDCInputParser input;
        RDCOutputParser output;
        OptionMap gotTrays = kUntouched, gotBins = kUntouched, gotFinishers = kUntouched;
        int feeder = -1;
        EXPECT_EQ(input.getTrays(gotTrays), NPA_NOT_PARSED);
        parse(input, inConfiguration(part));
        parse(output, inConfiguration(part));
        EXPECT_EQ(std::make_pair(input.getTrays(gotTrays), input.getManualFeeder(feeder)), std::make_pair(0, 0));
        EXPECT_EQ(std::make_pair(output.getBins(gotBins), output.getFinishers(gotFinishers)), std::make_pair(0, 0));
        EXPECT_EQ(gotTrays, trays.empty() ? kUntouched : trays);
        EXPECT_EQ(feeder, manualFeeder);
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
auto fields(const supplyInfo_* s) { return std::make_tuple(s->supplyId, s->name, s->type, s->maxCapacity, s->currentLevel); }

// Code page conversion of the names shows in the whole-program supply reports.
TEST(RdcSupply, BuildsOneRecordPerSupplyInOrder) {
    const supplyInfo_ black = makeSupply(1, "Black \x81", 1, 100, 40), drum = makeSupply(2, "Drum", 4, 2000, -3),
                      third = makeSupply(4, "Third", 1, 10, 9), empty;
    // Supply 4 is out of sequence: no record, nothing written into another; "1.2.9" adds an
    // empty record. Without a code page the name bytes stay as they are.
    RDCGenInfoParser generalInfo;
    RDCSupplyParser parser(&generalInfo), none(&generalInfo);
    const E supplies = rdc::supplies({rdc::supply(1, black), rdc::supply(2, drum), rdc::supply(4, third)});
    parse(parser, rdc::root({rdc::configuration({supplies, T::node(9, {T::number(1, 77)})})}), CMD_SUPPLIES);
    std::list<supplyInfo_*> records;
    EXPECT_EQ(parser.getSupplyInfo(records), 0);
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(fields(records.front()), fields(&black));
    EXPECT_EQ(fields(*std::next(records.begin())), fields(&drum));
    EXPECT_EQ(fields(records.back()), fields(&empty));

    parse(none, duplexTree(1), CMD_SUPPLIES);
    supplyInfo_ mine;
    records = {&mine};
    EXPECT_EQ(none.getSupplyInfo(records), 0);
    EXPECT_EQ(records, std::list<supplyInfo_*>{&mine});  // without supplies the caller's list is left alone
}

TEST(RocParser, EveryCountBytePassAddsTheSameRecord) {
    const std::tuple<const char*, std::string, int, size_t, std::map<std::string, long>, int> cases[] = {
        // name, text, count byte (-1: the text length), passes, record, flash
        {"flash with value 0", "FLASH:0;", -1, 8, {{"FLASH", 0}}, 1},
        {"two pairs", "FLASH:1; RAM: 64;", -1, 17, {{"FLASH", 1}, {"RAM", 64}}, 1},
        {"count stops after the first pair", "RAM:-2;\0\0 DISK:8;", 7, 7, {{"RAM", -2}}, -9},
        {"no flash", "RAM:1;RAM:2;", -1, 12, {{"RAM", 2}}, -9},
        {"count 0 reads nothing", "FLASH:1;", 0, 0, {}, -9},
        // Malformed texts end the walk; the pairs before them are kept.
        {"no colon", "FLASH", -1, 5, {}, -9},
        {"no semicolon", "RAM:4;FLASH:1", -1, 13, {{"RAM", 4}}, -9},
        {"count beyond the text", "FLASH:1;", 200, 200, {{"FLASH", 1}}, 1},
    };
    for (const auto& [name, text, countByte, passes, record, expectedFlash] : cases) {
        SCOPED_TRACE(name);
        Data answer(NpaAnswerBuilder::optionPacket(rdc::kOptionsRequest, text, countByte));
        ROCParser parser;
        ASSERT_EQ(parser.parseData(&answer, CMD_ROC), 0);
        EXPECT_EQ(parser.records(), RocRecords(passes, record));
        int flash = -9;
        EXPECT_EQ(parser.getFLash(flash), 0);
        EXPECT_EQ(flash, expectedFlash);
    }
    // Six bytes are too few; the frame check itself is shared with the RDC parsers (NpaFrame above).
    ROCParser parser;
    int flash = -1;
    Data six(rdc::frame(std::string(3, '\0')));
    EXPECT_EQ(parser.parseData(&six, CMD_ROC), INSUFFICIENT_NPA_DATA_ERROR);
    EXPECT_EQ(parser.getFLash(flash), NPA_NOT_PARSED);
    EXPECT_EQ(flash, -1);
}

}  // namespace
