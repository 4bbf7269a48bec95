// Tests for the UDP network connection against scripted peers (whom it talks to and how long it
// waits), and for DNS-SD resolution of service instance names as a queue's device URI writes
// them: encoded, escaped, UTF-8.
#include <gtest/gtest.h>
#include <netdb.h>
#include <unistd.h>

#include <poll.h>

#include <future>
#include <vector>

#include "connection/DNSServiceResolver.h"
#include "connection/NetworkConnection.h"
#include "helpers/OutputCapture.h"
#include "helpers/TestUtil.h"
#include "helpers/FdSlot.h"
#include "protocol/Protocol.h"
#include "support/TempLog.h"

using namespace cfftest;

namespace {

// The test runs again in private network and mount namespaces (loopback up: 127.0.0.0/8 and
// ::1), with an /etc/hosts that names "cff-dual" with ::1 first and 127.0.0.1 second.
#define RUN_IN_PRIVATE_NETWORK_WITH_HOSTS()                                                         \
    RERUN_IN_PRIVATE_NETWORK("h=$(mktemp) && printf \"::1 cff-dual\\n127.0.0.1 cff-dual\\n\" >$h && " \
                             "mount --bind $h /etc/hosts && rm -f $h || exit 77;")

// A UDP socket on |address|, at a port the system chooses, that plays a printer or a stranger:
// it takes the datagrams sent to it and answers their sender.
struct UdpPeer {
    explicit UdpPeer(const char* address = "127.0.0.1") {
        addrinfo hints{}, *local = nullptr;
        hints.ai_flags = AI_NUMERICHOST, hints.ai_socktype = SOCK_DGRAM;
        if (getaddrinfo(address, "0", &hints, &local) != 0) return;
        fd = moveAboveTen(socket(local->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sockaddr_in6 bound{};  // the port lies at the same place in either family's address
        socklen_t length = sizeof(bound);
        if (bind(fd, local->ai_addr, local->ai_addrlen) == 0 && getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length) == 0) {
            port = ntohs(bound.sin6_port);
        }
        freeaddrinfo(local);
    }
    ~UdpPeer() { close(fd); }
    // The next datagram within |timeoutMs| ("" when none came); its sender is the one answered.
    std::string receive(int timeoutMs = 3000) {
        pollfd ready{fd, POLLIN, 0};
        std::vector<char> buffer(8192);
        socklen_t length = sizeof(sender);
        ssize_t count = poll(&ready, 1, timeoutMs) != 1 ? -1 :
            recvfrom(fd, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&sender), &length);
        return count < 0 ? "" : std::string(buffer.data(), static_cast<size_t>(count));
    }
    // Sends |datagram| to whoever last sent one to |to|.
    void answer(const std::string& datagram, const UdpPeer& to) const {
        sendto(fd, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&to.sender), sizeof(to.sender));
    }
    void answer(const std::string& datagram) const { answer(datagram, *this); }

    int fd = -1, port = 0;
    sockaddr_in6 sender{};
};

// A protocol that only names the port a connection should use.
struct PortProtocol : Protocol {
    explicit PortProtocol(int port) : Protocol(nullptr) { setProtocolPort(port); }
    int doRequest(Data*, Data&) override { return -1; }
};

