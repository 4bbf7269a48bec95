// Tests of whom the network connection talks to: the printer's address only, IPv6, several addresses.
#include <gtest/gtest.h>
#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "connection/NetworkConnection.h"
#include "helpers/TestUtil.h"
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

// A UDP socket bound to |address| (IPv4 or IPv6 text) and port 0; -1 on failure.
int boundSocket(const std::string& address, int& port) {
    sockaddr_storage local{};
    socklen_t length;
    auto* v4 = reinterpret_cast<sockaddr_in*>(&local);
    auto* v6 = reinterpret_cast<sockaddr_in6*>(&local);
    if (inet_pton(AF_INET, address.c_str(), &v4->sin_addr) == 1) {
        v4->sin_family = AF_INET, length = sizeof(*v4);
    } else if (inet_pton(AF_INET6, address.c_str(), &v6->sin6_addr) == 1) {
        v6->sin6_family = AF_INET6, length = sizeof(*v6);
    } else {
        return -1;
    }
    int fd = socket(local.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&local), length) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length) != 0) {
        if (fd >= 0) close(fd);
        return -1;
    }
    port = ntohs(local.ss_family == AF_INET ? v4->sin_port : v6->sin6_port);
    return fd;
}

// A printer at |address| that answers its first request with scripted datagrams: from its own
// socket, from a second socket of its address (another port), or from a stranger at 127.0.0.2.
// It records what its two sockets receive, as "main:TEXT" or "other:TEXT".
class ScriptedPrinter {
public:
    enum From { kPrinter, kOtherPort, kStranger };
    struct Reply {
        From from;
        std::string text;
        int repeat = 1, everyMs = 0;
    };

    ScriptedPrinter(const std::string& address, std::vector<Reply> replies) {
        int ignored;
        sockets_[kPrinter] = boundSocket(address, port_);
        sockets_[kOtherPort] = boundSocket(address, ignored);
        sockets_[kStranger] = address.find(':') == std::string::npos ? boundSocket("127.0.0.2", ignored) : -1;
        if (!ok()) return;
        thread_ = std::thread([this, replies = std::move(replies)] { serve(replies); });
    }
    ~ScriptedPrinter() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
        for (int fd : sockets_) if (fd >= 0) close(fd);
    }
    bool ok() const { return sockets_[kPrinter] >= 0 && sockets_[kOtherPort] >= 0; }
    int port() const { return port_; }
    std::vector<std::string> received() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return received_;
    }

private:
    void serve(const std::vector<Reply>& replies) {
        bool answered = false;
        while (!stop_) {
            pollfd fds[2] = {{sockets_[kPrinter], POLLIN, 0}, {sockets_[kOtherPort], POLLIN, 0}};
            if (poll(fds, 2, 20) <= 0) continue;
            for (int i = 0; i < 2; ++i) {
                if (!(fds[i].revents & POLLIN)) continue;
                char buffer[2048];
                sockaddr_storage sender;
                socklen_t length = sizeof(sender);
                ssize_t count = recvfrom(fds[i].fd, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&sender), &length);
                if (count < 0) continue;
                {
                    std::lock_guard<std::mutex> lock(mutex_);
                    received_.push_back((i == 0 ? "main:" : "other:") + std::string(buffer, size_t(count)));
                }
                if (i != 0 || std::exchange(answered, true)) continue;
                for (const Reply& reply : replies) {
                    for (int n = 0; n < reply.repeat && !stop_; ++n) {
                        if (n > 0) std::this_thread::sleep_for(std::chrono::milliseconds(reply.everyMs));
                        sendto(sockets_[reply.from], reply.text.data(), reply.text.size(), 0,
                               reinterpret_cast<sockaddr*>(&sender), length);
                    }
                }
            }
        }
    }

    int sockets_[3] = {-1, -1, -1};
    int port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
    mutable std::mutex mutex_;
    std::vector<std::string> received_;
};

using P = ScriptedPrinter;

// Only datagrams from the printer's address are answers; the port they come from becomes the
// peer for the acknowledgement; datagrams from elsewhere do not lengthen the wait.
TEST(NetworkAnswers, OnlyThePrintersAddressIsHeardAndStrangersDoNotLengthenTheWait) {
    RUN_IN_PRIVATE_NETWORK_WITH_HOSTS();
    NetworkConnection::setReadGraceMicroseconds(300000);
    struct Case {
        const char* name;
        std::vector<P::Reply> replies;
        const char* answer;  // null: the read times out
        const char* ackedAt;
    } cases[] = {
        {"stranger first", {{P::kStranger, "forged"}, {P::kPrinter, "answer"}}, "answer", "main:ack"},
        {"printer answers from another port", {{P::kOtherPort, "answer"}}, "answer", "other:ack"},
        // Strangers every 50 ms for 1.5 s: a wait restarted by each would outlast them.
        {"only strangers", {{P::kStranger, "forged", 30, 50}}, nullptr, "main:ack"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedPrinter printer("127.0.0.1", c.replies);
        ASSERT_TRUE(printer.ok());
        PortProtocol protocol(printer.port());
        NetworkConnection connection("socket://127.0.0.1/", {});
        connection.setProtocol(&protocol);
        connection.setTimeoutVal(0.0);
        Data request(std::string("request")), answer, ack(std::string("ack"));
        ASSERT_EQ(connection.doOpen(), 0);
        ASSERT_EQ(connection.doWrite(&request), 0);
        auto start = now();
        EXPECT_EQ(connection.doRead(answer), c.answer ? 0 : -1);
        EXPECT_LT(secondsSince(start), 1.0);
        EXPECT_EQ(text(answer), c.answer ? c.answer : "");
        ASSERT_EQ(connection.doWrite(&ack), 0);
        for (int waited = 0; waited < 300 && printer.received().size() < 2; ++waited) usleep(10000);
        EXPECT_EQ(printer.received(), (std::vector<std::string>{"main:request", c.ackedAt}));
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
        ScriptedPrinter printer(listening, {{P::kPrinter, "answer"}});
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
        EXPECT_EQ(printer.received(), std::vector<std::string>{"main:request"});
    }
}

}  // namespace
