// Both NPA dialogues over real transports: the backend back-channel and UDP on loopback.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "connection/CupsBackendConnection.h"
#include "connection/NetworkConnection.h"
#include "helpers/FdSlot.h"
#include "helpers/NpaAnswerScripts.h"
#include "helpers/ScriptedBackChannel.h"
#include "helpers/UdpPeer.h"
#include "protocol/NPABiDiProtocol.h"
#include "protocol/NPAProtocol.h"
#include "protocol/NPAResp.h"

using namespace npa_script;

namespace {

std::string asText(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// Collects what a CupsBackendConnection writes for the backend, in a file above fd 10,
// clear of the back-channel's fd 3.
class BackendOutput {
public:
    BackendOutput() {
        char path[] = "/tmp/cff-backend-XXXXXX";
        fd_ = cfftest::moveAboveTen(mkstemp(path));
        unlink(path);
        file_ = fdopen(fd_, "w+");
        CupsBackendConnection::setOutputStream(file_);
    }
    ~BackendOutput() {
        CupsBackendConnection::setOutputStream(nullptr);
        std::fclose(file_);
    }
    std::string text() {
        std::fflush(file_);
        std::string collected(4096, '\0');
        collected.resize(static_cast<size_t>(std::max<ssize_t>(0, pread(fd_, collected.data(), collected.size(), 0))));
        return collected;
    }

private:
    int fd_;
    FILE* file_;
};

// The network dialogue on a chosen port, so that tests need not own UDP port 9300.
struct NpaBiDiOnPort : NPABiDiProtocol {
    NpaBiDiOnPort(Connection* connection, int port) : NPABiDiProtocol(connection) {
        setProtocolPort(port);
        connection->setProtocol(this);
        assignResponseBuilder(new NPAResp());
    }
};

}  // namespace

TEST(NpaOverBackChannel, PlaysEveryScriptedAnswer) {
    for (const auto& script : packetFramingScripts()) {
        SCOPED_TRACE(script.name);
        BackendOutput output;
        // Writes 100 ms apart never merge into one read, yet the 0.2 s wait after a first
        // answer still catches them.
        std::vector<cfftest::BackChannelChunk> chunks;
        for (const Bytes& read : script.reads) chunks.push_back({asText(read), chunks.empty() ? 0 : 100});
        cfftest::ScriptedBackChannel peer(chunks);
        ASSERT_TRUE(peer.ok());
        auto* connection = new CupsBackendConnection();
        connection->setTimeoutVal(0.5);
        auto protocol = protocolOver<NPAProtocol>(connection);
        connection->setProtocol(protocol.get());
        Data request = rdcRequestData(), answer;

        auto started = std::chrono::steady_clock::now();
        EXPECT_EQ(protocol->doRequest(&request, answer), script.expectedResult);
        std::chrono::duration<double> took = std::chrono::steady_clock::now() - started;

        EXPECT_EQ(output.text(), asText(npaModeCommand()) + asText(rdcRequest()));
        EXPECT_EQ(bytesOf(answer), script.expectedResult == 0 ? script.expectedAnswer : Bytes());
        EXPECT_GE(took.count(), script.reads.empty() ? 0.95 : 0.0);  // silence: two attempts of the whole first wait
        peer.stop();
    }
}

TEST(NpaOverUdp, PlaysEveryScriptedAnswerAndTheDeviceReceivesEachAcknowledgement) {
    // Later waits shortened; the first stays at 1 s so that a busy machine still answers in time.
    const long savedGrace = NetworkConnection::getReadGraceMicroseconds();
    NetworkConnection::setReadGraceMicroseconds(200000);
    for (const auto& script : networkFramingScripts()) {
        SCOPED_TRACE(script.name);
        std::vector<std::string> replies;
        for (const Bytes& read : script.reads) replies.push_back(asText(read));
        cfftest::UdpPeer peer(cfftest::UdpPeer::Replies{replies});
        ASSERT_TRUE(peer.ok());
        auto* connection = new NetworkConnection("socket://127.0.0.1", {});
        connection->setTimeoutVal(1.0);
        NpaBiDiOnPort protocol(connection, peer.port());
        Data request = rdcRequestData(), answer;

        EXPECT_EQ(protocol.doRequest(&request, answer), script.expectedResult);

        EXPECT_EQ(bytesOf(answer), script.expectedResult == 0 ? script.expectedAnswer : Bytes());
        ASSERT_TRUE(peer.waitForDatagrams(1 + script.readsUsed, 2000));
        std::vector<std::string> received = peer.received();
        ASSERT_EQ(received.size(), 1 + script.readsUsed);
        EXPECT_EQ(received[0].substr(0, 4), std::string("\x01\x00\x00\x31", 4));
        EXPECT_EQ(received[0].substr(8), asText(rdcRequest()));
        for (size_t i = 0; i < script.readsUsed; ++i) {
            EXPECT_EQ(received[1 + i], asText(acknowledgement(script.reads[i]))) << "read " << i;
        }
    }
    NetworkConnection::setReadGraceMicroseconds(savedGrace);
}
