// NPALangSettings: turns the user's language into the one-byte NPA language id.
#include "support/NPALangSettings.h"

#include "support/Logger.h"
#include "support/Utility.h"

// Ids 14 and 23 have no locale here on purpose.
NPALangSettings::NPALangSettings() {
    langIDs_["en_US"] = 0;
    langIDs_["de"] = 1;
    langIDs_["fr"] = 2;
    langIDs_["fr_CA"] = 3;
    langIDs_["es"] = 4;
    langIDs_["it"] = 5;
    langIDs_["da"] = 6;
    langIDs_["no"] = 7;
    langIDs_["nl"] = 8;
    langIDs_["ja"] = 9;
    langIDs_["ko"] = 10;
    langIDs_["zh_TW"] = 11;
    langIDs_["zh_CN"] = 12;
    langIDs_["sv"] = 13;
    langIDs_["fi"] = 15;
    langIDs_["pt"] = 16;
    langIDs_["ru"] = 17;
    langIDs_["cs"] = 18;
    langIDs_["pl"] = 19;
    langIDs_["hu"] = 20;
    langIDs_["tr"] = 21;
    langIDs_["el"] = 22;
    langIDs_["ro"] = 24;
    langIDs_["ar"] = 25;
}

unsigned char NPALangSettings::getNPALangID() {
    Logger logger("NPALangSettings", "getNPALangID");
    populateCurrentLangInfo();
    return preferredNPALangID_;
}

int NPALangSettings::populateCurrentLangInfo() {
    Logger logger("NPALangSettings", "populateCurrentLangInfo");
    getOSCurrentLang();
    getpreferredNPALangID();
    logger.Log("Preffered NPA Lang ID: %d", preferredNPALangID_);
    return 0;
}

int NPALangSettings::getOSCurrentLang() {
    Logger logger("NPALangSettings", "getOSCurrentLang");
    std::string lang = "en";
    Utility::getCurrentLocaleLang(lang);
    logger.Log("current lang Name: %s", lang.c_str());
    currentLang_ = lang;
    return 0;
}

int NPALangSettings::getOSCurrentCountryCode() {
    Logger logger("NPALangSettings", "getOSCurrentCountryCode");
    std::string code = "US";
    Utility::getCurrentLocaleCountryCode(code);
    countryCode_ = code;
    logger.Log("current Country Code: %s", countryCode_.c_str());
    return 0;
}

int NPALangSettings::getpreferredNPALangID() {
    Logger logger("NPALangSettings", "getpreferredNPALangID");
    if (!preferredLangIDs_.empty()) {
        auto preferred = preferredLangIDs_.find(currentLang_);
        if (preferred != preferredLangIDs_.end()) {
            preferredNPALangID_ = preferred->second;
        } else {
            findNPALangIDFromOSLocale();
        }
        logger.Log("Map is non-empty Prefered NPA Lang ID:%d", preferredNPALangID_);
    } else {
        findNPALangIDFromOSLocale();
        logger.Log("map is empty. Prefered NPA Lang ID: %d", preferredNPALangID_);
    }
    return 0;
}

// The full locale first ("fr_CA"), then its language alone ("fr" for fr_FR); with
// neither known the id stays as it was (English on a fresh object).
int NPALangSettings::findNPALangIDFromOSLocale() {
    Logger logger("NPALangSettings", "findNPALangIDFromOSLocale");
    logger.Log("Current Lang = %s", currentLang_.c_str());
    auto found = langIDs_.find(currentLang_);
    if (found == langIDs_.end()) {
        found = langIDs_.find(currentLang_.substr(0, currentLang_.find('_')));
    }
    if (found != langIDs_.end()) {
        preferredNPALangID_ = found->second;
    }
    return 0;
}

// No preferred-language table is kept; the map stays empty.
int NPALangSettings::createPreflangIDmap() { return 0; }

int NPALangSettings::setPreferedLangID(unsigned char id) {
    preferredNPALangID_ = id;
    langIDs_[currentLang_] = id;
    return 0;
}
