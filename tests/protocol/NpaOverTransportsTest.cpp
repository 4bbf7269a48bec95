// Tests of both NPA dialogues over real transports: the backend back-channel and UDP on loopback.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include "connection/CupsBackendConnection.h"
#include "connection/NetworkConnection.h"
#include "core/CommandFileFilter.h"
#include "core/DevCommand.h"
#include "core/RDCSupply.h"
#include "helpers/NpaAnswerBuilder.h"
#include "helpers/FdSlot.h"
#include "helpers/NpaAnswerScripts.h"
#include "helpers/OutputCapture.h"
#include "helpers/ScopedEnv.h"
#include "helpers/ScriptedBackChannel.h"
#include "helpers/UdpPeer.h"
#include "parser/Parser.h"
#include "parser/ParserFactory.h"
#include "protocol/NPABiDiProtocol.h"
#include "protocol/NPAProtocol.h"
#include "protocol/NPAResp.h"

namespace {

using npa_script::Bytes;
using npa_script::bytesOf;

std::string asText(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// Gaps between scripted back-channel writes: long enough that two writes never merge into
// one read, short enough that the 0.2 s waits after a first answer still catch them.
constexpr int kGapMs = 100;

// Collects what a CupsBackendConnection writes for the backend.
class BackendOutput {
public:
    // The file sits above fd 10, clear of the back-channel's fd 3.
    BackendOutput() {
        char path[] = "/tmp/cff-backend-XXXXXX";
        int fd = cfftest::moveAboveTen(mkstemp(path));
        if (fd >= 0) {
            unlink(path);
            file_ = fdopen(fd, "w+");
        }
        CupsBackendConnection::setOutputStream(file_);
    }
    ~BackendOutput() {
        CupsBackendConnection::setOutputStream(nullptr);
        if (file_ != nullptr) {
            std::fclose(file_);
        }
    }
    std::string text() {
        std::string collected;
        if (file_ == nullptr) {
            return collected;
        }
        std::fflush(file_);
        std::rewind(file_);
        char buffer[1024];
        size_t got;
        while ((got = std::fread(buffer, 1, sizeof buffer, file_)) > 0) {
            collected.append(buffer, got);
        }
        return collected;
    }

private:
    FILE* file_ = nullptr;
};

std::vector<cfftest::BackChannelChunk> chunksOf(const std::vector<Bytes>& reads) {
    std::vector<cfftest::BackChannelChunk> chunks;
    for (const Bytes& read : reads) {
        chunks.push_back({asText(read), chunks.empty() ? 0 : kGapMs});
    }
    return chunks;
}

// The network dialogue on a chosen port, so that tests need not own UDP port 9300.
class NpaBiDiOnPort : public NPABiDiProtocol {
public:
    NpaBiDiOnPort(Connection* connection, int port) : NPABiDiProtocol(connection) {
        setProtocolPort(port);
        connection->setProtocol(this);
        assignResponseBuilder(new NPAResp());
    }
};

// Later waits of the network connection shortened for the test; the first wait is 1 s plus
// this, so that a busy machine still delivers the first answer in time.
class ShortNetworkWaits {
public:
    ShortNetworkWaits() : saved_(NetworkConnection::getReadGraceMicroseconds()) {
        NetworkConnection::setReadGraceMicroseconds(200000);
    }
    ~ShortNetworkWaits() { NetworkConnection::setReadGraceMicroseconds(saved_); }

private:
    long saved_;
};

std::unique_ptr<NpaBiDiOnPort> networkProtocol(const cfftest::UdpPeer& peer) {
    auto* connection = new NetworkConnection("socket://127.0.0.1", {});
    connection->setTimeoutVal(1.0);
    return std::make_unique<NpaBiDiOnPort>(connection, peer.port());
}

std::unique_ptr<NPAProtocol> backendProtocol(double firstWaitSeconds) {
    auto* connection = new CupsBackendConnection();
    connection->setTimeoutVal(firstWaitSeconds);
    auto protocol = std::make_unique<NPAProtocol>(connection);
    connection->setProtocol(protocol.get());
    protocol->assignResponseBuilder(new NPAResp());
    return protocol;
}

// Milliseconds of the time of day, cut to 32 bits, as the network request header carries them.
uint32_t millisecondsOfDay() {
    struct timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 + now.tv_usec / 1000);
}

uint32_t stampOf(const std::string& request) {
    uint32_t stamp = 0;
    for (int i = 3; i >= 0; --i) {
        stamp = (stamp << 8) | static_cast<unsigned char>(request.at(4 + i));
    }
    return stamp;
}

}  // namespace

