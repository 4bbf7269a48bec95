// Tests of the supply report through the backend's SNMP walks: the command, its protocol and parser.
#include <gtest/gtest.h>

#include <climits>

#include "core/CUPSSNMPSupplyCmd.h"
#include "helpers/ScriptedConnection.h"
#include "parser/CUPSSNMPParser.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/CUPSSNMPResp.h"

namespace {

// Walk lines of one table, column by column (from MIB column 2), each column holding every row.
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
const std::string kGeneral = walk(".1.3.6.1.2.1.43.5.1", ".", {{"12", "1"}});
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

TEST(CUPSSNMPSupplies, WalksTheFourTablesIntoSupplyRecordsAndPassesOverASilentOne) {
    const std::vector<std::string> subtrees = {".1.3.6.1.2.1.43.7.1", ".1.3.6.1.2.1.43.5.1", ".1.3.6.1.2.1.43.12.1",
                                               ".1.3.6.1.2.1.43.11.1"};  // in the order they are walked
    std::map<std::string, std::string> tables = {
        {subtrees[0], kLocalization}, {subtrees[1], kGeneral}, {subtrees[2], kColorants}, {subtrees[3], kSupplies}};
    const std::vector<Row> expected = {
        {1, "Black Toner", 3, 6000, 4200},
        {2, "Cyan Toner", 3, 5000, 2500},
        {3, "Magenta Toner", 3, 5000, 0},        // negative special level reads 0
        {3, "Magenta Drum", 4, 100, 90},         // shares id 3 with the magenta toner
        {16, "Black Drum", 4, 100, 0},
        {255, "Fuser", 5, 100, 80},
        {112, "Waste Toner Box", 7, 100, 0},
        {64, "Unknown Colour Ink", 6, 100, 10},  // no colorant row: black
        {255, "Staples", 0, 100, 10},            // the value ends at the next '='
    };
    // Row 1 is the current localization, not the last; without the general table the
    // default code page stands.
    for (int codePage : {17, 2009}) {
        SCOPED_TRACE(codePage);
        if (codePage == 2009) tables.erase(subtrees[1]);
        auto* connection = new ScriptedConnection();
        connection->silenceStatus = -1;
        connection->onWrite = [connection, &tables](const ScriptedConnection::Bytes& subtree) {
            auto table = tables.find(std::string(subtree.begin(), subtree.end()));
            if (table != tables.end()) connection->addText(table->second);
        };
        CUPSSNMPProtocol protocol(connection);
        protocol.assignResponseBuilder(new CUPSSNMPResp());
        CUPSSNMPParser parser;
        CUPSSNMPSupplyCmd command;
        EXPECT_EQ(0, command.Execute(&protocol, &parser));
        ASSERT_EQ(connection->writes.size(), subtrees.size());
        for (size_t i = 0; i < subtrees.size(); ++i) EXPECT_EQ(connection->writtenText(i), subtrees[i]);
        EXPECT_EQ(expected, supplyRows(parser));
        EXPECT_EQ(codePage, parser.getCodePage());
    }
}

// Indexes beyond the int range are clamped, not wrapped onto other rows.
TEST(CUPSSNMPParser, ClampsHugeIndexes) {
    CUPSSNMPParser parser;
    Data data(std::string(".1.3.6.1.2.1.43.11.1.1.6.1.99999999999=huge\n.1.3.6.1.2.1.43.11.1.1.6.1.-99999999999=negative"));
    parser.parseData(&data, CMD_SUPPLIES);
    EXPECT_EQ((CUPSSNMPParser::RowMap{{INT_MIN, {"negative"}}, {INT_MAX, {"huge"}}}),
              parser.getSNMPResponseMap(".1.3.6.1.2.1.43.11.1"));
}
