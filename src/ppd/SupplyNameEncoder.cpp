// SupplyNameEncoder: turns the supply names a printer reports into a "marker-names" value.
#include "ppd/SupplyNameEncoder.h"

#include <algorithm>

namespace {

const char kReplacementCharacter[] = "\xEF\xBF\xBD";  // U+FFFD

// Length of the valid UTF-8 sequence that starts at |at| (shortest form, no surrogates,
// nothing above U+10FFFF), or 0 when the byte there does not start one.
std::size_t sequenceLength(const std::string& text, std::size_t at) {
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
    auto continuation = [&](std::size_t i, unsigned char low, unsigned char high) {
        return at + i < text.size() && byte(i) >= low && byte(i) <= high;
    };
    unsigned char lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return continuation(1, 0x80, 0xBF) ? 2 : 0;
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        unsigned char low = lead == 0xE0 ? 0xA0 : 0x80;
        unsigned char high = lead == 0xED ? 0x9F : 0xBF;
        return continuation(1, low, high) && continuation(2, 0x80, 0xBF) ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        unsigned char low = lead == 0xF0 ? 0x90 : 0x80;
        unsigned char high = lead == 0xF4 ? 0x8F : 0xBF;
        return continuation(1, low, high) && continuation(2, 0x80, 0xBF) && continuation(3, 0x80, 0xBF) ? 4
                                                                                                        : 0;
    }
    return 0;
}

// The longest prefix of valid UTF-8 |text| that is at most |bytes| long and ends at a
// character boundary.
std::string prefixAtBoundary(const std::string& text, std::size_t bytes) {
    if (bytes >= text.size()) {
        return text;
    }
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) {
        --bytes;
    }
    return text.substr(0, bytes);
}

}  // namespace

std::string SupplyNameEncoder::cleanName(const std::string& raw) {
    std::string text = raw.substr(0, raw.find('\0'));
    std::string clean;
    clean.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        std::size_t length = sequenceLength(text, at);
        if (length == 0) {
            clean += kReplacementCharacter;
            ++at;
            continue;
        }
        unsigned char lead = static_cast<unsigned char>(text[at]);
        if (length == 1 && (lead < 0x20 || lead == 0x7F)) {
            clean += ' ';
        } else {
            clean.append(text, at, length);
        }
        at += length;
    }
    return prefixAtBoundary(clean, kMaxNameBytes);
}

std::string SupplyNameEncoder::quoteName(const std::string& name) {
    // Inside the first pass's apostrophes a backslash takes the next character literally;
    // only the apostrophe and the backslash itself need one.
    auto firstPass = [](const std::string& value) {
        std::string quoted = "'";
        for (char c : value) {
            if (c == '\'' || c == '\\') {
                quoted += '\\';
            }
            quoted += c;
        }
        return quoted + "'";
    };
    if (name.find('"') == std::string::npos) {
        // The second pass takes everything between double quotation marks literally.
        return firstPass("\"" + name + "\"");
    }
    // Double quotation marks cannot stand inside either kind of quoting of the second pass
    // (the other kind may be in the name too), so the name goes unquoted there, with a
    // backslash before each character that the second pass treats as syntax.
    std::string escaped;
    for (char c : name) {
        if (c == '\\' || c == '\'' || c == '"' || c == ',') {
            escaped += '\\';
        }
        escaped += c;
    }
    return firstPass(escaped);
}

std::string SupplyNameEncoder::fitName(const std::string& name, std::size_t quotedBytes) {
    // The quoted form grows with every character added, so the longest prefix that fits
    // is found by bisection over the prefix length.
    std::size_t low = 0;
    std::size_t high = name.size();
    while (low < high) {
        std::size_t middle = low + (high - low + 1) / 2;
        if (quoteName(prefixAtBoundary(name, middle)).size() <= quotedBytes) {
            low = middle;
        } else {
            high = middle - 1;
        }
    }
    return prefixAtBoundary(name, low);
}

std::string SupplyNameEncoder::joinNames(const std::vector<std::string>& names, std::size_t maxBytes) {
    auto join = [&](std::size_t quotedBytes) {
        std::string value;
        for (const std::string& name : names) {
            if (!value.empty()) {
                value += ',';
            }
            value += quoteName(fitName(name, quotedBytes));
        }
        return value;
    };
    std::size_t longest = 0;
    for (const std::string& name : names) {
        longest = std::max(longest, quoteName(name).size());
    }
    std::string whole = join(longest);
    if (whole.size() <= maxBytes) {
        return whole;
    }
    // Bisection for the largest common limit on a quoted name that still fits; names
    // shorter than the limit stay whole.
    std::size_t low = 0;
    std::size_t high = longest;
    while (low < high) {
        std::size_t middle = low + (high - low + 1) / 2;
        if (join(middle).size() <= maxBytes) {
            low = middle;
        } else {
            high = middle - 1;
        }
    }
    return join(low);
}
