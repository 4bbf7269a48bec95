// Tests of the supply-name cleaning, quoting and shortening on the "ATTR: " line.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "helpers/StubParser.h"
#include "ppd/PPDParser.h"
#include "ppd/PPDStringModifier.h"
#include "ppd/SupplyNameEncoder.h"

namespace {

// The names of a value whose names all take the plain '"name"' form.
std::vector<std::string> plainNames(const std::string& value) {
    std::vector<std::string> names;
    for (std::size_t at = 0; at < value.size();) {
        std::size_t end = value.find("\"'", at + 2);
        names.push_back(value.substr(at + 2, end - at - 2));
        at = end + 3;  // past "\"',"
    }
    return names;
}

std::size_t countValues(const std::string& list) { return std::count(list.begin(), list.end(), ',') + 1; }

const char kInjection[] = "K\"' printer-alert='injected' auth-info-required=username,password x='";

}  // namespace

// The text each printer name becomes, and its fragment on the line; ordinary names keep the
// established form byte for byte. The private-cupsd test shows cupsd reading them back.
TEST(SupplyNameEncoder, CleansAndQuotesEachName) {
    struct Case {
        std::string raw, clean, fragment;
    };
    const std::string replaced = "\xEF\xBF\xBD";  // U+FFFD
    const std::vector<Case> cases = {
        {"Black Toner", "Black Toner", R"('"Black Toner"')"},
        {"Toner, Black = K", "Toner, Black = K", R"('"Toner, Black = K"')"},
        {"Fuser (220 V \xC2\xB1 10 %)", "Fuser (220 V \xC2\xB1 10 %)", "'\"Fuser (220 V \xC2\xB1 10 %)\"'"},
        {"", "", R"('""')"},
        {"Cartouche d'encre noire", "Cartouche d'encre noire", R"('"Cartouche d\'encre noire"')"},
        {R"(C:\toner\)", R"(C:\toner\)", R"('"C:\\toner\\"')"},
        {R"(12" Drum, 'new')", R"(12" Drum, 'new')", R"('12\\" Drum\\, \\\'new\\\'')"},
        {kInjection, kInjection,
         R"('K\\"\\\' printer-alert=\\\'injected\\\' auth-info-required=username\\,password x=\\\'')"},
        {std::string("Black\0\0\0", 8), "Black", R"('"Black"')"},
        {std::string("Cyan\0junk", 9), "Cyan", R"('"Cyan"')"},
        {"Line 1\r\nLine 2\tend\x7F", "Line 1  Line 2 end ", R"('"Line 1  Line 2 end "')"},
        {"Noir \xE9pais", "Noir " + replaced + "pais", "'\"Noir " + replaced + "pais\"'"},
        // Overlong form, surrogate, a sequence cut at the end: each byte is replaced alone.
        {"\xC0\xAF\xED\xA0\x80\xE2\x82",
         replaced + replaced + replaced + replaced + replaced + replaced + replaced, ""},
        {"\xE2\x82\xAC \xF0\x9F\x96\xA8", "\xE2\x82\xAC \xF0\x9F\x96\xA8", "'\"\xE2\x82\xAC \xF0\x9F\x96\xA8\"'"},
    };
    for (const Case& c : cases) {
        std::string clean = SupplyNameEncoder::cleanName(c.raw);
        EXPECT_EQ(clean, c.clean);
        if (!c.fragment.empty()) {
            EXPECT_EQ(SupplyNameEncoder::quoteName(clean), c.fragment) << c.clean;
        }
    }
}

