// Tests of the backend SNMP supply parser: walk lines of a colour printer to supply records.
#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "parser/CUPSSNMPParser.h"

namespace {

// Walk lines of one table as the walk delivers them: column by column (from MIB column
// 2), each column holding every row.
std::string walk(const std::string& entry, const std::string& instance, const std::vector<std::vector<std::string>>& rows) {
    std::string text;
    for (size_t column = 0; column < rows.front().size(); ++column) {
        for (size_t row = 0; row < rows.size(); ++row) {
            text += entry + ".1." + std::to_string(column + 2) + instance + std::to_string(row + 1) + "=" +
                    rows[row][column] + "\n";
        }
    }
    return text;
}

const std::string kLocalization = walk(".1.3.6.1.2.1.43.7.1", ".1.", {{"ja", "JP", "17"}, {"en", "US", "4"}});
std::string general(const std::string& localization) { return walk(".1.3.6.1.2.1.43.5.1", ".", {{"12", localization}}); }
const std::string kColorants = walk(".1.3.6.1.2.1.43.12.1", ".1.", {{"1", "3", "cyan", "256"}, {"1", "3", "magenta", "256"},
                                                                    {"1", "3", "yellow", "256"}, {"1", "3", "black", "256"}});
// marker, colorant, class, type, description, unit, maximum, level
const std::string kSupplies = walk(".1.3.6.1.2.1.43.11.1", ".1.", {
    {"1", "4", "3", "3", "Black Toner", "13", "6000", "4200"},
    {"1", "1", "3", "3", "Cyan Toner", "13", "5000", "2500"},
    {"1", "2", "3", "3", "Magenta Toner", "13", "5000", "-3"},
    {"1", "2", "3", "9", "Magenta Drum", "7", "100", "90"},
    {"1", "4", "3", "9", "Black Drum", "7", "100", "-2"},
    {"1", "0", "3", "15", "Fuser", "7", "100", "80"},
    {"1", "0", "4", "4", "Waste Toner Box", "7", "100", "-3"},
    {"1", "9", "3", "5", "Unknown Colour Ink", "7", "100", "10"},
    {"1", "0", "3", "21", "Staples", "7", "100", "10=5"},
});

using Row = std::tuple<int, std::string, int, int, int>;  // id, name, type, maximum, level

std::vector<Row> supplyRows(CUPSSNMPParser& parser) {
    std::list<supplyInfo_*> supplies;
    EXPECT_EQ(0, parser.getSupplyInfo(supplies));
    std::vector<Row> out;
    for (const supplyInfo_* s : supplies) {
        out.emplace_back(s->supplyId, s->name, s->type, s->maxCapacity, s->currentLevel);
    }
    return out;
}

}  // namespace

TEST(CUPSSNMPParser, TurnsAColourPrintersWalkIntoSupplyRecords) {
    CUPSSNMPParser parser;
    for (const std::string& answer : {kLocalization, general("1"), kColorants, kSupplies}) {
        Data data(answer);
        EXPECT_EQ(0, parser.parseData(&data, CMD_SUPPLIES));
    }
    std::vector<Row> expected = {
        {1, "Black Toner", 3, 6000, 4200},
        {2, "Cyan Toner", 3, 5000, 2500},
        {3, "Magenta Toner", 3, 5000, 0},  // negative special level reads 0
        {3, "Magenta Drum", 4, 100, 90},  // shares id 3 with the magenta toner
        {16, "Black Drum", 4, 100, 0},
        {255, "Fuser", 5, 100, 80},
        {112, "Waste Toner Box", 7, 100, 0},
        {64, "Unknown Colour Ink", 6, 100, 10},  // no colorant row: black
        {255, "Staples", 0, 100, 10},            // the value ends at the next '='
    };
    EXPECT_EQ(expected, supplyRows(parser));
    EXPECT_EQ(17, parser.getCodePage());  // row 1 is the current localization, not the last
}

TEST(CUPSSNMPParser, SurvivesArbitraryBytes) {
    std::string zeros = ".1.3.6.1.2.1.43.11.1.1.6.1.";
    zeros += std::string("\0" "1=Black\0Toner\n", 15) + "no separator\n=\n" + std::string(5000, '=');
    std::vector<std::string> inputs = {zeros};
    std::mt19937 random(77);
    for (int round = 0; round < 300; ++round) {
        std::string corrupted = kLocalization + general("1") + kColorants + kSupplies;
        for (int i = 0; i < 20; ++i) {
            corrupted[random() % corrupted.size()] = static_cast<char>(random());
        }
        inputs.push_back(corrupted);
    }
    for (const std::string& input : inputs) {
        CUPSSNMPParser parser;
        Data data(input);
        EXPECT_EQ(0, parser.parseData(&data, CMD_SUPPLIES));
        supplyRows(parser);
    }
    // Indexes beyond the int range are clamped, not wrapped onto other rows.
    CUPSSNMPParser parser;
    Data data(std::string(".1.3.6.1.2.1.43.11.1.1.6.1.99999999999=huge\n.1.3.6.1.2.1.43.11.1.1.6.1.-99999999999=negative"));
    parser.parseData(&data, CMD_SUPPLIES);
    EXPECT_EQ((CUPSSNMPParser::RowMap{{INT_MIN, {"negative"}}, {INT_MAX, {"huge"}}}),
              parser.getSNMPResponseMap(".1.3.6.1.2.1.43.11.1"));
}
