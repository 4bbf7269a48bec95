// DnsSdForwarders: the DNS-SD functions that resolving a dnssd:// address calls, loaded on first use.
#include <dns_sd.h>

#include "support/LazyLibrary.h"

namespace {
LazyLibrary& dnssd() {
    static LazyLibrary* library = new LazyLibrary({"libdns_sd.so.1", "libdns_sd.so"});
    return *library;
}
}  // namespace

// Without the library, a resolve fails as when no daemon runs.
CFF_LAZY_FORWARD(dnssd(), DNSServiceErrorType, DNSServiceResolve,
                 (DNSServiceRef * ref, DNSServiceFlags flags, uint32_t interfaceIndex, const char* name,
                  const char* regtype, const char* domain, DNSServiceResolveReply callBack, void* context),
                 (ref, flags, interfaceIndex, name, regtype, domain, callBack, context),
                 kDNSServiceErr_Unknown)
CFF_LAZY_FORWARD(dnssd(), int, DNSServiceRefSockFD, (DNSServiceRef ref), (ref), -1)
CFF_LAZY_FORWARD(dnssd(), DNSServiceErrorType, DNSServiceProcessResult, (DNSServiceRef ref), (ref),
                 kDNSServiceErr_Unknown)
CFF_LAZY_FORWARD_VOID(dnssd(), DNSServiceRefDeallocate, (DNSServiceRef ref), (ref))
