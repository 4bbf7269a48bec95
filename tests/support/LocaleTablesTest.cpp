// The language and code page tables, each checked whole: the language id sent in the supply
// request and the encoding every printer text is converted from.
#include <gtest/gtest.h>

#include "helpers/OutputCapture.h"
#include "helpers/ScopedEnv.h"
#include "support/NPALangSettings.h"
#include "support/Utility.h"

TEST(LanguageTable, EveryLocaleGetsItsPrinterLanguageIdWithOrWithoutCountryAndCharset) {
    const std::pair<const char*, int> table[] = {
        {"en_US", 0}, {"de", 1},     {"fr", 2},     {"fr_CA", 3}, {"es", 4},  {"it", 5},  {"da", 6},  {"no", 7},
        {"nl", 8},    {"ja", 9},     {"ko", 10},    {"zh_TW", 11}, {"zh_CN", 12}, {"sv", 13}, {"fi", 15}, {"pt", 16},
        {"ru", 17},   {"cs", 18},    {"pl", 19},    {"hu", 20},   {"tr", 21}, {"el", 22}, {"ro", 24}, {"ar", 25},
    };
    ScopedEnv env;
    env.set("APPLE_LANG", std::nullopt);
    for (const auto& [code, id] : table) {
        std::string locale = code;
        // A bare language code also stands for every country of it.
        for (std::string lang : {locale, locale + ".UTF-8", locale.find('_') == std::string::npos ? locale + "_XX" : locale}) {
            env.set("LANG", lang);
            EXPECT_EQ(NPALangSettings().getNPALangID(), id) << lang;
        }
    }
}

TEST(CodePageTable, EveryCodePageConvertsItsOwnCharactersToUtf8) {
    OutputCapture err(2);
    // Each sample reads differently in the neighbouring encodings (ISO-8859-1 above all).
    const std::tuple<int, std::string, std::string> table[] = {
        {2009, "\x81\x84", "\xC3\xBC\xC3\xA4"},          // CP850: u and a with diaeresis
        {12, "\xD0\xFD", "\xC4\x9E\xC4\xB1"},            // ISO-8859-9: G with breve, dotless i
        {5, "\xB1\xE8", "\xC4\x85\xC4\x8D"},             // ISO-8859-2: a with ogonek, c with caron
        {8, "\xB0\xD0", "\xD0\x90\xD0\xB0"},             // ISO-8859-5: Cyrillic capital and small a
        {106, "\xC3\xA9", "\xC3\xA9"},                   // UTF-8 as it is
        {17, "\x82\xA0\x83\x41", "\xE3\x81\x82\xE3\x82\xA2"},  // Shift-JIS: hiragana a, katakana a
    };
    for (const auto& [codePage, in, expected] : table) {
        std::string out;
        EXPECT_EQ(Utility::convertStringToUTF8(codePage, in, out), 0) << codePage;
        EXPECT_EQ(out, expected) << codePage;
    }
}
