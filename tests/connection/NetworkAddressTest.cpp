// Tests of whom the network connection talks to: the printer's address only, IPv6, several addresses.
#include <gtest/gtest.h>
#include <netdb.h>

#include <future>
#include <vector>

#include "connection/NetworkConnection.h"
#include "helpers/TestUtil.h"
#include "helpers/UdpPeer.h"
#include "protocol/Protocol.h"

using namespace cfftest;

namespace {

// The test runs again in private network and mount namespaces: loopback up (127.0.0.0/8 and
// ::1), and an /etc/hosts that names "cff-dual" with ::1 first and 127.0.0.1 second.
#define RUN_IN_PRIVATE_NETWORK_WITH_HOSTS()                                                               \
    if (!std::getenv("CFF_PRIVATE_NETWORK")) {                                                            \
        return rerunCurrentTest(                                                                          \
            "unshare -n -m true 2>/dev/null || { echo no private namespaces; exit 77; }; "                \
            "CFF_PRIVATE_NETWORK=1 unshare -n -m --propagation private sh -c 'ip link set lo up || exit 77; " \
            "h=$(mktemp) && printf \"::1 cff-dual\\n127.0.0.1 cff-dual\\n\" >$h && mount --bind $h /etc/hosts " \
            "&& rm -f $h || exit 77; exec \"$0\" \"$@\"'");                                              \
    }

struct PortProtocol : Protocol {
    explicit PortProtocol(int port) : Protocol(nullptr) { setProtocolPort(port); }
    int doRequest(Data*, Data&) override { return -1; }
};

// Waits up to 3 s until |peer| has received |count| datagrams.
void awaitDatagrams(const UdpPeer& peer, size_t count) {
    for (int waited = 0; waited < 300 && peer.received().size() < count; ++waited) usleep(10000);
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
        UdpPeer printer, otherPort, stranger({}, "127.0.0.2");
        const UdpPeer* from[] = {&printer, &otherPort, &stranger};
        ASSERT_TRUE(printer.ok() && otherPort.ok() && stranger.ok());
        PortProtocol protocol(printer.port());
        NetworkConnection connection("socket://127.0.0.1/", {});
        connection.setProtocol(&protocol);
        connection.setTimeoutVal(0.0);
        Data request(std::string("request")), answer, ack(std::string("ack"));
        ASSERT_EQ(connection.doOpen(), 0);
        ASSERT_EQ(connection.doWrite(&request), 0);
        awaitDatagrams(printer, 1);
        for (const auto& [sender, datagram] : c.replies) from[sender]->sendToSenderOf(printer, datagram);
        auto strangers = std::async(std::launch::async, [&] {
            for (int n = 0; n < c.strangerRepeats; ++n, usleep(50000)) stranger.sendToSenderOf(printer, "forged");
        });
        auto start = now();
        EXPECT_EQ(connection.doRead(answer), c.answer ? 0 : -1);
        EXPECT_LT(secondsSince(start), 1.0);
        EXPECT_EQ(text(answer), c.answer ? c.answer : "");
        strangers.wait();
        ASSERT_EQ(connection.doWrite(&ack), 0);
        awaitDatagrams(*from[c.acked], c.acked == kPrinter ? 2 : 1);
        EXPECT_EQ(printer.received().back(), c.acked == kPrinter ? "ack" : "request");
        EXPECT_EQ(otherPort.received(), std::vector<std::string>(c.acked == kOtherPort, "ack"));
    }
    NetworkConnection::setReadGraceMicroseconds(250000);
}

TEST(NetworkAddresses, HostIsTheIpv6LiteralBetweenTheBrackets) {
    const std::pair<const char*, const char*> cases[] = {
        {"socket://[::1]:9100/", "::1"},
        {"socket://[fe80::1%eth0]/", "fe80::1%eth0"},
        {"socket://[fe80::1%25eth0]:161", "fe80::1%eth0"},  // the zone as URIs encode it
        {"snmp://[2001:db8::5]", "2001:db8::5"},
        {"socket://10.0.0.5:9100/", "10.0.0.5"},
    };
    for (const auto& [uri, host] : cases) EXPECT_EQ(NetworkConnection(uri, {}).getHostAddress(), host) << uri;
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
        UdpPeer printer({{"answer"}}, listening);
        ASSERT_TRUE(printer.ok());
        PortProtocol protocol(printer.port());
        NetworkConnection connection(uri, {});
        connection.setProtocol(&protocol);
        connection.setTimeoutVal(3.0);
        Data request(std::string("request")), answer;
        ASSERT_EQ(connection.doOpen(), 0);
        ASSERT_EQ(connection.doWrite(&request), 0);
        auto start = now();
        ASSERT_EQ(connection.doRead(answer), 0);
        EXPECT_LT(secondsSince(start), 1.0);  // a refusal is not waited out
        EXPECT_EQ(text(answer), "answer");
        EXPECT_EQ(printer.received(), std::vector<std::string>{"request"});
    }
}

}  // namespace
