// CodePageEncoder: turns the profile's UTF-8 texts into the code page the printer reports.
#pragma once

#include <string>

class CodePageEncoder {
public:
    // The iconv name for an IANA character-set number, or "" when the number is unknown.
    static std::string encodingForCodePage(int codePage);
    // Converts |utf8| into |encoding|; returns 0, or -1 with |error| set when a character
    // has no equivalent there or the encoding is unknown to iconv.
    static int encode(const std::string& utf8, const std::string& encoding, std::string& out,
                      std::string& error);
};
