// How long the network connection waits for an answer that does not come.
#include <gtest/gtest.h>

#include "connection/NetworkConnection.h"
#include "helpers/TestUtil.h"
#include "helpers/UdpPeer.h"
#include "protocol/Protocol.h"

namespace {

struct PortOnly : Protocol {
    explicit PortOnly(int port) : Protocol(nullptr) { setProtocolPort(port); }
    int doRequest(Data*, Data&) override { return -1; }
};

}  // namespace

// A late datagram still counts for a quarter of a second after the whole seconds run out.
TEST(NetworkReadWait, SilentPeerIsGivenTheWholeSecondsAndAQuarterOfASecond) {
    cfftest::UdpPeer peer(cfftest::UdpPeer::Replies{{}});
    ASSERT_TRUE(peer.ok());
    PortOnly protocol(peer.port());
    NetworkConnection connection("socket://127.0.0.1:9/", {});
    connection.setProtocol(&protocol);
    ASSERT_EQ(connection.doOpen(), 0);
    Data request(std::string("request")), answer;
    connection.setTimeoutVal(0.9);  // no whole second
    ASSERT_EQ(connection.doWrite(&request), 0);
    auto start = cfftest::now();
    EXPECT_EQ(connection.doRead(answer), -1);
    double waited = cfftest::secondsSince(start);
    EXPECT_GE(waited, 0.24);
    EXPECT_LT(waited, 0.6);
}
