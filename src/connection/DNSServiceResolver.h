// DNSServiceResolver: resolves a DNS-SD service instance name to an IP address.
#pragma once

#include <dns_sd.h>

#include <string>

#include "connection/URLResolver.h"

class DNSServiceResolver : public URLResolver {
public:
    DNSServiceResolver();
    ~DNSServiceResolver() override;

    // Resolves an instance such as "My%20Printer._pdl-datastream._tcp.local."; 0 when a
    // reply named a host (then in getHostName()), -1 otherwise. Waits at most
    // getTimeoutVal() seconds for the reply.
    int resolveService(std::string serviceInstance) override;

    // Reply callback of DNSServiceResolve; |context| is the resolver that asked.
    static void DNSSD_API DNSServiceResolveReplyCallBack(DNSServiceRef serviceRef,
                                                         DNSServiceFlags flags,
                                                         uint32_t interfaceIndex,
                                                         DNSServiceErrorType errorCode,
                                                         const char* fullName,
                                                         const char* hostTarget,
                                                         uint16_t port, uint16_t txtLength,
                                                         const unsigned char* txtRecord,
                                                         void* context);

private:
    enum ReplyState { kReplyPending, kReplyResolved, kReplyFailed };

    // Starts the resolve request; the DNS-SD status.
    DNSServiceErrorType startResolve(DNSServiceRef* serviceRef, const std::string& name,
                                     const std::string& type, const std::string& domain);
    // Processes replies until the callback ran or the time-out passed.
    void waitForReply(DNSServiceRef serviceRef);

    ReplyState replyState_ = kReplyPending;
};
