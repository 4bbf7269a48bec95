// Utility: host facts, code pages and conversion of printer texts to UTF-8.
#include "support/Utility.h"

#include <iconv.h>
#include <sys/utsname.h>

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "support/Logger.h"

namespace {
Utility::UnameFunction& unameFunction() {
    static Utility::UnameFunction function;
    return function;
}

// System name and release from the seam, or from uname(2).
int readUname(std::string& sysname, std::string& release) {
    if (unameFunction()) {
        return unameFunction()(sysname, release);
    }
    struct utsname names {};
    if (uname(&names) != 0) {
        return -1;
    }
    sysname = names.sysname;
    release = names.release;
    return 0;
}

// Both values are fixed before main runs.
const std::map<int, std::string> codePageStringMap = Utility::createCodePageStringMap();
bool cups_2_0 = Utility::initCUPS_2_0();

// Unicode code points of the code page 850 bytes 0x80 to 0xFF.
const uint16_t kCodePage850[128] = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7,  // 0x80
    0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE, 0x00EC, 0x00C4, 0x00C5,  // 0x88
    0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9,  // 0x90
    0x00FF, 0x00D6, 0x00DC, 0x00F8, 0x00A3, 0x00D8, 0x00D7, 0x0192,  // 0x98
    0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA, 0x00BA,  // 0xA0
    0x00BF, 0x00AE, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB,  // 0xA8
    0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x00C1, 0x00C2, 0x00C0,  // 0xB0
    0x00A9, 0x2563, 0x2551, 0x2557, 0x255D, 0x00A2, 0x00A5, 0x2510,  // 0xB8
    0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x00E3, 0x00C3,  // 0xC0
    0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x00A4,  // 0xC8
    0x00F0, 0x00D0, 0x00CA, 0x00CB, 0x00C8, 0x0131, 0x00CD, 0x00CE,  // 0xD0
    0x00CF, 0x2518, 0x250C, 0x2588, 0x2584, 0x00A6, 0x00CC, 0x2580,  // 0xD8
    0x00D3, 0x00DF, 0x00D4, 0x00D2, 0x00F5, 0x00D5, 0x00B5, 0x00FE,  // 0xE0
    0x00DE, 0x00DA, 0x00DB, 0x00D9, 0x00FD, 0x00DD, 0x00AF, 0x00B4,  // 0xE8
    0x00AD, 0x00B1, 0x2017, 0x00BE, 0x00B6, 0x00A7, 0x00F7, 0x00B8,  // 0xF0
    0x00B0, 0x00A8, 0x00B7, 0x00B9, 0x00B3, 0x00B2, 0x25A0, 0x00A0,  // 0xF8
};
}  // namespace

std::map<int, std::string> Utility::createCodePageStringMap() {
    std::map<int, std::string> codePages;
    codePages[2009] = "CP850";
    codePages[12] = "ISO-8859-9";
    codePages[5] = "ISO-8859-2";
    codePages[8] = "ISO-8859-5";
    codePages[106] = "UTF-8";
    codePages[17] = "SHIFT_JIS";
    return codePages;
}

int Utility::getCurrentOSDetails(SysOSType& os, int& major, int& minor) {
    Logger logger("Utility", "getCurrentOSDetails");
    os = SYS_OS_OTHER;
    std::string sysname;
    std::string release;
    if (readUname(sysname, release) != 0) {
        return -1;
    }

    size_t firstDot = release.find('.');
    major = std::atoi(release.substr(0, firstDot).c_str());
    // The minor text starts at the first dot itself, so it always reads as 0; callers
    // rely only on the major number.
    minor = 0;
    if (firstDot != std::string::npos) {
        size_t secondDot = release.find('.', firstDot + 1);
        minor = std::atoi(release.substr(firstDot, secondDot).c_str());
    }

    if (sysname == "Darwin") {
        os = SYS_OS_DARWIN;
        major -= 4;
    }
    logger.Log("Current OS is =%s, and Mejor version =%d, Minor version =%d", sysname.c_str(),
               major, minor);
    return 0;
}

