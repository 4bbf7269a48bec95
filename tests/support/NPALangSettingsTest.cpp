// Tests of the choice of the NPA language id from the user's locale.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "helpers/OutputCapture.h"
#include "helpers/ScopedEnv.h"
#include "support/NPALangSettings.h"
#include "support/TempLog.h"
#include "support/Utility.h"

TEST(NPALangSettings, LanguageIdFollowsAppleLangThenLang) {
    struct Case {
        std::optional<std::string> appleLang, lang;
        int id;
        std::string localeLang;
    };
    const std::vector<Case> cases = {
        {std::nullopt, "de_DE.UTF-8", 1, "de_DE"},
        {"ja", "de_DE.UTF-8", 9, "ja"},
        {std::nullopt, "fr_CA", 3, "fr_CA"},
        {std::nullopt, "fr_FR.ISO-8859-1", 2, "fr_FR"},
        {std::nullopt, "pt_BR.UTF-8", 16, "pt_BR"},
        {std::nullopt, "zh_TW.Big5", 11, "zh_TW"},
        {std::nullopt, "zh_HK", 0, "zh_HK"},
        {std::nullopt, "en_GB", 0, "en_GB"},
        {std::nullopt, "ar", 25, "ar"},
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

TEST(NPALangSettings, PreferredIdIsRememberedForTheCurrentLanguage) {
    ScopedEnv env;
    env.set("APPLE_LANG", std::nullopt);
    env.set("LANG", "en_GB");
    NPALangSettings settings;
    // A fresh object's current language is "en": setting the id teaches the table "en".
    EXPECT_EQ(settings.setPreferedLangID(7), 0);
    EXPECT_EQ(settings.getNPALangID(), 7);
}

TEST(NPALangSettings, LogsTheLookupOnceInCallOrder) {
    TempLog temp;
    OutputCapture err(2);
    temp.enable();
    ScopedEnv env;
    env.set("APPLE_LANG", std::nullopt);
    env.set("LANG", "fr_FR.UTF-8");
    NPALangSettings settings;
    EXPECT_EQ(settings.getNPALangID(), 2);
    const std::string log = temp.log();
    const std::vector<std::string> expected = {
        "current lang Name: fr_FR", "Current Lang = fr_FR",
        "map is empty. Prefered NPA Lang ID: 2", "Preffered NPA Lang ID: 2"};
    size_t at = 0;
    for (const std::string& line : expected) {
        at = log.find(line, at);
        ASSERT_NE(at, std::string::npos) << line << " missing or out of order in\n" << log;
    }
    EXPECT_EQ(log.find("Preffered NPA Lang ID"), log.rfind("Preffered NPA Lang ID")) << log;
}
