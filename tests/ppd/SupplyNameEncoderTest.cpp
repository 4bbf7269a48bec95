// Tests of the supply-name quoting and shortening on the "ATTR: " line, read back the way cupsd reads it.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "helpers/StubParser.h"
#include "ppd/PPDParser.h"
#include "ppd/PPDStringModifier.h"
#include "ppd/SupplyNameEncoder.h"

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

// cupsd's option parser: name=value pairs; in a value, a quoted part ends at its own quote
// and a backslash takes the next character, an unquoted part runs to the next space.
std::map<std::string, std::string> parseOptions(const std::string& line) {
    std::map<std::string, std::string> options;
    std::size_t at = 0;
    while (at < line.size() && isSpace(line[at])) ++at;
    while (at < line.size()) {
        std::size_t start = at;
        while (at < line.size() && !isSpace(line[at]) && line[at] != '=') ++at;
        std::string name = line.substr(start, at - start);
        if (name.empty()) break;
        while (at < line.size() && isSpace(line[at])) ++at;
        if (at >= line.size() || line[at] != '=') {
            options[name] = "true";
            continue;
        }
        ++at;
        std::string value;
        while (at < line.size() && !isSpace(line[at])) {
            char c = line[at];
            if (c == ',') {
                value += c;
                ++at;
            } else if (c == '\'' || c == '"') {
                for (++at; at < line.size() && line[at] != c; ++at) {
                    if (line[at] == '\\' && at + 1 < line.size()) ++at;
                    value += line[at];
                }
                ++at;
            } else {
                for (; at < line.size() && !isSpace(line[at]); ++at) {
                    if (line[at] == '\\' && at + 1 < line.size()) ++at;
                    value += line[at];
                }
            }
        }
        options[name] = value;
        while (at < line.size() && isSpace(line[at])) ++at;
    }
    return options;
}

// cupsd's splitting of a marker value into values: commas outside quotes separate, a
// quoted part ends the value at its closing quote, a backslash outside quotes takes the
// next character. Returns no values when the count pass and the split disagree.
std::vector<std::string> splitValues(const std::string& text) {
    std::size_t count = 1;
    char quote = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == quote) quote = 0;
        else if (quote) continue;
        else if (text[i] == '\\' && i + 1 < text.size()) ++i;
        else if (text[i] == '\'' || text[i] == '"') quote = text[i];
        else if (text[i] == ',') ++count;
    }
    std::vector<std::string> values;
    std::size_t i = 0;
    quote = 0;
    for (std::size_t n = 0; n < count; ++n) {
        std::string value;
        bool ended = false;
        for (bool first = true; i < text.size(); ++i, first = false) {
            char c = text[i];
            if (quote && c == quote) {
                quote = 0;
                ended = true;
            } else if (quote) {
                if (!ended) value += c;
            } else if (c == '\\' && i + 1 < text.size()) {
                if (!ended) value += text[i + 1];
                ++i;
            } else if (c == '\'' || c == '"') {
                quote = c;
                // A quote after the start of a value is dropped, and the character after it
                // is kept without being looked at.
                if (!first) {
                    if (i + 1 < text.size() && !ended) value += text[i + 1];
                    ++i;
                }
            } else if (c == ',') {
                ++i;
                break;
            } else if (!ended) {
                value += c;
            }
        }
        values.push_back(value);
    }
    return i >= text.size() ? values : std::vector<std::string>{};
}

const char kInjection[] = "K\"' printer-alert='injected' auth-info-required=username,password x='";

}  // namespace

