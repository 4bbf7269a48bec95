// Tests of the backend SNMP supply parser: walk lines of a colour printer to supply records.
#include <gtest/gtest.h>

#include <random>

#include "parser/CUPSSNMPParser.h"

namespace {

// Walk lines of one table, column by column as the walk delivers them: for each column
// (starting at MIB column 2) the value of every row.
std::string walk(const std::string& entry, const std::string& instancePrefix,
                 const std::vector<std::vector<std::string>>& rows) {
    std::string text;
    size_t columns = rows.empty() ? 0 : rows.front().size();
    for (size_t column = 0; column < columns; ++column) {
        for (size_t row = 0; row < rows.size(); ++row) {
            text += entry + ".1." + std::to_string(column + 2) + instancePrefix + std::to_string(row + 1) + "=" +
                    rows[row][column] + "\n";
        }
    }
    return text;
}

std::string localizationWalk() {
    return walk(".1.3.6.1.2.1.43.7.1", ".1.", {{"en", "US", "4"}, {"ja", "JP", "17"}});
}

std::string generalWalk(int currentLocalization) {
    return walk(".1.3.6.1.2.1.43.5.1", ".", {{"12", std::to_string(currentLocalization)}});
}

std::string colorantWalk() {
    return walk(".1.3.6.1.2.1.43.12.1", ".1.", {{"1", "3", "cyan", "256"},
                                                 {"1", "3", "magenta", "256"},
                                                 {"1", "3", "yellow", "256"},
                                                 {"1", "3", "black", "256"}});
}

std::string suppliesWalk() {
    // marker, colorant, class, type, description, unit, maximum, level
    return walk(".1.3.6.1.2.1.43.11.1", ".1.", {
        {"1", "4", "3", "3", "Black Toner", "13", "6000", "4200"},
        {"1", "1", "3", "3", "Cyan Toner", "13", "5000", "2500"},
        {"1", "2", "3", "3", "Magenta Toner", "13", "5000", "-3"},
        {"1", "3", "3", "3", "Yellow Toner", "13", "5000", "500"},
        {"1", "2", "3", "9", "Magenta Drum", "7", "100", "90"},
        {"1", "4", "3", "9", "Black Drum", "7", "100", "-2"},
        {"1", "0", "3", "15", "Fuser", "7", "100", "80"},
        {"1", "0", "4", "4", "Waste Toner Box", "7", "100", "-3"},
        {"1", "9", "3", "5", "Unknown Colour Ink", "7", "100", "10"},
        {"1", "0", "3", "21", "Staples", "7", "100", "10"},
    });
}

Data text(const std::string& s) { return Data(s); }

struct Row {
    int id;
    std::string name;
    int type, max, level;
    bool operator==(const Row& o) const {
        return id == o.id && name == o.name && type == o.type && max == o.max && level == o.level;
    }
};

std::ostream& operator<<(std::ostream& os, const Row& r) {
    return os << "{" << r.id << ", " << r.name << ", " << r.type << ", " << r.max << ", " << r.level << "}";
}

std::vector<Row> rows(const std::list<supplyInfo_*>& supplies) {
    std::vector<Row> out;
    for (const supplyInfo_* s : supplies) {
        out.push_back({s->supplyId, s->name, s->type, s->maxCapacity, s->currentLevel});
    }
    return out;
}

}  // namespace

TEST(CUPSSNMPParser, TurnsAColourPrintersWalkIntoSupplyRecords) {
    CUPSSNMPParser parser;
    // One answer per walked subtree, in the order the supply command asks for them.
    for (const std::string& answer : {localizationWalk(), generalWalk(2), colorantWalk(), suppliesWalk()}) {
        Data data = text(answer);
        EXPECT_EQ(0, parser.parseData(&data, CMD_SUPPLIES));
    }
    std::list<supplyInfo_*> supplies;
    ASSERT_EQ(0, parser.getSupplyInfo(supplies));
    std::vector<Row> expected = {
        {1, "Black Toner", 3, 6000, 4200},
        {2, "Cyan Toner", 3, 5000, 2500},
        {3, "Magenta Toner", 3, 5000, 0},  // negative special level reads 0
        {4, "Yellow Toner", 3, 5000, 500},
        {3, "Magenta Drum", 4, 100, 90},  // shares id 3 with the magenta toner
        {16, "Black Drum", 4, 100, 0},
        {255, "Fuser", 5, 100, 80},
        {112, "Waste Toner Box", 7, 100, 0},
        {64, "Unknown Colour Ink", 6, 100, 10},  // colorant row missing: black
        {255, "Staples", 0, 100, 10},
    };
    EXPECT_EQ(expected, rows(supplies));
    EXPECT_EQ(17, parser.getCodePage());  // the current localization's character set
}

