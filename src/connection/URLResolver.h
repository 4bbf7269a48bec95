// URLResolver: turns a service instance name from a device URI into a host name.
#pragma once

#include <map>
#include <string>

class URLResolver {
public:
    URLResolver();
    virtual ~URLResolver();

    // Resolves |serviceInstance|; 0 on success, after which getHostName() holds the host.
    virtual int resolveService(std::string serviceInstance) = 0;

    // |text| with every key of the replacement map replaced by its value.
    std::string replaceCharacters(std::string text);
    // The service name: everything before the first "." not escaped by a backslash
    // ("\." or, percent-encoded, "%5C.").
    int resolveServiceName(const std::string& uri, std::string& name);
    // The service type, e.g. "_pdl-datastream._tcp".
    int resolveServiceType(const std::string& uri, std::string& type);
    // The domain, e.g. "local." (with its final dot).
    int resolveServiceDomainName(const std::string& uri, std::string& domain);

    // |text| with every "%XX" (two hexadecimal digits) replaced by the byte it stands for.
    static std::string percentDecode(const std::string& text);
    // A service instance name as DNS-SD writes it in a full name ("\." for a dot, "\\"
    // for a backslash, "\DDD" for any byte) turned into the name itself.
    static std::string unescapeInstanceName(const std::string& name);

    std::string getHostName() const { return hostName_; }
    void setHostName(std::string hostName) { hostName_ = std::move(hostName); }

    // Longest wait for an answer during resolveService, in seconds; 5.0 by default,
    // the same as a connection's read time-out.
    double getTimeoutVal() const { return timeout_; }
    void setTimeoutVal(double seconds) { timeout_ = seconds; }

protected:
    std::map<std::string, std::string> replacements_;

private:
    std::string hostName_;
    double timeout_ = 5.0;
};
