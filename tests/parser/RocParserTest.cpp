// Tests of the ROC option-text parser.
#include <gtest/gtest.h>

#include "helpers/NpaAnswerBuilder.h"
#include "parser/ROCParser.h"

namespace {

using RocRecord = std::map<std::string, long>;

TEST(RocParser, EveryCountBytePassAddsTheSameRecord) {
    struct Case {
        const char* name;
        std::string text;
        int countByte;
        size_t passes;
        RocRecord record;
        int flash;
    };
    const Case cases[] = {
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
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Data answer = NpaAnswerBuilder::toData(rocAnswer(c.text, c.countByte));
        ROCParser parser;
        ASSERT_EQ(parser.parseData(&answer, CMD_ROC), 0);
        ASSERT_EQ(parser.records().size(), c.passes);
        for (const RocRecord& record : parser.records()) {
            EXPECT_EQ(record, c.record);
        }
        int flash = -9;
        EXPECT_EQ(parser.getFLash(flash), 0);
        EXPECT_EQ(flash, c.flash);
    }
}

TEST(RocParser, ShortOrBadAnswersKeepTheirCodes) {
    ROCParser parser;
    int flash = -1;
    Data six = NpaAnswerBuilder::toData(NpaAnswerBuilder::frame(NpaBytes(3, 0)));
    EXPECT_EQ(parser.parseData(&six, CMD_ROC), INSUFFICIENT_NPA_DATA_ERROR);
    EXPECT_EQ(parser.getFLash(flash), NPA_NOT_PARSED);

    NpaBytes bad = rocAnswer("FLASH:1;");
    bad[1] = 1;
    Data badData = NpaAnswerBuilder::toData(bad);
    EXPECT_EQ(parser.parseData(&badData, CMD_ROC), INVALID_RESPONSE_DATA_ERROR);
    EXPECT_EQ(parser.getFLash(flash), INVALID_RESPONSE_DATA_ERROR);
    EXPECT_EQ(flash, -1);
}

}  // namespace
