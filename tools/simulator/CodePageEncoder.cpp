// CodePageEncoder: turns the profile's UTF-8 texts into the code page the printer reports.
#include "CodePageEncoder.h"

#include <iconv.h>

#include <cerrno>
#include <map>
#include <vector>

std::string CodePageEncoder::encodingForCodePage(int codePage) {
    static const std::map<int, std::string> kEncodings = {
        {3, "US-ASCII"},    {4, "ISO-8859-1"},  {5, "ISO-8859-2"}, {8, "ISO-8859-5"},
        {12, "ISO-8859-9"}, {17, "SHIFT_JIS"},  {106, "UTF-8"},    {2009, "CP850"},
        {2011, "CP437"},    {2252, "CP1252"},
    };
    auto it = kEncodings.find(codePage);
    return it == kEncodings.end() ? std::string() : it->second;
}

int CodePageEncoder::encode(const std::string& utf8, const std::string& encoding, std::string& out,
                            std::string& error) {
    out.clear();
    if (encoding == "UTF-8" || utf8.empty()) {
        out = utf8;
        return 0;
    }
    iconv_t converter = iconv_open(encoding.c_str(), "UTF-8");
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        error = "the encoding \"" + encoding + "\" is not known to iconv";
        return -1;
    }
    std::vector<char> input(utf8.begin(), utf8.end());
    std::vector<char> output(utf8.size() * 4 + 8);
    char* in = input.data();
    size_t inLeft = input.size();
    char* result = output.data();
    size_t outLeft = output.size();
    size_t rc = iconv(converter, &in, &inLeft, &result, &outLeft);
    int saved = errno;
    iconv_close(converter);
    if (rc == static_cast<size_t>(-1)) {
        error = "\"" + utf8 + "\" cannot be written in " + encoding +
                (saved == EILSEQ ? " (a character has no equivalent there)" : "");
        return -1;
    }
    out.assign(output.data(), output.size() - outLeft);
    return 0;
}
