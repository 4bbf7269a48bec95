// NPALangSettings: turns the user's language into the one-byte NPA language id.
#pragma once

#include <map>
#include <string>

class NPALangSettings {
public:
    NPALangSettings();

    unsigned char getNPALangID();
    int populateCurrentLangInfo();
    int getOSCurrentLang();
    int getOSCurrentCountryCode();
    int getpreferredNPALangID();
    int findNPALangIDFromOSLocale();
    int createPreflangIDmap();
    int setPreferedLangID(unsigned char id);

private:
    std::map<std::string, unsigned char> langIDs_;
    std::map<std::string, unsigned char> preferredLangIDs_;
    unsigned char preferredNPALangID_ = 0;
    std::string currentLang_ = "en";
    std::string countryCode_ = "US";
};
