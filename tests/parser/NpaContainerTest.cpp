// Tests of the NPA answer frame, the header string and the container walk shared by the RDC parsers.
#include <gtest/gtest.h>

#include "helpers/NpaAnswerBuilder.h"
#include "parser/RDCDuplexParser.h"
#include "parser/RDCInputParser.h"
#include "support/TempLog.h"

namespace {

using E = NpaElement;

NpaElement duplexTree(uint64_t value) {
    return rdc::root({rdc::configuration({rdc::duplex(value)})});
}

TEST(NpaFrame, RejectsBadFramesWithTheirCodes) {
    RDCDuplexParser parser;
    // 46 bytes cannot hold a tree: 3, and the status stays as it was.
    NpaBytes short46 = NpaAnswerBuilder::frame(NpaBytes(43, 0));
    Data shortData = NpaAnswerBuilder::toData(short46);
    EXPECT_EQ(parser.parseData(&shortData, CMD_CONFIGURATION), INSUFFICIENT_NPA_DATA_ERROR);
    int duplex = 0;
    EXPECT_EQ(parser.getDuplex(duplex), NPA_NOT_PARSED);

    NpaBytes offByOne = NpaAnswerBuilder().build(duplexTree(1));
    offByOne[2] += 1;
    Data offData = NpaAnswerBuilder::toData(offByOne);
    EXPECT_EQ(parser.parseData(&offData, CMD_CONFIGURATION), INVALID_RESPONSE_DATA_ERROR);
    EXPECT_EQ(parser.getDuplex(duplex), INVALID_RESPONSE_DATA_ERROR);

    NpaBytes badStart = NpaAnswerBuilder().build(duplexTree(1));
    badStart[0] = 0xA4;
    Data badData = NpaAnswerBuilder::toData(badStart);
    EXPECT_EQ(parser.parseData(&badData, CMD_CONFIGURATION), INVALID_RESPONSE_DATA_ERROR);
    EXPECT_EQ(parser.parseData(nullptr, CMD_CONFIGURATION), NPA_DATA_RESPONSE_ERROR);
    EXPECT_EQ(parser.getDuplex(duplex), NPA_DATA_RESPONSE_ERROR);
}

TEST(NpaWalk, TracesEachCursorOperation) {
    TempLog log;
    log.enable();
    RDCDuplexParser parser;
    Data answer = NpaAnswerBuilder::toData(NpaAnswerBuilder().build(duplexTree(1)));
    ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), NPA_PARSE_OK);
    std::string text = log.log();
    // Root, then "1.2" descended, then "1.2.4" descended to its integer leaf, then both skipped.
    const char* const order[] = {"NPAContainerParser:GetNoOfElement+>", "NPAContainerParser:GetItemInfo+>",
                                 "NPAContainerParser:GetNoOfElement+>", "NPAContainerParser:GetItemInfo+>",
                                 "NPAContainerParser:GetNoOfElement+>", "NPAContainerParser:GetItemInfo+>",
                                 "NPAContainerParser:ParseIntegerInfo+>", "<-NPAContainerParser:ParseIntegerInfo>",
                                 "NPAContainerParser:ParseContainerInfo+>", "NPAContainerParser:ParseContainerInfo+>"};
    size_t at = 0;
    for (const char* line : order) {
        at = text.find(line, at);
        ASSERT_NE(std::string::npos, at) << line << "\n" << text;
        ++at;
    }
}

struct HeaderCase {
    const char* header;
    int readable;
    int widths[5];  // id, type, count, container length, leaf length
};

TEST(NpaHeader, ReadsTheThreeBraceGroups) {
    const HeaderCase cases[] = {
        {"P{ID:1,DT:1}C{NE:1,LD:2}L{LD:2}", 1, {1, 1, 1, 2, 2}},
        {"P{ID:2,DT:4}C{NE:8,LD:3}L{LD:9}", 1, {2, 4, 8, 3, 9}},
        // No LD in the third group: leaves have no length field.
        {"P{ID:1,DT:1}C{NE:1,LD:2}L{}", 1, {1, 1, 1, 2, 0}},
        // The third group is missing although every key is present.
        {"P{ID:1,DT:1}C{NE:1,LD:2}", 0, {}},
        {"Q{ID:1,DT:1}C{NE:1,LD:2}L{LD:2}", 0, {}},
        {"P{ID:1,DT:1", 0, {}},
        {"", 0, {}},
    };
    for (const HeaderCase& c : cases) {
        SCOPED_TRACE(c.header);
        NPAContainerParser parser;
        std::string text = c.header;
        ByteCursor header(reinterpret_cast<const unsigned char*>(text.data()), text.size());
        ASSERT_EQ(parser.ParseHeaderStringInfo(header), c.readable);
        if (c.readable) {
            EXPECT_EQ((std::vector<int>{parser.idWidth(), parser.typeWidth(), parser.countWidth(),
                                        parser.containerLengthWidth(), parser.leafLengthWidth()}),
                      std::vector<int>(c.widths, c.widths + 5));
        }
    }
}

