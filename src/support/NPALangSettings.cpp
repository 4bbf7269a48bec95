// NPALangSettings: turns the user's language into the one-byte NPA language id.
// Placeholder: always English.
#include "support/NPALangSettings.h"

NPALangSettings::NPALangSettings() = default;
unsigned char NPALangSettings::getNPALangID() { return 0; }
int NPALangSettings::populateCurrentLangInfo() { return 0; }
int NPALangSettings::getOSCurrentLang() { return 0; }
int NPALangSettings::getOSCurrentCountryCode() { return 0; }
int NPALangSettings::getpreferredNPALangID() { return 0; }
int NPALangSettings::findNPALangIDFromOSLocale() { return 0; }
int NPALangSettings::createPreflangIDmap() { return 0; }
int NPALangSettings::setPreferedLangID(unsigned char id) {
    preferredNPALangID_ = id;
    return 0;
}
