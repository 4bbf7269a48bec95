// Tests of the simulator as a network printer: framed answers, sequence numbers and acknowledgements.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "NpaAnswerBuilder.h"
#include "ProfileLoader.h"
#include "SimulatorDecoding.h"
#include "UdpServer.h"

namespace {

using simtest::at;
using simtest::fromHex;

class NetworkPrinter : public testing::Test {
protected:
    void start(bool raw = false) {
        std::string error;
        ASSERT_EQ(0, ProfileLoader::loadFile(std::string(CFFSIM_PROFILE_DIR) + "/color-finisher.yaml", profile_, error));
        server_.reset(new UdpServer(profile_, options_));
        ASSERT_EQ(0, server_->bind("127.0.0.1", 0, -1, error)) << error;
        if (raw) {
            ASSERT_EQ(0, server_->bindRaw("127.0.0.1", 0, error)) << error;
        }
        thread_ = std::thread([this] { server_->serve(stop_); });
        client_ = socket(AF_INET, SOCK_DGRAM, 0);
        struct sockaddr_in peer {};
        peer.sin_family = AF_INET;
        peer.sin_port = htons(static_cast<uint16_t>(server_->npaPort()));
        inet_pton(AF_INET, "127.0.0.1", &peer.sin_addr);
        ASSERT_EQ(0, connect(client_, reinterpret_cast<struct sockaddr*>(&peer), sizeof(peer)));
    }

    void TearDown() override {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
        if (client_ >= 0) close(client_);
    }

    void send(const std::string& bytes) { ASSERT_EQ(static_cast<ssize_t>(bytes.size()), ::send(client_, bytes.data(), bytes.size(), 0)); }

    // The next datagram, or "" after |ms| milliseconds of silence.
    std::string receive(int ms = 2000) {
        struct pollfd fd = {client_, POLLIN, 0};
        if (poll(&fd, 1, ms) <= 0) return "";
        char buffer[8192];
        ssize_t got = recv(client_, buffer, sizeof(buffer), 0);
        return got > 0 ? std::string(buffer, static_cast<size_t>(got)) : "";
    }

    // Receives datagrams until silence, acknowledging each when |ack| is set.
    std::vector<std::string> receiveAll(bool ack) {
        std::vector<std::string> datagrams;
        for (std::string d = receive(); !d.empty(); d = receive(ack ? 300 : 900)) {
            datagrams.push_back(d);
            if (ack) send(std::string("\x01\x03", 2) + d.substr(2, 4));
        }
        return datagrams;
    }

    std::string expectedAnswer() {
        std::string answer, error;
        NpaAnswerBuilder(profile_).answer(NpaRequest::classify(kRequest.substr(8)), answer, error);
        return answer;
    }

    const std::string kRequest = fromHex("0100003112345678" "A5000750E021010000" "00");
    DeviceProfile profile_;
    SimulatorOptions options_;
    std::unique_ptr<UdpServer> server_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
    int client_ = -1;
};

TEST_F(NetworkPrinter, AnswerPacketsCarryHeadersSequenceNumbersAndGetAcknowledged) {
    options_.splitPayload = 100;
    start();
    send(kRequest);
    std::vector<std::string> datagrams = receiveAll(true);
    std::string answer = expectedAnswer();
    size_t packets = (answer.size() - 5 + 99) / 100;
    ASSERT_EQ(packets, datagrams.size());
    std::string joined = answer.substr(0, 5);
    for (size_t i = 0; i < datagrams.size(); ++i) {
        const std::string& d = datagrams[i];
        EXPECT_EQ(i, at(d, 6) * 256u + at(d, 7));
        EXPECT_EQ(0xA5u, at(d, 12));
        EXPECT_EQ(i + 1 < packets ? 0x20u : 0x00u, at(d, 15));
        EXPECT_EQ(0xE0u, at(d, 16));
        EXPECT_EQ(fromHex("12345678"), d.substr(8, 4));
        joined += d.substr(17);
    }
    EXPECT_EQ(answer, joined);
    // Let the last acknowledgement arrive before the counters are read.
    for (int i = 0; i < 50 && server_->acksReceived() < static_cast<int>(packets); ++i) usleep(10000);
    EXPECT_EQ(static_cast<int>(packets), server_->acksReceived());
    EXPECT_EQ(0, server_->acksMissing());
}

TEST_F(NetworkPrinter, ReorderSendsTheLastPacketFirst) {
    options_.splitPayload = 400;
    options_.reorder = true;
    start();
    send(kRequest);
    std::vector<std::string> datagrams = receiveAll(true);
    ASSERT_EQ(2u, datagrams.size());
    EXPECT_EQ(1u, at(datagrams[0], 7));
    EXPECT_EQ(0x00u, at(datagrams[0], 15));
    EXPECT_EQ(0u, at(datagrams[1], 7));
    EXPECT_EQ(0x20u, at(datagrams[1], 15));
}

TEST_F(NetworkPrinter, MissingAcknowledgementsAreCountedAndDroppedRequestsUnanswered) {
    options_.splitPayload = 400;
    options_.dropRequests = 1;
    start();
    send(kRequest);
    EXPECT_EQ("", receive(300));
    send(kRequest);
    std::vector<std::string> datagrams = receiveAll(false);
    EXPECT_EQ(2u, datagrams.size());
    for (int i = 0; i < 100 && server_->acksMissing() < 2; ++i) usleep(10000);
    EXPECT_EQ(2, server_->acksMissing());
}

TEST_F(NetworkPrinter, FailAndNoiseSpoilTheAnswerAsAskedFor) {
    options_.fail = true;
    options_.noise = true;
    start();
    send(kRequest);
    std::vector<std::string> datagrams = receiveAll(true);
    ASSERT_EQ(1u, datagrams.size());
    EXPECT_EQ(fromHex("00A5000280E0"), datagrams[0].substr(12));
}

// A spooler's network backend sends the job, half-closes and waits for the printer to close:
// each of several connections must be drained and then closed, while requests are answered.
TEST_F(NetworkPrinter, RawPortDiscardsPrintDataAndClosesEachConnectionAtItsEnd) {
    start(true);
    struct sockaddr_in printer {};
    printer.sin_family = AF_INET;
    printer.sin_port = htons(static_cast<uint16_t>(server_->rawPort()));
    inet_pton(AF_INET, "127.0.0.1", &printer.sin_addr);
    const std::string job(100000, 'x');
    int connections[2];
    for (int& fd : connections) {
        fd = socket(AF_INET, SOCK_STREAM, 0);
        ASSERT_EQ(0, connect(fd, reinterpret_cast<struct sockaddr*>(&printer), sizeof(printer)));
    }
    for (int fd : connections) {
        for (size_t sent = 0; sent < job.size();) {
            ssize_t n = ::send(fd, job.data() + sent, job.size() - sent, 0);
            ASSERT_GT(n, 0);
            sent += static_cast<size_t>(n);
        }
        shutdown(fd, SHUT_WR);
    }
    send(kRequest);
    EXPECT_FALSE(receiveAll(true).empty());
    for (int fd : connections) {
        struct pollfd end = {fd, POLLIN, 0};
        ASSERT_EQ(1, poll(&end, 1, 2000)) << "the connection was not closed";
        char byte;
        EXPECT_EQ(0, recv(fd, &byte, 1, 0));
        close(fd);
    }
    EXPECT_EQ(static_cast<long>(2 * job.size()), server_->rawBytesReceived());
}

}  // namespace