TEST(NpaOverBackChannel, PlaysEveryScriptedAnswer) {
    const std::string expectedOutput = asText(npa_script::npaModeCommand()) + asText(npa_script::rdcRequest());
    for (const auto& script : npa_script::packetFramingScripts()) {
        SCOPED_TRACE(script.name);
        BackendOutput output;
        cfftest::ScriptedBackChannel peer(chunksOf(script.reads));
        ASSERT_TRUE(peer.ok());
        auto protocol = backendProtocol(0.5);
        Data request = npa_script::rdcRequestData();
        Data answer;

        auto started = std::chrono::steady_clock::now();
        EXPECT_EQ(protocol->doRequest(&request, answer), script.expectedResult);
        double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

        EXPECT_EQ(output.text(), expectedOutput);
        if (script.expectedResult == 0) {
            EXPECT_EQ(bytesOf(answer), script.expectedAnswer);
        } else {
            EXPECT_EQ(answer.size(), 0);
        }
        if (script.reads.empty()) {
            // Two attempts of the whole first wait before giving up.
            EXPECT_GE(seconds, 0.95);
        }
        peer.stop();
    }
}

TEST(NpaOverBackChannel, RefusedLanguageIsAskedAgainInEnglish) {
    ScopedEnv env;
    env.set("LANG", "de_DE.UTF-8");
    env.set("APPLE_LANG", std::nullopt);
    supplyInfo_ toner;
    toner.supplyId = 1;
    toner.type = 3;
    toner.name = "Black";
    toner.maxCapacity = 100;
    toner.currentLevel = 60;
    NpaBytes good = NpaAnswerBuilder().build(
        rdc::root({rdc::generalInfo(106), rdc::configuration({rdc::supplies({rdc::supply(1, toner)})})}));
    good[4] = npa_script::kRdcEcho;
    BackendOutput output;
    cfftest::ScriptedBackChannel peer({{asText(npa_script::packet(0x80, {0x00})), 0}, {asText(good), kGapMs}});
    ASSERT_TRUE(peer.ok());
    auto protocol = backendProtocol(1.0);
    std::unique_ptr<Parser> parser(ParserFactory::createParser(PROTOCOL_NPA));
    RDCSupply command;

    EXPECT_EQ(command.Execute(protocol.get(), parser.get()), 0);

    const std::string mode = asText(npa_script::npaModeCommand());
    EXPECT_EQ(output.text(), mode + std::string("\xA5\x00\x08\x50\xE0\x21\x01\x00\x01\x01\x08", 11) + mode +
                                 std::string("\xA5\x00\x08\x50\xE0\x21\x01\x00\x00\x01\x08", 11));
    std::list<supplyInfo_*> supplies;
    EXPECT_EQ(parser->getSupplyInfo(supplies), 0);
    ASSERT_EQ(supplies.size(), 1u);
    EXPECT_EQ(supplies.front()->name, "Black");
    EXPECT_EQ(supplies.front()->currentLevel, 60);
    EXPECT_EQ(peer.stop(), 2);
}