TEST(NpaHeader, UnreadableHeaderGivesFiveAndKeepsTheStatus) {
    NpaAnswerBuilder builder;
    builder.setHeaderString("P{ID:1,DT:1}C{NE:1,LD:2}");
    Data answer = builder.buildData(duplexTree(1));
    RDCDuplexParser parser;
    EXPECT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), INVALID_HEADER_INFO_ERROR);
    int duplex = 5;
    EXPECT_EQ(parser.getDuplex(duplex), NPA_NOT_PARSED);
}

TEST(NpaHeader, WithoutLeafLengthEveryIntegerReadsZero) {
    NpaWidths widths;
    widths.leafLength = 0;
    NpaAnswerBuilder builder(widths);
    builder.setHeaderString("P{ID:1,DT:1}C{NE:1,LD:2}L{}");
    // The leaf carries no value bytes at all, so the walk must still land on the next one.
    E valueless = E::leaf(1, 1, "");
    Data answer = builder.buildData(
        rdc::root({rdc::configuration({E::container(4, {valueless})})}));
    RDCDuplexParser parser;
    ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), 0);
    int duplex = 9;
    parser.getDuplex(duplex);
    EXPECT_EQ(duplex, 0);
}

TEST(NpaWalk, DecodesTheSameTreeWithAnyFieldWidths) {
    const NpaWidths widthSets[] = {
        {1, 1, 1, 2, 2}, {2, 2, 2, 2, 2}, {4, 1, 4, 4, 1}, {1, 2, 1, 3, 4}, {8, 8, 8, 8, 8}};
    for (const NpaWidths& w : widthSets) {
        SCOPED_TRACE(NpaAnswerBuilder::headerString(w));
        Data answer = NpaAnswerBuilder(w).buildData(rdc::root({rdc::configuration(
            {rdc::inputTrays({rdc::inputTray(1, 1, "Tray 1"), rdc::inputTray(2, 3, "Tray 3")}),
             rdc::duplex(1)})}));
        RDCInputParser input;
        RDCDuplexParser duplexParser;
        ASSERT_EQ(input.parseData(&answer, CMD_CONFIGURATION), 0);
        ASSERT_EQ(duplexParser.parseData(&answer, CMD_CONFIGURATION), 0);
        std::map<int, std::string> trays;
        input.getTrays(trays);
        EXPECT_EQ(trays, (std::map<int, std::string>{{1, "Tray 1"}, {3, "Tray 3"}}));
        int duplex = -5;
        duplexParser.getDuplex(duplex);
        EXPECT_EQ(duplex, 1);
    }
}

TEST(NpaWalk, WideIdFieldKeepsItsLowByte) {
    NpaWidths widths;
    widths.id = 2;
    // Ids 0x0102, 0x0104 and 0x0101 read as 2, 4 and 1: the leaf is "1.2.4.1". 0x0105 reads
    // as 5: "1.2.4.5" is not the duplex leaf.
    const std::pair<NpaElement, int> cases[] = {
        {E::container(1, {E::container(0x0102, {E::container(0x0104, {E::integer(0x0101, 7)}),
                                                E::container(0x0105, {E::integer(1, 3)})})}), 7},
        {E::container(1, {E::container(2, {E::container(0x0104, {E::integer(0x0105, 7)})})}), -1},
    };
    for (const auto& [tree, expected] : cases) {
        Data answer = NpaAnswerBuilder(widths).buildData(tree);
        RDCDuplexParser parser;
        ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), 0);
        int duplex = 0;
        parser.getDuplex(duplex);
        EXPECT_EQ(duplex, expected);
    }
}

TEST(NpaWalk, SkipsUnwantedContainersAndUnknownLeavesByTheirLengths) {
    // The unwanted container lies about its child count; only its length field matters.
    E unwanted = E::container(3, {E::integer(1, 99), E::text(2, "xx"), E::integer(3, 5)});
    unwanted.withCount(200);
    E tree = rdc::root({rdc::configuration(
        {unwanted, E::leaf(9, 7, std::string("\x01\x02\x03", 3)), rdc::duplex(0)})});
    Data answer = NpaAnswerBuilder().buildData(tree);
    RDCDuplexParser parser;
    ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), 0);
    int duplex = -1;
    parser.getDuplex(duplex);
    EXPECT_EQ(duplex, 0);
}

TEST(NpaWalk, DuplexIsOnlyReadFromAnIntegerLeaf) {
    struct Case {
        const char* name;
        NpaElement tree;
        int expected;
    };
    const Case cases[] = {
        {"no duplex leaf", rdc::root({rdc::configuration({})}), -1},
        {"string leaf", rdc::root({rdc::configuration({E::container(4, {E::text(1, "1")})})}), -1},
        {"zero", duplexTree(0), 0},
        {"two", duplexTree(2), 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Data answer = NpaAnswerBuilder().buildData(c.tree);
        RDCDuplexParser parser;
        ASSERT_EQ(parser.parseData(&answer, CMD_CONFIGURATION), 0);
        int duplex = 42;
        EXPECT_EQ(parser.getDuplex(duplex), 0);
        EXPECT_EQ(duplex, c.expected);
    }
}

}  // namespace
