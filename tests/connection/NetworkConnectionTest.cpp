// Tests for the UDP network connection against a scripted peer, and for DNS-SD resolution.
#include <gtest/gtest.h>
#include <unistd.h>

#include "connection/DNSServiceResolver.h"
#include "connection/NetworkConnection.h"
#include "helpers/OutputCapture.h"
#include "helpers/TestUtil.h"
#include "helpers/UdpPeer.h"
#include "protocol/Protocol.h"
#include "support/TempLog.h"

using namespace cfftest;

namespace {

// A protocol that only names the port a connection should use.
struct PortProtocol : Protocol {
    explicit PortProtocol(int port) : Protocol(nullptr) { setProtocolPort(port); }
    int doRequest(Data*, Data&) override { return -1; }
};

TEST(NetworkConnection, TakesHostFromUriAndOpensOnlyAUsableOne) {
    struct {
        const char *uri, *host;
        int open;  // doOpen's result; 10: unusable
    } cases[] = {
        {"socket://127.0.0.1:9/queue", "127.0.0.1", 0},  // port and path ignored
        {"127.0.0.1:161", "127.0.0.1", 0},
        {"dnssd://My%20Printer._printer._tcp/?uuid=1", "My%20Printer._printer._tcp", 10},
        {"socket://bad host name/", "bad host name", 10},
        {"socket:///", "", 10},
    };
    PortProtocol protocol(9);  // discard: nobody listens
    Data request(std::string("x"));
    for (const auto& c : cases) {
        NetworkConnection connection(c.uri, {});
        EXPECT_EQ(connection.getHostAddress(), c.host) << c.uri;
        connection.setProtocol(&protocol);
        EXPECT_EQ(connection.doOpen(), c.open) << c.uri;
        EXPECT_EQ(connection.doWrite(&request), c.open == 0 ? 0 : -1) << c.uri;
    }
    NetworkConnection withoutProtocol("socket://127.0.0.1/", {});
    EXPECT_EQ(withoutProtocol.doOpen(), 10);
}

TEST(NetworkConnection, ExchangesDatagramsOnTheProtocolPortShortensWaitsAndCutsLongOnes) {
    NetworkConnection::setReadGraceMicroseconds(50000);  // the fixed part of every read wait
    std::string longAnswer(7000, 'L');
    longAnswer.replace(6140, 8, "ABCDEFGH");
    UdpPeer peer(UdpPeer::Replies{{}, {"one", "two"}, {longAnswer}});
    ASSERT_TRUE(peer.ok());
    PortProtocol protocol(peer.port());
    NetworkConnection connection("socket://127.0.0.1:9/", {});  // the URI's port is not used
    connection.setProtocol(&protocol);
    Data request(std::string("request")), answer;
    EXPECT_EQ(connection.doRead(answer), -1);  // not open
    ASSERT_EQ(connection.doOpen(), 0);

    // The first wait is the whole seconds of the time-out plus the fixed part.
    connection.setTimeoutVal(0.9);
    ASSERT_EQ(connection.doWrite(&request), 0);
    auto start = now();
    EXPECT_EQ(connection.doRead(answer), -1);
    EXPECT_LT(secondsSince(start), 0.6);
    EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.9);

    connection.setTimeoutVal(2.0);
    ASSERT_EQ(connection.doWrite(&request), 0);
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), "one");
    EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.0);
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), "two");
    // Nothing more: the wait is now only the fixed part, the answer left as it was.
    start = now();
    EXPECT_EQ(connection.doRead(answer), -1);
    EXPECT_GE(secondsSince(start), 0.04);
    EXPECT_LT(secondsSince(start), 0.5);
    EXPECT_EQ(text(answer), "two");

    // Reopening keeps the shortened time-out; a longer datagram is cut to the buffer.
    EXPECT_EQ(connection.doClose(), 0);
    EXPECT_EQ(connection.doClose(), -1);
    EXPECT_EQ(connection.doWrite(&request), -1);
    ASSERT_EQ(connection.doOpen(), 0);
    EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.0);
    connection.setTimeoutVal(2.0);
    ASSERT_EQ(connection.doWrite(&request), 0);
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), longAnswer.substr(0, 6144));
    EXPECT_EQ(peer.received(), std::vector<std::string>(3, "request"));
    NetworkConnection::setReadGraceMicroseconds(250000);
}

