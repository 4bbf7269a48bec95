// Tests of the choice of the NPA language id from the user's locale; the language table checked whole.
#include <gtest/gtest.h>

#include "helpers/OutputCapture.h"
#include "helpers/ScopedEnv.h"
#include "support/NPALangSettings.h"
#include "support/TempLog.h"
#include "support/Utility.h"

TEST(NPALangSettings, LanguageIdFollowsAppleLangThenLangWholeLocaleFirst) {
    struct Case {
        std::optional<std::string> appleLang, lang;
        int id;
        std::string localeLang;
    } cases[] = {
        {"ja", "de_DE.UTF-8", 9, "ja"},
        {std::nullopt, "fr_FR.ISO-8859-1", 2, "fr_FR"},
        {std::nullopt, "zh_HK", 0, "zh_HK"},
        {std::nullopt, std::nullopt, 0, ""},
        {"", "ru_RU", 0, ""},  // a set but empty APPLE_LANG still wins over LANG
    };
    for (const Case& c : cases) {
        ScopedEnv env;
        env.set("APPLE_LANG", c.appleLang);
        env.set("LANG", c.lang);
        NPALangSettings settings;
        EXPECT_EQ(settings.getNPALangID(), c.id) << c.lang.value_or("(unset)");
        std::string lang = "stale";
        EXPECT_EQ(Utility::getCurrentLocaleLang(lang), 0);
        EXPECT_EQ(lang, c.localeLang);
    }
}

TEST(NPALangSettings, PreferredIdIsRememberedForTheCurrentLanguageAndLoggedOnce) {
    TempLog temp;
    OutputCapture err(2);
    temp.enable();
    ScopedEnv env;
    env.set("APPLE_LANG", std::nullopt);
    env.set("LANG", "fr_FR.UTF-8");
    NPALangSettings settings;
    EXPECT_EQ(settings.getNPALangID(), 2);
    const std::string log = temp.log();
    EXPECT_NE(log.find("map is empty. Prefered NPA Lang ID: 2"), std::string::npos) << log;
    EXPECT_EQ(log.find("Preffered NPA Lang ID: 2"), log.rfind("Preffered NPA Lang ID")) << log;
    // A fresh object's current language is "en": setting the id teaches the table "en".
    env.set("LANG", "en_GB");
    NPALangSettings english;
    EXPECT_EQ(english.setPreferedLangID(7), 0);
    EXPECT_EQ(english.getNPALangID(), 7);
}

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
