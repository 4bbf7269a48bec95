// URLResolver: turns a service instance name from a device URI into a host name.
// Placeholder: resolves nothing yet.
#include "connection/URLResolver.h"

URLResolver::URLResolver() = default;
URLResolver::~URLResolver() = default;
std::string URLResolver::replaceCharacters(std::string text) { return text; }
int URLResolver::resolveServiceName(const std::string&, std::string& name) {
    name.clear();
    return -1;
}
int URLResolver::resolveServiceType(const std::string&, std::string& type) {
    type.clear();
    return -1;
}
int URLResolver::resolveServiceDomainName(const std::string&, std::string& domain) {
    domain.clear();
    return -1;
}
