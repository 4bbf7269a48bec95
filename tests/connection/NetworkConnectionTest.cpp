// Tests for the UDP network connection against a scripted peer, and for DNS-SD resolution:
// without a daemon, and against a real mDNS daemon in a private network namespace.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "connection/DNSServiceResolver.h"
#include "connection/NetworkConnection.h"
#include "helpers/OutputCapture.h"
#include "helpers/TestUtil.h"
#include "helpers/UdpPeer.h"
#include "support/TempLog.h"

using cfftest::secondsSince;
using cfftest::text;
using cfftest::now;

// Shortens the fixed part of every read wait while it lives.
struct ShortGrace {
    ShortGrace() { NetworkConnection::setReadGraceMicroseconds(50000); }
    ~ShortGrace() { NetworkConnection::setReadGraceMicroseconds(250000); }
};

TEST(NetworkConnection, TakesHostFromUriAndOpensOnlyAUsableOne) {
    struct {
        const char *uri, *host;
        int open;
    } cases[] = {
        {"socket://127.0.0.1:9/queue", "127.0.0.1", 0},  // port and path ignored
        {"127.0.0.1:161", "127.0.0.1", 0},
        {"dnssd://My%20Printer._printer._tcp/?uuid=1", "My%20Printer._printer._tcp", 10},
        {"socket://bad host name/", "bad host name", 10},
        {"socket:///", "", 10},
    };
    cfftest::PortProtocol protocol(9);  // discard: nobody listens
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
    ShortGrace grace;
    std::string longAnswer(7000, 'L');
    longAnswer.replace(6140, 8, "ABCDEFGH");
    cfftest::UdpPeer peer(cfftest::UdpPeer::Replies{{}, {"one", "two"}, {longAnswer}});
    ASSERT_TRUE(peer.ok());
    cfftest::PortProtocol protocol(peer.port());
    NetworkConnection connection("socket://127.0.0.1:9/", {});  // the URI's port is not used
    connection.setProtocol(&protocol);
    Data request(std::string("request")), answer;
    EXPECT_EQ(connection.doRead(answer), -1);  // not open
    ASSERT_EQ(connection.doOpen(), 0);

    // The first wait is the whole seconds of the time-out plus a fixed fraction.
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
    // Nothing more: the wait is now only the fixed fraction, the answer left as it was.
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

// Outside the private namespace of the test below no DNS-SD daemon runs.
TEST(DNSServiceResolver, FailsQuietlyWithinItsBoundWithoutDaemonAndKeepsTheHost) {
    DNSServiceResolver resolver;
    resolver.setTimeoutVal(2.0);
    OutputCapture err(2);  // what the DNS-SD library says must not reach the spooler
    auto start = now();
    NetworkConnection connection("dnssd://My%20Printer._pdl-datastream._tcp.local./?uuid=1", {{"dnssd", &resolver}});
    EXPECT_LT(secondsSince(start), 2.5);
    EXPECT_EQ(err.text(), "");
    EXPECT_EQ(connection.getHostAddress(), "My%20Printer._pdl-datastream._tcp.local.");
}

// avahi-namespace.sh publishes the printer service and reruns this test inside the namespace.
TEST(DnsSdNamespace, ResolvesPublishedServiceAndBoundsTheWaitForOthers) {
    if (std::getenv("CFF_AVAHI_NAMESPACE") == nullptr) {
        if (geteuid() != 0 || std::system("unshare -n -m -p -f true >/dev/null 2>&1") != 0) {
            GTEST_SKIP() << "cannot create private network, mount and PID namespaces";
        }
        std::string output;
        int status = cfftest::runCommand("unshare -n -m -p -f bash " CFF_SOURCE_DIR "/tests/connection/avahi-namespace.sh 9300 " +
                                             cfftest::selfPath() + " --gtest_filter=DnsSdNamespace.* 2>&1",
                                         output);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 77) GTEST_SKIP() << output;
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << output;
        EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
        return;
    }
    DNSServiceResolver resolver;
    OutputCapture err(2);
    NetworkConnection published("dnssd://CFF%20Test%20Printer._pdl-datastream._tcp.local./?uuid=1", {{"dnssd", &resolver}});
    EXPECT_EQ(published.getHostAddress(), "10.77.0.1");
    EXPECT_EQ(err.text(), "");
    // A name nobody publishes: the daemon would answer only after about 5 s.
    DNSServiceResolver other;
    other.setTimeoutVal(1.0);
    auto start = now();
    NetworkConnection unresolved("dnssd://Nobody._pdl-datastream._tcp.local./", {{"dnssd", &other}});
    EXPECT_EQ(unresolved.getHostAddress(), "Nobody._pdl-datastream._tcp.local.");
    EXPECT_GE(secondsSince(start), 0.9);
    EXPECT_LT(secondsSince(start), 2.0);
}