TEST(CUPSSNMPParser, ChoosesTheCodePageOfTheCurrentLocalizationOnly) {
    struct Case {
        std::string answer;
        int codePage;
    } cases[] = {
        {localizationWalk() + generalWalk(1), 4},
        {localizationWalk() + generalWalk(3), 2009},  // no such localization row
        {generalWalk(2), 2009},
        {"", 2009},
    };
    for (const Case& c : cases) {
        CUPSSNMPParser parser;
        Data data = text(c.answer + suppliesWalk());
        parser.parseData(&data, CMD_SUPPLIES);
        std::list<supplyInfo_*> supplies;
        parser.getSupplyInfo(supplies);
        EXPECT_EQ(c.codePage, parser.getCodePage()) << c.answer;
    }
}

TEST(CUPSSNMPParser, SortsLinesIntoRowsOfTheirTable) {
    CUPSSNMPParser parser;
    Data data = text(
        ".1.3.6.1.2.1.43.11.1.1.6.1.2=Cyan Toner\n"
        "no separator here\n"
        ".1.3.6.1.2.1.43.11.1.1.6.1.1=Black=Toner\n"  // the value ends at the next '='
        ".1.3.6.1.2.1.43.11.1.1.9.1.1=-3\n"
        ".1.3.6.1.2.1.43.10.2.1.4.1.1=12345\n"  // no walked table
        ".1.3.6.1.2.1.43.12.1.1.4.1.1=cyan");    // last line without a line feed
    EXPECT_EQ(0, parser.parseData(&data, CMD_SUPPLIES));
    using Rows = CUPSSNMPParser::RowMap;
    EXPECT_EQ((Rows{{1, {"Black", "-3"}}, {2, {"Cyan Toner"}}}),
              parser.getSNMPResponseMap(".1.3.6.1.2.1.43.11.1"));
    EXPECT_EQ((Rows{{1, {"cyan"}}}), parser.getSNMPResponseMap(".1.3.6.1.2.1.43.12.1"));
    EXPECT_TRUE(parser.getSNMPResponseMap(".1.3.6.1.2.1.43.5.1").empty());

    std::list<supplyInfo_*> supplies = {nullptr};
    CUPSSNMPParser empty;
    EXPECT_EQ(0, empty.getSupplyInfo(supplies));
    EXPECT_EQ(1u, supplies.size());  // unchanged without supply rows
    EXPECT_EQ(-1, empty.parseData(nullptr, CMD_SUPPLIES));
}

TEST(CUPSSNMPParser, SurvivesArbitraryBytes) {
    std::string embeddedZeros = ".1.3.6.1.2.1.43.11.1.1.6.1.";
    embeddedZeros += '\0';
    embeddedZeros += "1=Black";
    embeddedZeros += '\0';
    embeddedZeros += "Toner\n.1.3.6.1.2.1.43.11.1.1.5.1.1=3";
    const std::string hostile[] = {
        embeddedZeros,
        ".1.3.6.1.2.1.43.11.1.1.6.1.99999999999999999999999=huge\n"
        ".1.3.6.1.2.1.43.11.1.1.6.1.-99999999999999999999999=negative\n"
        ".1.3.6.1.2.1.43.11.1.1.5.1.1=99999999999999999999\n",
        "=\n==\n.=.\n.1.3.6.1.2.1.43.11.1=\n.1.3.6.1.2.1.43.11.1.\n",
        std::string(5000, '='),
        std::string(".1.3.6.1.2.1.43.11.1.1.6.1.1=") + std::string(100000, 'x'),
    };
    for (const std::string& input : hostile) {
        CUPSSNMPParser parser;
        Data data = text(input);
        EXPECT_EQ(0, parser.parseData(&data, CMD_SUPPLIES));
        std::list<supplyInfo_*> supplies;
        EXPECT_EQ(0, parser.getSupplyInfo(supplies));
    }

    std::mt19937 random(77);
    std::string walkText = localizationWalk() + generalWalk(2) + colorantWalk() + suppliesWalk();
    for (int round = 0; round < 300; ++round) {
        std::string corrupted = walkText;
        for (int i = 0; i < 20; ++i) {
            corrupted[random() % corrupted.size()] = static_cast<char>(random());
        }
        CUPSSNMPParser parser;
        Data data = text(corrupted);
        parser.parseData(&data, CMD_SUPPLIES);
        std::list<supplyInfo_*> supplies;
        parser.getSupplyInfo(supplies);
    }
}