// A late datagram still counts for a quarter of a second after the whole seconds run out.
TEST(NetworkReadWait, SilentPeerIsGivenTheWholeSecondsAndAQuarterOfASecond) {
    UdpPeer peer(UdpPeer::Replies{{}});
    ASSERT_TRUE(peer.ok());
    PortProtocol protocol(peer.port());
    NetworkConnection connection("socket://127.0.0.1:9/", {});
    connection.setProtocol(&protocol);
    ASSERT_EQ(connection.doOpen(), 0);
    Data request(std::string("request")), answer;
    connection.setTimeoutVal(0.9);  // no whole second
    ASSERT_EQ(connection.doWrite(&request), 0);
    auto start = now();
    EXPECT_EQ(connection.doRead(answer), -1);
    double waited = secondsSince(start);
    EXPECT_GE(waited, 0.24);
    EXPECT_LT(waited, 0.6);
}

TEST(DNSServiceResolver, SplitsInstanceIntoNameTypeAndDomain) {
    struct {
        std::string instance, parts;  // "name result|type result|domain result"
    } cases[] = {
        {"A\\.B._ipp._tcp.local.", "A\\.B 0|_ipp._tcp 0|local. 0"},
        {"Laser_5._ipp._tcp.example.com.", "Laser_5 0|_ipp._tcp 0|com. 0"},
        {"Printer._ipp._tcp", "Printer 0|_ipp._tcp -1|_tcp 0"},
        {"Printer", "Printer -1| -1| -1"},
    };
    TempLog log;
    OutputCapture err(2);
    log.enable();
    DNSServiceResolver resolver;
    for (const auto& c : cases) {
        std::string name = "stale", type = "stale", domain = "stale";
        int n = resolver.resolveServiceName(c.instance, name), t = resolver.resolveServiceType(c.instance, type);
        int d = resolver.resolveServiceDomainName(c.instance, domain);
        EXPECT_EQ(name + " " + std::to_string(n) + "|" + type + " " + std::to_string(t) + "|" + domain + " " +
                      std::to_string(d),
                  c.parts);
    }
    EXPECT_NE(log.log().find("Service Type =\n"), std::string::npos) << "a missing part is logged too";
    EXPECT_EQ(resolver.replaceCharacters("%20A%20%20B%2%200"), " A  B%2 0");
}

// A name nobody publishes, without a daemon and, rerun inside avahi-namespace.sh, with one that
// would answer only after about 5 s. A published name resolves in the whole-program run
// NetworkAutoConfigure.ServiceDiscoveryQueueAsksTheResolvedHost.
TEST(DnsSd, UnresolvedNameKeepsTheHostQuietlyWithinTheBoundWithOrWithoutDaemon) {
    const bool inside = std::getenv("CFF_AVAHI_NAMESPACE") != nullptr;
    OutputCapture err(2);  // what the DNS-SD library says must not reach the spooler
    DNSServiceResolver resolver;
    resolver.setTimeoutVal(1.0);
    auto start = now();
    NetworkConnection unresolved("dnssd://Nobody._pdl-datastream._tcp.local./", {{"dnssd", &resolver}});
    EXPECT_EQ(unresolved.getHostAddress(), "Nobody._pdl-datastream._tcp.local.");
    EXPECT_GE(secondsSince(start), inside ? 0.9 : 0.0);
    EXPECT_LT(secondsSince(start), 2.0);
    EXPECT_EQ(err.text(), "");
    if (inside) return;

    if (geteuid() != 0 || std::system("unshare -n -m -p -f true >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "cannot create private network, mount and PID namespaces";
    }
    rerunCurrentTest("unshare -n -m -p -f bash " CFF_SOURCE_DIR "/tests/connection/avahi-namespace.sh 9300");
}

}  // namespace
