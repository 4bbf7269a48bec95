// Tests for the UDP network connection against a scripted peer on the loopback address.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "connection/NetworkConnection.h"
#include "helpers/TestUtil.h"
#include "helpers/UdpPeer.h"

namespace {

using cfftest::PortProtocol;
using cfftest::secondsSince;
using cfftest::text;

// Every test shortens the fixed part of the read wait and restores it.
class NetworkConnectionTest : public ::testing::Test {
protected:
    void SetUp() override { NetworkConnection::setReadGraceMicroseconds(50000); }
    void TearDown() override { NetworkConnection::setReadGraceMicroseconds(250000); }
};

}  // namespace

TEST_F(NetworkConnectionTest, TakesHostFromUriIgnoringPortAndPath) {
    struct {
        const char *uri, *host;
    } cases[] = {
        {"socket://10.0.0.5:9100/", "10.0.0.5"},
        {"ipp://printer.example.com/ipp/print", "printer.example.com"},
        {"snmp://10.0.0.6", "10.0.0.6"},
        {"10.0.0.7", "10.0.0.7"},
        {"10.0.0.8:161", "10.0.0.8"},
        {"dnssd://My%20Printer._printer._tcp.local./?uuid=1", "My%20Printer._printer._tcp.local."},
        {"socket:///", ""},
        {"", ""},
    };
    for (const auto& c : cases) {
        NetworkConnection connection(c.uri, {});
        EXPECT_EQ(connection.getHostAddress(), c.host) << c.uri;
    }
}

TEST_F(NetworkConnectionTest, OpenFailsWithTenForHostsThatCannotBeUsed) {
    PortProtocol protocol(9300);
    for (const char* uri : {"socket:///", "", "socket://My%20Printer/", "socket://bad host name/"}) {
        NetworkConnection connection(uri, {});
        connection.setProtocol(&protocol);
        EXPECT_EQ(connection.doOpen(), 10) << uri;
        Data request(std::string("x"));
        EXPECT_EQ(connection.doWrite(&request), -1) << uri;
    }
    NetworkConnection withoutProtocol("socket://127.0.0.1/", {});
    EXPECT_EQ(withoutProtocol.doOpen(), 10);
}

TEST_F(NetworkConnectionTest, ExchangesDatagramsWithProtocolPortAndShortensLaterWaits) {
    cfftest::UdpPeer peer(cfftest::UdpPeer::Replies{{"answer one", "answer two"}});
    ASSERT_TRUE(peer.ok());
    PortProtocol protocol(peer.port());
    // The port written in the URI must not be used.
    NetworkConnection connection("socket://127.0.0.1:9/", {});
    connection.setProtocol(&protocol);

    Data unopened;
    EXPECT_EQ(connection.doRead(unopened), -1);
    ASSERT_EQ(connection.doOpen(), 0);
    Data request(std::string("request"));
    ASSERT_EQ(connection.doWrite(&request), 0);
    ASSERT_TRUE(peer.waitForDatagrams(1, 2000));
    EXPECT_EQ(peer.received().at(0), "request");

    Data first;
    ASSERT_EQ(connection.doRead(first), 0);
    EXPECT_EQ(text(first), "answer one");
    EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.0);
    Data second;
    ASSERT_EQ(connection.doRead(second), 0);
    EXPECT_EQ(text(second), "answer two");

    // Nothing more: the wait is now only the fixed fraction.
    Data none(std::string("kept"));
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(connection.doRead(none), -1);
    double waited = secondsSince(start);
    EXPECT_GE(waited, 0.04);
    EXPECT_LT(waited, 0.5);
    EXPECT_EQ(text(none), "kept");

    // Closing and reopening keeps the shortened time-out.
    EXPECT_EQ(connection.doClose(), 0);
    EXPECT_EQ(connection.doClose(), -1);
    EXPECT_EQ(connection.doWrite(&request), -1);
    ASSERT_EQ(connection.doOpen(), 0);
    EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.0);
    EXPECT_EQ(connection.doWrite(&request), 0);
    EXPECT_TRUE(peer.waitForDatagrams(2, 2000));
}

TEST_F(NetworkConnectionTest, FirstWaitUsesWholeSecondsOfTimeoutOnly) {
    cfftest::UdpPeer silent;
    ASSERT_TRUE(silent.ok());
    PortProtocol protocol(silent.port());
    NetworkConnection connection("socket://127.0.0.1/", {});
    connection.setProtocol(&protocol);
    connection.setTimeoutVal(0.9);
    ASSERT_EQ(connection.doOpen(), 0);
    Data answer;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(connection.doRead(answer), -1);
    EXPECT_LT(secondsSince(start), 0.6);
    EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.9);
}

TEST_F(NetworkConnectionTest, TruncatesDatagramsLongerThanTheReadBuffer) {
    std::string longAnswer(7000, 'L');
    longAnswer.replace(6140, 8, "ABCDEFGH");
    std::string exact(NetworkConnection::kMaxDatagramSize, 'E');
    cfftest::UdpPeer peer(cfftest::UdpPeer::Replies{{longAnswer}, {exact}});
    ASSERT_TRUE(peer.ok());
    PortProtocol protocol(peer.port());
    NetworkConnection connection("socket://127.0.0.1/", {});
    connection.setProtocol(&protocol);
    connection.setTimeoutVal(2.0);
    ASSERT_EQ(connection.doOpen(), 0);
    Data request(std::string("q"));

    ASSERT_EQ(connection.doWrite(&request), 0);
    Data truncated;
    ASSERT_EQ(connection.doRead(truncated), 0);
    ASSERT_EQ(truncated.size(), 6144);
    EXPECT_EQ(text(truncated), longAnswer.substr(0, 6144));

    connection.setTimeoutVal(2.0);
    ASSERT_EQ(connection.doWrite(&request), 0);
    Data whole;
    ASSERT_EQ(connection.doRead(whole), 0);
    EXPECT_EQ(text(whole), exact);
}
