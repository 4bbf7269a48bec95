// Utility: host facts, code pages and conversion of printer texts to UTF-8.
#pragma once

#include <functional>
#include <map>
#include <sstream>
#include <string>

enum SysOSType {
    SYS_OS_OTHER = 0,
    SYS_OS_DARWIN = 1,
};

class Utility {
public:
    // Code page number (IANA MIB enum) to converter encoding name.
    static std::map<int, std::string> createCodePageStringMap();
    // 0, or -1 when the system name cannot be read.
    static int getCurrentOSDetails(SysOSType& os, int& major, int& minor);
    static bool initCUPS_2_0();
    static bool isCUPS_2_0();
    static int getCurrentLocaleLang(std::string& lang);
    static int getCurrentLocaleCountryCode(std::string& code);
    // 0 on success; -1 on failure, with |out| equal to |in|.
    static int convertStringToUTF8(int codePage, std::string in, std::string& out);
    static void write850_UTF8(std::ostringstream& os, unsigned char byte);
    static std::string convert850_UTF8(std::string& text);
    static void toUpper(std::string& text);

    // Host-fact seam: reports the system name and release as uname(2) would; returns 0
    // on success. An empty function restores uname(2).
    using UnameFunction = std::function<int(std::string& sysname, std::string& release)>;
    static void setUnameFunction(UnameFunction function);
    // Recomputes the spooler-generation flag from the current host facts.
    static void refreshCUPS_2_0();
};
