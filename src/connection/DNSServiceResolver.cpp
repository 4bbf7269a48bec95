// DNSServiceResolver: resolves a DNS-SD service instance name to an IP address.
#include "connection/DNSServiceResolver.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "support/Logger.h"

namespace {

// Keeps the DNS-SD library's own warnings off standard error, which the spooler reads
// as status lines, while |function| runs.
template <typename Function>
DNSServiceErrorType withQuietStderr(Function function) {
    std::fflush(stderr);
    int saved = fcntl(2, F_DUPFD_CLOEXEC, 10);
    int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (saved >= 0 && devNull >= 0) {
        dup2(devNull, 2);
    }
    DNSServiceErrorType status = function();
    if (saved >= 0 && devNull >= 0) {
        dup2(saved, 2);
    }
    if (devNull >= 0) {
        close(devNull);
    }
    if (saved >= 0) {
        close(saved);
    }
    return status;
}

}  // namespace

DNSServiceResolver::DNSServiceResolver() { replacements_["%20"] = " "; }

DNSServiceResolver::~DNSServiceResolver() = default;

// Returns 0 when the instance resolved to a host name, -1 otherwise.
int DNSServiceResolver::resolveService(std::string serviceInstance) {
    Logger logger("DNSServiceResolver", "resolveService");
    try {
        if (serviceInstance.empty()) {
            return -1;
        }
        // The spooler writes the instance percent-encoded ("Laser%20%40%20office", a dot in
        // the name as "%5C." or "\\.", UTF-8 as "%C3%BC"): the parts are found first, so
        // that nothing decoded can split them, then decoded, and the name loses its DNS-SD
        // escapes, as the resolver wants the name itself.
        std::string name;
        std::string type;
        std::string domain;
        resolveServiceName(serviceInstance, name);
        resolveServiceType(serviceInstance, type);
        resolveServiceDomainName(serviceInstance, domain);
        name = unescapeInstanceName(percentDecode(name));
        type = percentDecode(type);
        domain = percentDecode(domain);
        logger.Log("Modified URI=%s, Service Name=%s, Service Type=%s, Domain=%s",
                   serviceInstance.c_str(), name.c_str(), type.c_str(), domain.c_str());
        if (name.empty() || type.empty()) {
            return -1;
        }

        DNSServiceRef serviceRef = nullptr;
        DNSServiceErrorType status = startResolve(&serviceRef, name, type, domain);
        if (status != kDNSServiceErr_NoError || serviceRef == nullptr) {
            return -1;
        }
        logger.Log("DNSServiceResolve Call =%s", "Success");
        waitForReply(serviceRef);
        return replyState_ == kReplyResolved ? 0 : -1;
    } catch (const std::exception& error) {
        logger.Log("Resolution failed: %s", error.what());
        return -1;
    }
}

// Sends the resolve request: forced multicast first, then without flags for DNS-SD
// libraries that refuse that flag.
DNSServiceErrorType DNSServiceResolver::startResolve(DNSServiceRef* serviceRef,
                                                     const std::string& name,
                                                     const std::string& type,
                                                     const std::string& domain) {
    // Only silences the library's "compatibility layer" notice; must be set before its first call.
    setenv("AVAHI_COMPAT_NOWARN", "1", 0);
    replyState_ = kReplyPending;
    const char* domainText = domain.empty() ? nullptr : domain.c_str();
    return withQuietStderr([&]() {
        DNSServiceErrorType status = DNSServiceResolve(
            serviceRef, kDNSServiceFlagsForceMulticast, 0, name.c_str(), type.c_str(), domainText,
            &DNSServiceResolver::DNSServiceResolveReplyCallBack, this);
        // The Avahi compatibility library answers the force-multicast flag with
        // kDNSServiceErr_Unsupported; resolving without it gives the same multicast lookup.
        if (status == kDNSServiceErr_Unsupported) {
            *serviceRef = nullptr;
            status = DNSServiceResolve(serviceRef, 0, 0, name.c_str(), type.c_str(), domainText,
                                       &DNSServiceResolver::DNSServiceResolveReplyCallBack, this);
        }
        return status;
    });
}

