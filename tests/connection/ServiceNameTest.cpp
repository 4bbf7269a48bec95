// Tests of DNS-SD service instance names as a queue's device URI writes them: encoded, escaped, UTF-8.
#include <gtest/gtest.h>
#include <unistd.h>

#include "connection/DNSServiceResolver.h"
#include "connection/NetworkConnection.h"
#include "helpers/OutputCapture.h"
#include "helpers/TestUtil.h"

using namespace cfftest;

namespace {

// The name part as the resolver is given it, from the instance as the URI holds it.
TEST(ServiceNames, NameIsSplitOffBeforeItIsDecodedAndUnescaped) {
    const std::pair<const char*, const char*> cases[] = {
        {"Laser%20%40%20office._ipp._tcp.local.", "Laser @ office"},
        {"Floor%202%5C.East._ipp._tcp.local.", "Floor 2.East"},
        {"Floor%202%5c.East._ipp._tcp.local.", "Floor 2.East"},
        {"Floor 2\\.East._ipp._tcp.local.", "Floor 2.East"},
        {"B%C3%BCro._ipp._tcp.local.", "B\xC3\xBC" "ro"},
        {"A%2EB._ipp._tcp.local.", "A.B"},  // a dot decoded only after the split stays in the name
        {"Back\\\\slash\\032and\\.dot._ipp._tcp.local.", "Back\\slash and.dot"},
        {"100%25%zz%4._ipp._tcp.local.", "100%%zz%4"},  // what is no escape stays as it is
    };
    DNSServiceResolver resolver;
    for (const auto& [instance, expected] : cases) {
        std::string name;
        resolver.resolveServiceName(instance, name);
        EXPECT_EQ(URLResolver::unescapeInstanceName(URLResolver::percentDecode(name)), expected) << instance;
    }
}

// Names holding "@", a dot and "ü", published by the mDNS daemon of avahi-namespace.sh, resolve
// to its host; so does the dot written unencoded.
TEST(ServiceNames, EncodedNamesResolveThroughTheMdnsDaemon) {
    if (std::getenv("CFF_AVAHI_NAMESPACE") == nullptr) {
        if (geteuid() != 0 || std::system("unshare -n -m -p -f true >/dev/null 2>&1") != 0) {
            GTEST_SKIP() << "cannot create private network, mount and PID namespaces";
        }
        return rerunCurrentTest("unshare -n -m -p -f bash " CFF_SOURCE_DIR "/tests/connection/avahi-namespace.sh 9300");
    }
    OutputCapture err(2);
    for (const char* uri : {"dnssd://Laser%20%40%20office._pdl-datastream._tcp.local./?uuid=1",
                            "dnssd://Floor%202%5C.East._pdl-datastream._tcp.local./",
                            "dnssd://Floor%202\\.East._pdl-datastream._tcp.local./",
                            "dnssd://B%C3%BCro%20Laser._pdl-datastream._tcp.local./"}) {
        DNSServiceResolver resolver;
        resolver.setTimeoutVal(3.0);
        EXPECT_EQ(NetworkConnection(uri, {{"dnssd", &resolver}}).getHostAddress(), "10.77.0.1") << uri;
    }
    EXPECT_EQ(err.text(), "");
}

}  // namespace
