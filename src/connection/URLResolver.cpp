// URLResolver: turns a service instance name from a device URI into a host name.
#include "connection/URLResolver.h"

#include <cctype>
#include <strings.h>

#include "support/Logger.h"

namespace {

// The value of a hexadecimal digit, or -1.
int hexValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return -1;
}

// True when the "." at |dot| is escaped: a backslash, plain or percent-encoded, before it.
bool escapedDot(const std::string& text, size_t dot) {
    if (dot >= 1 && text[dot - 1] == '\\') {
        return true;
    }
    return dot >= 3 && strncasecmp(text.c_str() + dot - 3, "%5C", 3) == 0;
}

}  // namespace

URLResolver::URLResolver() = default;

URLResolver::~URLResolver() = default;

// Returns |text| with every non-empty key of the replacement map replaced by its value,
// scanning left to right and continuing after each inserted value.
std::string URLResolver::replaceCharacters(std::string text) {
    for (const auto& entry : replacements_) {
        const std::string& key = entry.first;
        if (key.empty()) {
            continue;
        }
        size_t position = 0;
        while ((position = text.find(key, position)) != std::string::npos) {
            text.replace(position, key.size(), entry.second);
            position += entry.second.size();
        }
    }
    return text;
}

// Returns 0 with the service name (text before the first unescaped "."), -1 when the
// text is empty or has no such dot (the name is then the whole text).
int URLResolver::resolveServiceName(const std::string& uri, std::string& name) {
    Logger logger("URLResolver", "resolveServiceName");
    logger.Log("Device URI =%s", uri.c_str());
    name.clear();
    if (uri.empty()) {
        return -1;
    }
    int result = -1;
    size_t dot = uri.find('.');
    while (dot != std::string::npos && escapedDot(uri, dot)) {
        dot = uri.find('.', dot + 1);
    }
    if (dot != std::string::npos) {
        name = uri.substr(0, dot);
        result = 0;
    } else {
        name = uri;
    }
    logger.Log("Service Name =%s", name.c_str());
    return result;
}

// Returns 0 with the service type (from the second-to-last "_" up to the next "."), -1
// when there is no "_" or no dot after the last one (the type then runs to the end).
int URLResolver::resolveServiceType(const std::string& uri, std::string& type) {
    Logger logger("URLResolver", "resolveServiceType");
    logger.Log("Device URI =%s", uri.c_str());
    type.clear();
    if (uri.empty()) {
        return -1;
    }
    size_t last = uri.rfind('_');
    if (last == std::string::npos) {
        logger.Log("Service Type =%s", type.c_str());
        return -1;
    }
    size_t previous = last > 0 ? uri.rfind('_', last - 1) : std::string::npos;
    if (previous == std::string::npos) {
        previous = last;
    }
    int result = -1;
    size_t dot = uri.find('.', last);
    if (dot != std::string::npos) {
        type = uri.substr(previous, dot - previous);
        result = 0;
    } else {
        type = uri.substr(previous);
    }
    logger.Log("Service Type =%s", type.c_str());
    return result;
}

// Returns 0 with the domain: the text after the last "." before the final character,
// so a trailing dot stays part of it ("local."); -1 when there is no such dot.
int URLResolver::resolveServiceDomainName(const std::string& uri, std::string& domain) {
    Logger logger("URLResolver", "resolveServiceDomainName");
    logger.Log("Device URI =%s", uri.c_str());
    domain.clear();
    if (uri.empty()) {
        return -1;
    }
    int result = -1;
    size_t dot = uri.size() < 2 ? std::string::npos : uri.rfind('.', uri.size() - 2);
    if (dot != std::string::npos) {
        domain = uri.substr(dot + 1);
        result = 0;
    }
    logger.Log("Domain Name =%s", domain.c_str());
    return result;
}

std::string URLResolver::percentDecode(const std::string& text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        int high = text[i] == '%' && i + 2 < text.size() ? hexValue(text[i + 1]) : -1;
        int low = high >= 0 ? hexValue(text[i + 2]) : -1;
        if (low >= 0) {
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            decoded += text[i];
        }
    }
    return decoded;
}

std::string URLResolver::unescapeInstanceName(const std::string& name) {
    std::string plain;
    plain.reserve(name.size());
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] != '\\' || i + 1 == name.size()) {
            plain += name[i];
            continue;
        }
        if (i + 3 < name.size() && std::isdigit(static_cast<unsigned char>(name[i + 1])) &&
            std::isdigit(static_cast<unsigned char>(name[i + 2])) &&
            std::isdigit(static_cast<unsigned char>(name[i + 3]))) {
            int value = (name[i + 1] - '0') * 100 + (name[i + 2] - '0') * 10 + (name[i + 3] - '0');
            if (value <= 255) {
                plain += static_cast<char>(value);
                i += 3;
                continue;
            }
        }
        plain += name[++i];
    }
    return plain;
}