TEST(NetworkConnection, TakesHostFromUriAndOpensOnlyAUsableOne) {
    struct {
        const char *uri, *host;
        int open;  // doOpen's result; 10: unusable; -1: not opened here
    } cases[] = {
        {"socket://127.0.0.1:9/queue", "127.0.0.1", 0},  // port and path ignored
        {"127.0.0.1:161", "127.0.0.1", 0},
        {"dnssd://My%20Printer._printer._tcp/?uuid=1", "My%20Printer._printer._tcp", 10},
        {"socket://bad host name/", "bad host name", 10},
        {"socket:///", "", 10},
        // An IPv6 literal is the text between the brackets; the zone as URIs encode it is decoded.
        {"socket://[::1]:9100/", "::1", -1},
        {"socket://[fe80::1%eth0]/", "fe80::1%eth0", -1},
        {"socket://[fe80::1%25eth0]:161", "fe80::1%eth0", -1},
        {"snmp://[2001:db8::5]", "2001:db8::5", -1},
    };
    PortProtocol protocol(9);  // discard: nobody listens
    Data request(std::string("x"));
    for (const auto& c : cases) {
        NetworkConnection connection(c.uri, {});
        EXPECT_EQ(connection.getHostAddress(), c.host) << c.uri;
        if (c.open < 0) continue;
        connection.setProtocol(&protocol);
        EXPECT_EQ(connection.doOpen(), c.open) << c.uri;
        EXPECT_EQ(connection.doWrite(&request), c.open == 0 ? 0 : -1) << c.uri;
    }
    NetworkConnection withoutProtocol("socket://127.0.0.1/", {});
    EXPECT_EQ(withoutProtocol.doOpen(), 10);
}

// The first wait is the whole seconds of the time-out plus a quarter of a second, in which a late
// datagram still counts; after an answer only that fixed part remains.
TEST(NetworkConnection, ExchangesDatagramsOnTheProtocolPortShortensWaitsAndCutsLongOnes) {
    std::string longAnswer(7000, 'L');
    longAnswer.replace(6140, 8, "ABCDEFGH");
    UdpPeer peer;
    ASSERT_NE(peer.port, 0);
    PortProtocol protocol(peer.port);
    NetworkConnection connection("socket://127.0.0.1:9/", {});  // the URI's port is not used
    connection.setProtocol(&protocol);
    Data request(std::string("request")), answer;
    EXPECT_EQ(connection.doRead(answer), -1);  // not open
    ASSERT_EQ(connection.doOpen(), 0);

    connection.setTimeoutVal(0.9);  // no whole second
    ASSERT_EQ(connection.doWrite(&request), 0);
    auto start = now();
    EXPECT_EQ(connection.doRead(answer), -1);
    EXPECT_GE(secondsSince(start), 0.24);
    EXPECT_LT(secondsSince(start), 0.6);
    EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.9);

    NetworkConnection::setReadGraceMicroseconds(50000);  // shorter waits for the rest

    connection.setTimeoutVal(2.0);
    ASSERT_EQ(connection.doWrite(&request), 0);
    EXPECT_EQ(peer.receive() + peer.receive(), "requestrequest");
    peer.answer("one"), peer.answer("two");
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
    EXPECT_EQ(peer.receive(), "request");
    peer.answer(longAnswer);
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), longAnswer.substr(0, 6144));
    NetworkConnection::setReadGraceMicroseconds(250000);
}

// Only datagrams from the printer's address are answers; the port they come from becomes the
// peer for the acknowledgement; datagrams from elsewhere do not lengthen the wait.
TEST(NetworkAnswers, OnlyThePrintersAddressIsHeardAndStrangersDoNotLengthenTheWait) {
    RUN_IN_PRIVATE_NETWORK_WITH_HOSTS();
    NetworkConnection::setReadGraceMicroseconds(300000);
    enum From { kPrinter, kOtherPort, kStranger };
    struct Case {
        const char* name;
        std::vector<std::pair<From, const char*>> replies;
        int strangerRepeats;  // forged datagrams every 50 ms while the connection waits
        const char* answer;   // null: the read times out
        From acked;
    } cases[] = {
        {"stranger first", {{kStranger, "forged"}, {kPrinter, "answer"}}, 0, "answer", kPrinter},
        {"printer answers from another port", {{kOtherPort, "answer"}}, 0, "answer", kOtherPort},
        // For 1.5 s: a wait restarted by each would outlast them.
        {"only strangers", {}, 30, nullptr, kPrinter},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        UdpPeer printer, otherPort, stranger("127.0.0.2");
        UdpPeer* from[] = {&printer, &otherPort, &stranger};
        ASSERT_TRUE(printer.port && otherPort.port && stranger.port);
        PortProtocol protocol(printer.port);
        NetworkConnection connection("socket://127.0.0.1/", {});
        connection.setProtocol(&protocol);
        connection.setTimeoutVal(0.0);
        Data request(std::string("request")), answer, ack(std::string("ack"));
        ASSERT_EQ(connection.doOpen(), 0);
        ASSERT_EQ(connection.doWrite(&request), 0);
        ASSERT_EQ(printer.receive(), "request");
        for (const auto& [sender, datagram] : c.replies) from[sender]->answer(datagram, printer);
        auto strangers = std::async(std::launch::async, [&] {
            for (int n = 0; n < c.strangerRepeats; ++n, usleep(50000)) stranger.answer("forged", printer);
        });
        auto start = now();
        EXPECT_EQ(connection.doRead(answer), c.answer ? 0 : -1);
        EXPECT_LT(secondsSince(start), 1.0);
        EXPECT_EQ(text(answer), c.answer ? c.answer : "");
        strangers.wait();
        ASSERT_EQ(connection.doWrite(&ack), 0);
        EXPECT_EQ(from[c.acked]->receive(), "ack");
        EXPECT_EQ(from[c.acked == kPrinter ? kOtherPort : kPrinter]->receive(100), "");
    }
    NetworkConnection::setReadGraceMicroseconds(250000);
}

