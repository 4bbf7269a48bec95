// Tests of the NPA answer frame, the header string and the container walk shared by the RDC parsers.
#include <gtest/gtest.h>

#include "helpers/NpaAnswerBuilder.h"
#include "parser/RDCDuplexParser.h"
#include "parser/RDCInputParser.h"

namespace {

using E = NpaElement;

NpaElement duplexTree(uint64_t value) { return rdc::root({rdc::configuration({rdc::duplex(value)})}); }

TEST(NpaFrame, BadFramesAndHeadersKeepTheirCodes) {
    NpaBytes offByOne = NpaAnswerBuilder().build(duplexTree(1));
    offByOne[2] += 1;
    NpaBytes badStart = NpaAnswerBuilder().build(duplexTree(1));
    badStart[0] = 0xA4;
    auto withHeader = [](const char* header) { return NpaAnswerBuilder().setHeaderString(header).build(duplexTree(1)); };
    const std::tuple<const char*, NpaBytes, int, int> cases[] = {
        {"46 bytes cannot hold a tree", NpaAnswerBuilder::frame(NpaBytes(43, 0)), INSUFFICIENT_NPA_DATA_ERROR,
         NPA_NOT_PARSED},
        {"length off by one", offByOne, INVALID_RESPONSE_DATA_ERROR, INVALID_RESPONSE_DATA_ERROR},
        {"bad start byte", badStart, INVALID_RESPONSE_DATA_ERROR, INVALID_RESPONSE_DATA_ERROR},
        // Every key present, but the third brace group missing.
        {"header without leaf group", withHeader("P{ID:1,DT:1}C{NE:1,LD:2}"), INVALID_HEADER_INFO_ERROR, NPA_NOT_PARSED},
        {"header of another kind", withHeader("Q{ID:1,DT:1}C{NE:1,LD:2}L{LD:2}"), INVALID_HEADER_INFO_ERROR,
         NPA_NOT_PARSED},
        {"header cut short", withHeader("P{ID:1,DT:1"), INVALID_HEADER_INFO_ERROR, NPA_NOT_PARSED},
    };
    for (const auto& [name, bytes, parsed, status] : cases) {
        SCOPED_TRACE(name);
        RDCDuplexParser parser;
        Data answer = NpaAnswerBuilder::toData(bytes);
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
    NpaWidths wideId;
    wideId.id = 2;
    NpaWidths noLeafLength;
    noLeafLength.leafLength = 0;
    const NpaAnswerBuilder plain;
    NpaAnswerBuilder leafless(noLeafLength);
    leafless.setHeaderString("P{ID:1,DT:1}C{NE:1,LD:2}L{}");
    // Lies about its child count; only its length field matters.
    E unwanted = E::container(3, {E::integer(1, 99), E::text(2, "xx"), E::integer(3, 5)});
    unwanted.withCount(200);
    struct Case {
        const char* name;
        NpaAnswerBuilder builder;
        NpaElement tree;
        int expected;
    };
    const Case cases[] = {
        {"no duplex leaf", plain, rdc::root({rdc::configuration({})}), -1},
        {"string leaf", plain, rdc::root({rdc::configuration({E::container(4, {E::text(1, "1")})})}), -1},
        {"zero", plain, duplexTree(0), 0},
        {"two", plain, duplexTree(2), 2},
        {"after an unwanted container and an unknown leaf", plain,
         rdc::root({rdc::configuration({unwanted, E::leaf(9, 7, "\x01\x02\x03"), rdc::duplex(0)})}), 0},
        // Ids 0x0102, 0x0104 and 0x0101 read as 2, 4 and 1: the leaf is "1.2.4.1".
        {"wide ids keep their low byte", NpaAnswerBuilder(wideId),
         E::container(1, {E::container(0x0102, {E::container(0x0104, {E::integer(0x0101, 7)}),
                                                E::container(0x0105, {E::integer(1, 3)})})}), 7},
        {"wide id 0x0105 is not leaf 1", NpaAnswerBuilder(wideId),
         E::container(1, {E::container(2, {E::container(0x0104, {E::integer(0x0105, 7)})})}), -1},
        // A leaf then carries no value bytes, and the walk must still land on the next one.
        {"no leaf lengths: integers read 0", leafless,
         rdc::root({rdc::configuration({E::container(4, {E::leaf(1, 1, "")})})}), 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Data answer = c.builder.buildData(c.tree);
        RDCDuplexParser parser;
        ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), 0);
        int duplex = 42;
        EXPECT_EQ(parser.getDuplex(duplex), 0);
        EXPECT_EQ(duplex, c.expected);
    }
}

TEST(NpaWalk, DecodesTheSameTreeWithAnyFieldWidths) {
    for (const NpaWidths& w : {NpaWidths{1, 1, 1, 2, 2}, NpaWidths{4, 1, 4, 4, 1}, NpaWidths{1, 2, 1, 3, 4},
                               NpaWidths{8, 8, 8, 8, 8}}) {
        SCOPED_TRACE(NpaAnswerBuilder::headerString(w));
        Data answer = NpaAnswerBuilder(w).buildData(rdc::root({rdc::configuration(
            {rdc::inputTrays({rdc::inputTray(1, 1, "Tray 1"), rdc::inputTray(2, 3, "Tray 3")}), rdc::duplex(1)})}));
        RDCInputParser input;
        RDCDuplexParser duplexParser;
        ASSERT_EQ(input.parseData(&answer, CMD_CONFIGURATION), 0);
        ASSERT_EQ(duplexParser.parseData(&answer, CMD_CONFIGURATION), 0);
        std::map<int, std::string> trays;
        int duplex = -5;
        input.getTrays(trays);
        duplexParser.getDuplex(duplex);
        EXPECT_EQ(trays, (std::map<int, std::string>{{1, "Tray 1"}, {3, "Tray 3"}}));
        EXPECT_EQ(duplex, 1);
    }
}

}  // namespace
