// URLResolver: turns a service instance name from a device URI into a host name.
#include "connection/URLResolver.h"

#include "support/Logger.h"

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
    while (dot != std::string::npos && dot > 0 && uri[dot - 1] == '\\') {
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