// Calls DNSServiceProcessResult whenever the reply socket is readable, until the callback
// has run (it releases the reference) or the time-out has passed (the reference is
// released here and the host stays unresolved).
void DNSServiceResolver::waitForReply(DNSServiceRef serviceRef) {
    Logger logger("DNSServiceResolver", "waitForReply");
    using Clock = std::chrono::steady_clock;
    double limit = getTimeoutVal() > 0.0 ? getTimeoutVal() : 0.0;
    if (limit > 86400.0) {
        limit = 86400.0;
    }
    Clock::time_point deadline =
        Clock::now() + std::chrono::microseconds(static_cast<long long>(limit * 1e6));
    int fd = DNSServiceRefSockFD(serviceRef);
    bool usable = fd >= 0 && fd < FD_SETSIZE;
    if (!usable) {
        logger.Log("Unusable DNS-SD descriptor %d", fd);
    }
    while (usable && replyState_ == kReplyPending) {
        auto remaining =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
        if (remaining <= 0) {
            logger.Log("%s", "No resolve reply before the time-out");
            break;
        }
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        struct timeval wait;
        wait.tv_sec = static_cast<time_t>(remaining / 1000000);
        wait.tv_usec = static_cast<suseconds_t>(remaining % 1000000);
        int ready = select(fd + 1, &readable, nullptr, nullptr, &wait);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready < 0) {
            logger.Log("select on the DNS-SD descriptor failed: %s", std::strerror(errno));
            break;
        }
        if (ready == 0) {
            continue;
        }
        DNSServiceErrorType status = DNSServiceProcessResult(serviceRef);
        if (status != kDNSServiceErr_NoError) {
            logger.Log("DNSServiceProcessResult status = %d", static_cast<int>(status));
            break;
        }
    }
    if (replyState_ == kReplyPending) {
        replyState_ = kReplyFailed;
        DNSServiceRefDeallocate(serviceRef);
    }
}

// Stores the reply's host in the resolver: the first IPv4 address the host target
// resolves to, or the host target itself when it does not resolve. Releases the reference.
void DNSSD_API DNSServiceResolver::DNSServiceResolveReplyCallBack(
    DNSServiceRef serviceRef, DNSServiceFlags /*flags*/, uint32_t /*interfaceIndex*/,
    DNSServiceErrorType errorCode, const char* /*fullName*/, const char* hostTarget,
    uint16_t /*port*/, uint16_t /*txtLength*/, const unsigned char* /*txtRecord*/,
    void* context) {
    Logger logger("DNSServiceResolver", "DNSServiceResolveReplyCallBack");
    if (serviceRef == nullptr) {
        return;
    }
    logger.Log("DNSServiceRef %s", "Not NULL");
    if (context == nullptr) {
        DNSServiceRefDeallocate(serviceRef);
        return;
    }
    logger.Log("context %s", "Not NULL");
    auto* resolver = static_cast<DNSServiceResolver*>(context);
    // The reference is released by the first reply; later ones must not release it again.
    if (resolver->replyState_ != kReplyPending) {
        return;
    }
    try {
        // Error replies carry no host target.
        if (hostTarget == nullptr || hostTarget[0] == '\0') {
            logger.Log("Resolve reply without host, error = %d", static_cast<int>(errorCode));
            resolver->replyState_ = kReplyFailed;
            DNSServiceRefDeallocate(serviceRef);
            return;
        }
        std::string hostName = hostTarget;
        logger.Log("Host Name =%s", hostName.c_str());
        struct hostent* host = gethostbyname(hostTarget);
        if (host != nullptr && host->h_addrtype == AF_INET &&
            host->h_length == static_cast<int>(sizeof(struct in_addr)) &&
            host->h_addr_list != nullptr) {
            bool found = false;
            for (char** address = host->h_addr_list; *address != nullptr; ++address) {
                struct in_addr ipv4;
                std::memcpy(&ipv4, *address, sizeof(ipv4));
                const char* text = inet_ntoa(ipv4);
                logger.Log("IP Address = %s", text != nullptr ? text : "");
                if (!found && text != nullptr && text[0] != '\0') {
                    hostName = text;
                    found = true;
                    logger.Log("Resolved IP Address = %s", hostName.c_str());
                }
            }
        }
        logger.Log("Setting Host Name = %s", hostName.c_str());
        resolver->setHostName(hostName);
        resolver->replyState_ = kReplyResolved;
    } catch (const std::exception& error) {
        logger.Log("Resolve reply not handled: %s", error.what());
        resolver->replyState_ = kReplyFailed;
    }
    DNSServiceRefDeallocate(serviceRef);
}
