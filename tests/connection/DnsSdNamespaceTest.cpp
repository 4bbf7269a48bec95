// Tests for DNS-SD resolution against a real mDNS daemon in a private network namespace.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "connection/ConnectionFactory.h"
#include "connection/DNSServiceResolver.h"
#include "connection/NetworkConnection.h"
#include "helpers/OutputCapture.h"
#include "helpers/TestUtil.h"
#include "helpers/UdpPeer.h"

namespace {

const int kServicePort = 9300;

// The part that runs inside the namespace set up by avahi-namespace.sh.
void resolveAndExchangeInsideNamespace() {
    int port = std::atoi(std::getenv("CFF_AVAHI_PORT"));
    cfftest::UdpPeer printer(cfftest::UdpPeer::Replies{{"pong"}}, "10.77.0.1", port);
    ASSERT_TRUE(printer.ok());

    // What the DNS-SD library prints (it refuses the force-multicast flag) must not reach
    // the spooler.
    OutputCapture err(2);
    std::unique_ptr<Connection> connection(ConnectionFactory::createConnection(
        EXEC_FILTER, "dnssd://CFF%20Test%20Printer._pdl-datastream._tcp.local./?uuid=1",
        REQ_INSTALLABLE_OPTIONS));
    EXPECT_EQ(err.text(), "") << "the DNS-SD library wrote to standard error";

    auto* network = dynamic_cast<NetworkConnection*>(connection.get());
    ASSERT_NE(network, nullptr);
    EXPECT_EQ(network->getHostAddress(), "10.77.0.1");

    cfftest::PortProtocol protocol(port);
    network->setProtocol(&protocol);
    NetworkConnection::setReadGraceMicroseconds(50000);
    network->setTimeoutVal(2.0);
    ASSERT_EQ(network->doOpen(), 0);
    Data request(std::string("ping"));
    ASSERT_EQ(network->doWrite(&request), 0);
    Data answer;
    ASSERT_EQ(network->doRead(answer), 0);
    EXPECT_EQ(cfftest::text(answer), "pong");
    EXPECT_EQ(printer.received(), std::vector<std::string>{"ping"});
    NetworkConnection::setReadGraceMicroseconds(250000);

    // A name nobody publishes: the daemon would answer only after about 5 s.
    DNSServiceResolver resolver;
    resolver.setTimeoutVal(1.0);
    auto start = std::chrono::steady_clock::now();
    NetworkConnection unresolved("dnssd://Nobody._pdl-datastream._tcp.local./", {{"dnssd", &resolver}});
    double waited = cfftest::secondsSince(start);
    EXPECT_EQ(unresolved.getHostAddress(), "Nobody._pdl-datastream._tcp.local.");
    EXPECT_GE(waited, 0.9);
    EXPECT_LT(waited, 2.0);
}

}  // namespace

TEST(DnsSdNamespace, ResolvesPublishedServiceAndReachesIt) {
    if (std::getenv("CFF_AVAHI_NAMESPACE") != nullptr) {
        resolveAndExchangeInsideNamespace();
        return;
    }
    if (geteuid() != 0) {
        GTEST_SKIP() << "private network namespaces need root";
    }
    if (std::system("unshare -n -m -p -f true >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "cannot create private network, mount and PID namespaces";
    }
    std::string command = std::string("unshare -n -m -p -f bash ") + CFF_SOURCE_DIR +
                          "/tests/connection/avahi-namespace.sh " + std::to_string(kServicePort) + " " +
                          cfftest::selfPath() +
                          " --gtest_filter=DnsSdNamespace.ResolvesPublishedServiceAndReachesIt 2>&1";
    std::string output;
    int status = cfftest::runCommand(command, output);
    int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (code == 77) {
        GTEST_SKIP() << output;
    }
    EXPECT_EQ(code, 0) << output;
    EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
}