// A printer only on ::1, reached by its literal and by a name whose first address is ::1; and
// a printer only on 127.0.0.1 behind a name whose first address, ::1, refuses the request.
TEST(NetworkAddresses, EachAddressOfTheHostIsTriedInLookupOrderUntilThePrinterAnswers) {
    RUN_IN_PRIVATE_NETWORK_WITH_HOSTS();
    addrinfo hints{}, *found = nullptr;
    hints.ai_socktype = SOCK_DGRAM;
    ASSERT_EQ(getaddrinfo("cff-dual", "9", &hints, &found), 0);
    std::vector<int> families;
    for (addrinfo* entry = found; entry; entry = entry->ai_next) families.push_back(entry->ai_family);
    freeaddrinfo(found);
    if (families != std::vector<int>{AF_INET6, AF_INET}) GTEST_SKIP() << "no IPv6 loopback, or another lookup order";

    const std::pair<const char*, const char*> cases[] = {
        {"::1", "socket://[::1]:9100/"}, {"::1", "socket://cff-dual/"}, {"127.0.0.1", "socket://cff-dual:9100/"}};
    for (const auto& [listening, uri] : cases) {
        SCOPED_TRACE(std::string(uri) + ", printer at " + listening);
        UdpPeer printer(listening);
        ASSERT_NE(printer.port, 0);
        PortProtocol protocol(printer.port);
        NetworkConnection connection(uri, {});
        connection.setProtocol(&protocol);
        connection.setTimeoutVal(3.0);
        Data request(std::string("request")), answer;
        // The request may reach the printer only once the read has seen an address refuse it.
        auto printerAnswers = std::async(std::launch::async, [&printer] {
            std::string request = printer.receive();
            printer.answer("answer");
            return request + printer.receive(500);
        });
        ASSERT_EQ(connection.doOpen(), 0);
        ASSERT_EQ(connection.doWrite(&request), 0);
        auto start = now();
        ASSERT_EQ(connection.doRead(answer), 0);
        EXPECT_LT(secondsSince(start), 1.0);  // a refusal is not waited out
        EXPECT_EQ(text(answer), "answer");
        EXPECT_EQ(printerAnswers.get(), "request");
    }
}