TEST(SupplyNameEncoder, ShortensTheLongestNamesAtCharacterBoundariesUntilTheValueFits) {
    std::string accented;
    for (int i = 0; i < 60; ++i) accented += "\xC3\xA9";  // 120 bytes of two-byte characters
    const std::vector<std::string> names = {"Black", std::string(100, 'x'), accented, "Toner, Cyan",
                                            std::string(90, 'y')};
    std::string whole = SupplyNameEncoder::joinNames(names, 10000);
    EXPECT_EQ(plainNames(whole), names);
    for (std::size_t room : {whole.size(), whole.size() - 1, std::size_t(300), std::size_t(150)}) {
        std::string value = SupplyNameEncoder::joinNames(names, room);
        EXPECT_LE(value.size(), room);
        EXPECT_GT(value.size() + names.size(), room) << "room left unused";
        std::vector<std::string> readBack = plainNames(value);
        ASSERT_EQ(readBack.size(), names.size()) << room;
        std::size_t limit = 0;
        for (const std::string& name : readBack) limit = std::max(limit, name.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(names[i].compare(0, readBack[i].size(), readBack[i]), 0) << "not a prefix: " << readBack[i];
            EXPECT_EQ(SupplyNameEncoder::cleanName(readBack[i]), readBack[i]) << "cut inside a character";
            if (names[i].size() <= limit) {
                EXPECT_EQ(readBack[i], names[i]) << "only the longest names are cut";
            }
        }
    }
    // Five empty names take 24 bytes; with less room they are all the value can hold.
    for (std::size_t room : {std::size_t(24), std::size_t(10)}) {
        EXPECT_EQ(SupplyNameEncoder::joinNames(names, room), "'\"\"','\"\"','\"\"','\"\"','\"\"'");
    }
    // A name that needs escaping is cut on the same terms.
    EXPECT_EQ(SupplyNameEncoder::joinNames({std::string(10, '"')}, 20), R"('\\"\\"\\"\\"\\"\\"')");
    std::string longName = SupplyNameEncoder::cleanName(std::string(250, 'a') + accented);
    EXPECT_EQ(longName.size(), 254u) << "255 bytes at most, cut before a split character";
}

// Sixteen supplies with 120-character names: the whole line fits and keeps every supply.
TEST(SupplyNameEncoder, SupplyLineStaysWithinWhatCupsdReads) {
    std::vector<supplyInfo_> records(16);
    StubParser parser(0);
    for (int i = 0; i < 16; ++i) {
        records[i].supplyId = i + 1;
        records[i].type = 1;
        records[i].name = std::string(117, 'A' + i) + std::to_string(100 + i);
        records[i].maxCapacity = 100;
        records[i].currentLevel = 50;
        parser.supplies.push_back(&records[i]);
    }
    PPDKeywordMap keywords;
    ASSERT_EQ(PPDParser().createData(REQ_SUPPLY_LEVELS, &parser, keywords), 0);
    EXPECT_LE(PPDStringModifier::lineLength(REQ_SUPPLY_LEVELS, keywords), PPDStringModifier::kMaxLineBytes);
    std::string line = PPDStringModifier().formatData(REQ_SUPPLY_LEVELS, keywords);
    ASSERT_FALSE(line.empty());
    EXPECT_EQ(line.size() + 1, PPDStringModifier::lineLength(REQ_SUPPLY_LEVELS, keywords));
    EXPECT_GT(line.size() + 1, PPDStringModifier::kMaxLineBytes - 20) << "room left unused";
    EXPECT_EQ(plainNames(keywords["marker-names"]).size(), 16u);
    for (const char* attribute : {"marker-levels", "marker-types", "marker-colors"}) {
        EXPECT_EQ(countValues(keywords[attribute]), 16u) << attribute;
    }

    // A line that cannot be made to fit is not written at all, rather than cut by cupsd.
    keywords = {{"DefaultTrays", std::string(PPDStringModifier::kMaxLineBytes, 'T')}};
    EXPECT_EQ(PPDStringModifier().formatData(REQ_INSTALLABLE_OPTIONS, keywords), "");
    keywords = {{"DefaultTrays", std::string(PPDStringModifier::kMaxLineBytes - 20, 'T')}};
    EXPECT_EQ(PPDStringModifier::lineLength(REQ_INSTALLABLE_OPTIONS, keywords), PPDStringModifier::kMaxLineBytes);
    EXPECT_NE(PPDStringModifier().formatData(REQ_INSTALLABLE_OPTIONS, keywords), "");
}