// Each name's fragment on the line; ordinary names keep the established form byte for byte.
TEST(SupplyNameEncoder, QuotesEachNameSoThatCupsdReadsBackItsText) {
    struct Case {
        std::string raw, fragment, readBack;
    };
    const std::vector<Case> cases = {
        {"Black Toner", "'\"Black Toner\"'", "Black Toner"},
        {"Toner, Black = K", "'\"Toner, Black = K\"'", "Toner, Black = K"},
        {"Fuser Unit (220 V \xC2\xB1" "10 %)", "'\"Fuser Unit (220 V \xC2\xB1" "10 %)\"'",
         "Fuser Unit (220 V \xC2\xB1" "10 %)"},
        {"", "'\"\"'", ""},
        {"Cartouche d'encre noire", "'\"Cartouche d\\'encre noire\"'", "Cartouche d'encre noire"},
        {"C:\\toner\\", "'\"C:\\\\toner\\\\\"'", "C:\\toner\\"},
        {"12\" Drum, 'new'", "'12\\\\\" Drum\\\\, \\\\\\'new\\\\\\''", "12\" Drum, 'new'"},
        {kInjection,
         "'K\\\\\"\\\\\\' printer-alert=\\\\\\'injected\\\\\\' auth-info-required=username\\\\,password "
         "x=\\\\\\''",
         kInjection},
        {std::string("Black\0\0\0", 8), "'\"Black\"'", "Black"},
        {std::string("Cyan\0junk", 9), "'\"Cyan\"'", "Cyan"},
        {"Line 1\r\nLine 2\tend\x7F", "'\"Line 1  Line 2 end \"'", "Line 1  Line 2 end "},
        {"Noir \xE9pais", "'\"Noir \xEF\xBF\xBDpais\"'", "Noir \xEF\xBF\xBDpais"},
        // Overlong form, surrogate, a cut sequence at the end: each byte replaced alone.
        {"\xC0\xAF\xED\xA0\x80\xE2\x82", "", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"\xE2\x82\xAC \xF0\x9F\x96\xA8", "'\"\xE2\x82\xAC \xF0\x9F\x96\xA8\"'", "\xE2\x82\xAC \xF0\x9F\x96\xA8"},
    };
    std::vector<std::string> names;
    for (const Case& c : cases) {
        std::string clean = SupplyNameEncoder::cleanName(c.raw);
        EXPECT_EQ(clean, c.readBack);
        if (!c.fragment.empty()) {
            EXPECT_EQ(SupplyNameEncoder::quoteName(clean), c.fragment) << c.readBack;
        }
        names.push_back(clean);
    }
    // All of them on one line, as cupsd reads it: one value per name and no other option.
    std::string value = SupplyNameEncoder::joinNames(names, 2000);
    auto options = parseOptions("marker-names=" + value + " marker-types=toner ");
    EXPECT_EQ(options.size(), 2u);
    EXPECT_EQ(options["marker-types"], "toner");
    std::vector<std::string> readBack = splitValues(options["marker-names"]);
    ASSERT_EQ(readBack.size(), cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(readBack[i], cases[i].readBack);
    }
}

TEST(SupplyNameEncoder, ShortensTheLongestNamesAtCharacterBoundariesUntilTheValueFits) {
    std::string accented;
    for (int i = 0; i < 60; ++i) accented += "\xC3\xA9";  // 120 bytes of two-byte characters
    std::vector<std::string> names = {"Black", std::string(100, 'x'), accented, std::string(40, '\'') + "\"",
                                      std::string(90, 'y')};
    std::string whole = SupplyNameEncoder::joinNames(names, 10000);
    for (std::size_t room : {whole.size(), whole.size() - 1, std::size_t(300), std::size_t(150), std::size_t(40)}) {
        std::string value = SupplyNameEncoder::joinNames(names, room);
        EXPECT_LE(value.size(), room);
        std::vector<std::string> readBack = splitValues(parseOptions("marker-names=" + value)["marker-names"]);
        ASSERT_EQ(readBack.size(), names.size()) << room;
        std::size_t limit = 0;
        for (const std::string& name : readBack) limit = std::max(limit, SupplyNameEncoder::quoteName(name).size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(names[i].compare(0, readBack[i].size(), readBack[i]), 0) << "not a prefix: " << readBack[i];
            EXPECT_EQ(SupplyNameEncoder::cleanName(readBack[i]), readBack[i]) << "cut inside a character";
            // Only the names longer than the common limit are cut.
            if (SupplyNameEncoder::quoteName(names[i]).size() <= limit) {
                EXPECT_EQ(readBack[i], names[i]);
            }
        }
        if (room == whole.size()) {
            EXPECT_EQ(value, whole);
        }
    }
    // Five empty names take 24 bytes; with less room they are all the value can hold.
    for (std::size_t room : {std::size_t(24), std::size_t(10)}) {
        EXPECT_EQ(SupplyNameEncoder::joinNames(names, room), "'\"\"','\"\"','\"\"','\"\"','\"\"'");
    }
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
    auto options = parseOptions(line.substr(6));
    EXPECT_EQ(splitValues(options["marker-names"]).size(), 16u);
    EXPECT_EQ(splitValues(options["marker-levels"]).size(), 16u);
    EXPECT_EQ(splitValues(options["marker-types"]).size(), 16u);
    EXPECT_EQ(splitValues(options["marker-colors"]).size(), 16u);

    // A line that cannot be made to fit is not written at all, rather than cut by cupsd.
    keywords = {{"DefaultTrays", std::string(PPDStringModifier::kMaxLineBytes, 'T')}};
    EXPECT_EQ(PPDStringModifier().formatData(REQ_INSTALLABLE_OPTIONS, keywords), "");
    keywords = {{"DefaultTrays", std::string(PPDStringModifier::kMaxLineBytes - 20, 'T')}};
    EXPECT_EQ(PPDStringModifier::lineLength(REQ_INSTALLABLE_OPTIONS, keywords), PPDStringModifier::kMaxLineBytes);
    EXPECT_NE(PPDStringModifier().formatData(REQ_INSTALLABLE_OPTIONS, keywords), "");
}