bool Utility::initCUPS_2_0() {
    Logger logger("Utility", "initCUPS_2_0");
    SysOSType os = SYS_OS_OTHER;
    int major = 0;
    int minor = 0;
    if (getCurrentOSDetails(os, major, minor) != 0) {
        return false;
    }
    if (os == SYS_OS_DARWIN && major >= 10) {
        logger.Log("CUPS_2_0 =%s", "TRUE");
        return true;
    }
    return false;
}

bool Utility::isCUPS_2_0() { return cups_2_0; }

int Utility::getCurrentLocaleLang(std::string& lang) {
    Logger logger("Utility", "getCurrentLocaleLang");
    lang = "";
    const char* value = std::getenv("APPLE_LANG");
    if (value == nullptr) {
        value = std::getenv("LANG");
    }
    if (value != nullptr) {
        logger.Log("Environment Var LANG =%s", value);
        std::string text = value;
        if (!text.empty()) {
            lang = text.substr(0, text.find('.'));
        }
    }
    logger.Log("System Language =%s", lang.c_str());
    return 0;
}

// The country code is not taken from the system; the caller's default stays.
int Utility::getCurrentLocaleCountryCode(std::string& /*code*/) { return 0; }

int Utility::convertStringToUTF8(int codePage, std::string in, std::string& out) {
    Logger logger("Utility", "convertStringToUTF8");
    logger.Log("Convert Input string =%s", in.c_str());
    std::vector<char> input(in.size() + 1, 0);
    std::memcpy(input.data(), in.data(), in.size());
    logger.Log("Input buffer string =%s", input.data());

    // Room for twice the input; one more zero byte keeps the result terminated.
    const size_t outputSize = in.size() * 2;
    std::vector<char> output(outputSize + 1, 0);

    std::string encoding = "UTF-8";
    auto known = codePageStringMap.find(codePage);
    if (known != codePageStringMap.end()) {
        encoding = known->second;
    }
    logger.Log("Conversion Code Page =%d, Encoding =%s", codePage, encoding.c_str());

    int result = 0;
    if (encoding == "UTF-8") {
        out = in;
    } else {
        logger.Log("2. Encoding =%s", encoding.c_str());
        iconv_t converter = iconv_open("UTF-8", encoding.c_str());
        if (converter == reinterpret_cast<iconv_t>(-1)) {
            logger.Log("iConv open fails = %d", -1);
            out = in;
            result = -1;
        } else {
            char* inPointer = input.data();
            size_t inLeft = in.size();
            char* outPointer = output.data();
            size_t outLeft = outputSize;
            size_t converted = iconv(converter, &inPointer, &inLeft, &outPointer, &outLeft);
            if (converted == static_cast<size_t>(-1)) {
                int error = errno;
                int handle = static_cast<int>(reinterpret_cast<intptr_t>(converter));
                logger.Log("Conversion Failed. Error =%d", -1);
                if (error == E2BIG) {
                    logger.Log("out buffer small %d", handle);
                } else if (error == EINVAL) {
                    logger.Log("incomplete sequence %d", handle);
                } else if (error == EILSEQ) {
                    logger.Log("invalid sequence %d", handle);
                }
                out = in;
                result = -1;
            } else {
                logger.Log("Converted string =%s", output.data());
                out = output.data();
            }
            iconv_close(converter);
        }
    }
    logger.Log("Final Converted string =%s", out.c_str());
    return result;
}

void Utility::write850_UTF8(std::ostringstream& os, unsigned char byte) {
    if (byte < 0x80) {
        os << static_cast<char>(byte);
        return;
    }
    unsigned int u = kCodePage850[byte - 0x80];
    if (u > 2047) {
        os << static_cast<char>(0xE0 | (u >> 12)) << static_cast<char>(0x80 | ((u >> 6) & 63))
           << static_cast<char>(0x80 | (u & 63));
    } else {
        os << static_cast<char>(0xC0 | (u >> 6)) << static_cast<char>(0x80 | (u & 63));
    }
}

std::string Utility::convert850_UTF8(std::string& text) {
    std::ostringstream os;
    for (char c : text) {
        write850_UTF8(os, static_cast<unsigned char>(c));
    }
    text = os.str();
    return text;
}

void Utility::toUpper(std::string& text) {
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
}

void Utility::setUnameFunction(UnameFunction function) { unameFunction() = std::move(function); }

void Utility::refreshCUPS_2_0() { cups_2_0 = initCUPS_2_0(); }