// The instance as the URI holds it splits into name, type and domain, each with its result; the
// name is split off before it is decoded and unescaped. Rows without "|" are "_ipp._tcp.local." ones.
TEST(DNSServiceResolver, SplitsInstanceIntoNameTypeAndDomainBeforeTheNameIsDecoded) {
    const std::pair<const char*, std::string> cases[] = {
        {"Laser_5._ipp._tcp.example.com.", "Laser_5 0|_ipp._tcp 0|com. 0"},
        {"Printer._ipp._tcp", "Printer 0|_ipp._tcp -1|_tcp 0"},
        {"Printer", "Printer -1| -1| -1"},
        {"A\\.B._ipp._tcp.local.", "A.B"},
        {"Laser%20%40%20office._ipp._tcp.local.", "Laser @ office"},
        {"Floor%202%5C.East._ipp._tcp.local.", "Floor 2.East"},
        {"Floor%202%5c.East._ipp._tcp.local.", "Floor 2.East"},
        {"Floor 2\\.East._ipp._tcp.local.", "Floor 2.East"},
        {"B%C3%BCro._ipp._tcp.local.", "B\xC3\xBC" "ro"},
        {"A%2EB._ipp._tcp.local.", "A.B"},  // a dot decoded only after the split stays in the name
        {"Back\\\\slash\\032and\\.dot._ipp._tcp.local.", "Back\\slash and.dot"},
        {"100%25%zz%4._ipp._tcp.local.", "100%%zz%4"},  // what is no escape stays as it is
    };
    TempLog log;
    OutputCapture err(2);
    log.enable();
    DNSServiceResolver resolver;
    for (const auto& [instance, parts] : cases) {
        std::string name = "stale", type = "stale", domain = "stale";
        int n = resolver.resolveServiceName(instance, name), t = resolver.resolveServiceType(instance, type);
        int d = resolver.resolveServiceDomainName(instance, domain);
        EXPECT_EQ(URLResolver::unescapeInstanceName(URLResolver::percentDecode(name)) + " " + std::to_string(n) + "|" +
                      type + " " + std::to_string(t) + "|" + domain + " " + std::to_string(d),
                  parts.find('|') == std::string::npos ? parts + " 0|_ipp._tcp 0|local. 0" : parts)
            << instance;
    }
    EXPECT_NE(log.log().find("Service Type =\n"), std::string::npos) << "a missing part is logged too";
    EXPECT_EQ(resolver.replaceCharacters("%20A%20%20B%2%200"), " A  B%2 0");
}

// Without a daemon, and rerun inside avahi-namespace.sh with one that would answer only after
// about 5 s, a name nobody publishes keeps the host quietly within the bound. Inside, names
// holding "@", a dot and "ü" resolve to the daemon's host, and so does the dot written unencoded.
TEST(DnsSd, PublishedNamesResolveAndOthersKeepTheHostQuietlyWithinTheBound) {
    const bool inside = std::getenv("CFF_AVAHI_NAMESPACE") != nullptr;
    OutputCapture err(2);  // what the DNS-SD library says must not reach the spooler
    DNSServiceResolver resolver;
    resolver.setTimeoutVal(1.0);
    auto start = now();
    NetworkConnection unresolved("dnssd://Nobody._pdl-datastream._tcp.local./", {{"dnssd", &resolver}});
    EXPECT_EQ(unresolved.getHostAddress(), "Nobody._pdl-datastream._tcp.local.");
    EXPECT_GE(secondsSince(start), inside ? 0.9 : 0.0);
    EXPECT_LT(secondsSince(start), 2.0);
    for (const char* uri : {"dnssd://Laser%20%40%20office._pdl-datastream._tcp.local./?uuid=1",
                            "dnssd://Floor%202%5C.East._pdl-datastream._tcp.local./",
                            "dnssd://Floor%202\\.East._pdl-datastream._tcp.local./",
                            "dnssd://B%C3%BCro%20Laser._pdl-datastream._tcp.local./"}) {
        if (!inside) break;
        DNSServiceResolver published;
        published.setTimeoutVal(3.0);
        EXPECT_EQ(NetworkConnection(uri, {{"dnssd", &published}}).getHostAddress(), "10.77.0.1") << uri;
    }
    EXPECT_EQ(err.text(), "");
    if (inside) return;

    if (geteuid() != 0 || std::system("unshare -n -m -p -f true >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "cannot create private network, mount and PID namespaces";
    }
    rerunCurrentTest("unshare -n -m -p -f bash " CFF_SOURCE_DIR "/tests/connection/avahi-namespace.sh 9300");
}

}  // namespace
