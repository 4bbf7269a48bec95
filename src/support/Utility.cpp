// Utility: host facts, code pages and conversion of printer texts to UTF-8.
// Placeholder: no conversion, a non-Darwin host.
#include "support/Utility.h"

#include <cctype>

std::map<int, std::string> Utility::createCodePageStringMap() { return {}; }
int Utility::getCurrentOSDetails(SysOSType& os, int&, int&) {
    os = SYS_OS_OTHER;
    return 0;
}
bool Utility::initCUPS_2_0() { return false; }
bool Utility::isCUPS_2_0() { return false; }
int Utility::getCurrentLocaleLang(std::string& lang) {
    lang.clear();
    return 0;
}
int Utility::getCurrentLocaleCountryCode(std::string&) { return 0; }
int Utility::convertStringToUTF8(int, std::string in, std::string& out) {
    out = in;
    return 0;
}
void Utility::write850_UTF8(std::ostringstream& os, unsigned char byte) { os << byte; }
std::string Utility::convert850_UTF8(std::string& text) { return text; }
void Utility::toUpper(std::string& text) {
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
}
void Utility::setUnameFunction(UnameFunction) {}
void Utility::refreshCUPS_2_0() {}