TEST(NpaOverBackChannel, OneRequestRunSendsConfigurationThenOptionsWithConsecutiveNumbers) {
    NpaBytes configuration = NpaAnswerBuilder().build(rdc::root(
        {rdc::configuration({rdc::inputTrays({rdc::inputTray(1, 1, "Tray 1"), rdc::inputTray(2, 2, "Tray 2")}),
                             rdc::duplex(1)})}));
    configuration[4] = npa_script::kRdcEcho;
    BackendOutput output;
    cfftest::ScriptedBackChannel peer({{asText(configuration), 0}, {asText(rocAnswer("FLASH:1;")), kGapMs}});
    ASSERT_TRUE(peer.ok());
    DevCommand::requestID_ = 1;
    OutputCapture errors(2);

    EXPECT_EQ(process("usb://Sim/Laser?serial=1", REQ_INSTALLABLE_OPTIONS), 0);

    EXPECT_EQ(errors.text(),
              "PPD: DefaultEnvFeeder=NotInstalledM DefaultFlash=InstalledF DefaultOptDuplex=InstalledM "
              "DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray12 \n");
    EXPECT_EQ(DevCommand::requestID_, 3u);
    const std::string mode = asText(npa_script::npaModeCommand());
    EXPECT_EQ(output.text(),
              mode + asText(npa_script::rdcRequest()) + mode + std::string("\xA5\x00\x03\x50\x01\x04", 6));
    EXPECT_EQ(peer.stop(), 2);
}

TEST(NpaOverUdp, PlaysEveryScriptedAnswerAndTheDeviceReceivesEachAcknowledgement) {
    ShortNetworkWaits waits;
    for (const auto& script : npa_script::networkFramingScripts()) {
        SCOPED_TRACE(script.name);
        std::vector<std::string> replies;
        for (const Bytes& read : script.reads) {
            replies.push_back(asText(read));
        }
        cfftest::UdpPeer peer(cfftest::UdpPeer::Replies{replies});
        ASSERT_TRUE(peer.ok());
        auto protocol = networkProtocol(peer);
        Data request = npa_script::rdcRequestData();
        Data answer;

        EXPECT_EQ(protocol->doRequest(&request, answer), script.expectedResult);

        ASSERT_TRUE(peer.waitForDatagrams(1 + script.readsUsed, 2000));
        std::vector<std::string> received = peer.received();
        ASSERT_EQ(received.size(), 1 + script.readsUsed);
        ASSERT_EQ(received[0].size(), 8 + npa_script::rdcRequest().size());
        EXPECT_EQ(received[0].substr(0, 4), std::string("\x01\x00\x00\x31", 4));
        EXPECT_EQ(received[0].substr(8), asText(npa_script::rdcRequest()));
        for (size_t i = 0; i < script.readsUsed; ++i) {
            EXPECT_EQ(received[1 + i], asText(npa_script::acknowledgement(script.reads[i]))) << "read " << i;
        }
        if (script.expectedResult == 0) {
            EXPECT_EQ(bytesOf(answer), script.expectedAnswer);
        } else {
            EXPECT_EQ(answer.size(), 0);
        }
    }
}

TEST(NpaOverUdp, EachRequestCarriesTheTimeOfDayWhenItWasSent) {
    ShortNetworkWaits waits;
    const std::string single = asText(npa_script::datagram(0, npa_script::packet(0x00, {0x01})));
    cfftest::UdpPeer peer(cfftest::UdpPeer::Replies{{single}, {}, {single}});
    ASSERT_TRUE(peer.ok());
    std::vector<uint32_t> before;
    std::vector<uint32_t> after;
    for (int i = 0; i < 2; ++i) {
        auto protocol = networkProtocol(peer);
        Data request = npa_script::rdcRequestData();
        Data answer;
        before.push_back(millisecondsOfDay());
        EXPECT_EQ(protocol->doRequest(&request, answer), 0);
        after.push_back(millisecondsOfDay());
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }

    ASSERT_TRUE(peer.waitForDatagrams(4, 2000));
    std::vector<std::string> received = peer.received();
    ASSERT_EQ(received.size(), 4u);
    const std::string requests[2] = {received[0], received[2]};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(requests[i].substr(0, 4), std::string("\x01\x00\x00\x31", 4));
        // Unsigned differences, so that a wrap of the 32-bit value in between does no harm.
        EXPECT_LE(stampOf(requests[i]) - before[i], after[i] - before[i]) << "request " << i;
    }
    EXPECT_GE(stampOf(requests[1]) - stampOf(requests[0]), 20u);
}
