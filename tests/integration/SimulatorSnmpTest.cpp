// Tests of the simulator's SNMP agent: exact message bytes, the hosts' large requests,
// unknown objects, communities, and a real SNMP client against the agent on UDP.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "MibView.h"
#include "ProfileLoader.h"
#include "SimulatorDecoding.h"
#include "SnmpAgent.h"
#include "SnmpMessage.h"
#include "UdpServer.h"
#include "helpers/TestUtil.h"
#include "protocol/SNMPDataPacket.h"

namespace {

using simtest::fromHex;
using simtest::load;
using simtest::loadText;

std::string handle(const DeviceProfile& profile, const std::string& request) {
    MibView view(profile);
    SnmpAgent agent(profile, view);
    std::string reply;
    agent.handle(reinterpret_cast<const unsigned char*>(request.data()), request.size(), reply);
    return reply;
}

// The GetRequest that hosts of this family send, as the host's own encoder builds it.
std::string hostRequest(int requestId, const std::vector<std::string>& oids, int version = 1,
                        const std::string& community = "opencm") {
    SNMPDataPacket packet;
    Data pdu, message;
    packet.createPDUGetRequest(requestId, std::list<std::string>(oids.begin(), oids.end()), pdu);
    packet.getSNMPPacket(&pdu, version, community, message);
    return std::string(reinterpret_cast<const char*>(message.get()), message.size());
}

TEST(SimulatorSnmp, AnswersAGetRequestWithExactlyTheExpectedBytes) {
    std::string request = fromHex("302A0201010406" "7075626C6963" "A01D020185020100020100" "3012" "3010060C2B0601020"
                      "12B0802010D01010500");
    std::string expected = fromHex("30300201010406" "7075626C6963" "A223020185020100020100" "3018" "3016060C2B06010"
                                   "2012B0802010D0101" "0406" "547261792031");
    EXPECT_EQ(expected, handle(load("basic-mono"), request));
}

TEST(SimulatorSnmp, AnswersTheHostsConfigurationRequestWithTextsOnly) {
    std::vector<std::string> oids;
    for (int n = 1; n <= 8; ++n) oids.push_back(".1.3.6.1.2.1.43.8.2.1.13.1." + std::to_string(n));
    for (int n = 1; n <= 13; ++n) oids.push_back(".1.3.6.1.2.1.43.9.2.1.7.1." + std::to_string(n));
    for (int n = 1; n <= 20; ++n) oids.push_back(".1.3.6.1.4.1.7707.6.3.1.1.8.1." + std::to_string(n));
    for (int n = 1; n <= 20; ++n) oids.push_back(".1.3.6.1.4.1.5931.20480.100.6.3.1.1.8.1." + std::to_string(n));
    oids.push_back(".1.3.6.1.2.1.43.13.4.1.10.1.2");
    oids.push_back(".1.3.6.1.2.1.25.2.3.1.3");

    std::string reply = handle(load("color-finisher"), hostRequest(0x85, oids));
    SnmpMessage message;
    ASSERT_EQ(0, message.decode(reinterpret_cast<const unsigned char*>(reply.data()), reply.size()));
    EXPECT_EQ(SnmpMessage::kGetResponse, message.pduType);
    EXPECT_EQ(-123, message.requestId);  // the one request byte comes back unchanged
    EXPECT_EQ("opencm", message.community);
    ASSERT_EQ(63u, message.bindings.size());
    std::vector<std::string> texts;
    for (const SnmpVarBind& bind : message.bindings) {
        EXPECT_EQ(SnmpVarBind::kOctetString, bind.tag);
        EXPECT_LT(bind.text.size(), 128u);
        texts.push_back(bind.text);
    }
    // The second private prefix (from index 41) is not served by default.
    const std::map<size_t, std::string> expected = {
        {0, "Tray 1"}, {2, "Tray 3"}, {4, "Feeder"}, {5, ""}, {8, "Standard Bin"}, {11, "Bin 3"},
        {21, "Booklet Finisher Unit"}, {22, "Duplex Paper Path"}, {41, ""}, {61, "Duplexor"}, {62, "%flash%"}};
    for (const auto& [index, text] : expected) {
        EXPECT_EQ(text, texts[index]) << index;
    }
}

TEST(SimulatorSnmp, UnknownObjectsFollowThePolicyAndVersion) {
    const std::string unknown = ".1.3.6.1.2.1.43.8.2.1.13.1.7";
    SnmpMessage message;
    auto decode = [&message](const std::string& reply) {
        return message.decode(reinterpret_cast<const unsigned char*>(reply.data()), reply.size());
    };
    ASSERT_EQ(0, decode(handle(load("basic-mono"), hostRequest(7, {unknown}))));
    EXPECT_EQ(0, message.errorStatus);
    EXPECT_EQ(SnmpVarBind::kOctetString, message.bindings[0].tag);

    DeviceProfile strict = loadText("model: X\ntrays: [{id: 1}]\nsnmp: {unknown_oids: standard}\n");
    ASSERT_EQ(0, decode(handle(strict, hostRequest(7, {".1.3.6.1.2.1.43.8.2.1.13.1.1", unknown}, 0))));
    EXPECT_EQ(SnmpMessage::kNoSuchName, message.errorStatus);
    EXPECT_EQ(2, message.errorIndex);

    ASSERT_EQ(0, decode(handle(strict, hostRequest(7, {".1.3.6.1.2.1.43.8.2.1.13.1.1", unknown}, 1))));
    EXPECT_EQ(0, message.errorStatus);
    EXPECT_EQ(SnmpVarBind::kOctetString, message.bindings[0].tag);
    EXPECT_EQ(SnmpVarBind::kNoSuchObject, message.bindings[1].tag);
}

TEST(SimulatorSnmp, ConfiguredCommunityIsEnforcedAndJunkIgnored) {
    DeviceProfile profile = loadText("model: X\nsnmp: {community: secret}\n");
    EXPECT_EQ("", handle(profile, hostRequest(1, {".1.3.6.1.2.1.1.1.0"}, 1, "public")));
    EXPECT_NE("", handle(profile, hostRequest(1, {".1.3.6.1.2.1.1.1.0"}, 1, "secret")));
    std::string request = hostRequest(1, {".1.3.6.1.2.1.1.1.0"}, 1, "secret");
    for (size_t cut = 0; cut < request.size(); ++cut) {
        EXPECT_EQ("", handle(profile, request.substr(0, cut))) << cut;
    }
}

TEST(SimulatorSnmp, IntegersAndLengthsUseMinimalEncodings) {
    struct Case {
        unsigned char tag;
        long value;
        const char* hex;
    };
    const Case cases[] = {
        {0x02, 0, "020100"},       {0x02, 127, "02017F"},         {0x02, 128, "02020080"},
        {0x02, -1, "0201FF"},      {0x02, -128, "020180"},        {0x02, -129, "0202FF7F"},
        {0x02, 2009, "020207D9"},  {0x41, 4294967295L, "410500FFFFFFFF"}, {0x41, 5, "410105"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(fromHex(c.hex), SnmpMessage::encodeInteger(c.tag, c.value)) << c.value;
    }
    EXPECT_EQ(fromHex("7F"), SnmpMessage::encodeLength(127));
    EXPECT_EQ(fromHex("8180"), SnmpMessage::encodeLength(128));
    EXPECT_EQ(fromHex("82012C"), SnmpMessage::encodeLength(300));
    MibView::Oid oid;
    ASSERT_TRUE(MibView::parseOid(".1.3.6.1.4.1.5931.20480", oid));
    EXPECT_EQ(fromHex("060A2B06010401AE2B81A000"), SnmpMessage::encodeOid(oid));
}

// Runs the agent on a free port of 127.0.0.1 for the life of the object.
class AgentOnLoopback {
public:
    explicit AgentOnLoopback(const DeviceProfile& profile) : server_(profile, options_) {
        std::string error;
        ok = server_.bind("127.0.0.1", -1, 0, error) == 0;
        if (ok) {
            thread_ = std::thread([this] { server_.serve(stop_); });
        }
    }
    ~AgentOnLoopback() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
    }
    int port() const { return server_.snmpPort(); }
    bool ok = false;

private:
    SimulatorOptions options_;
    UdpServer server_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

std::string run(const std::string& command) {
    std::string output;
    cfftest::runCommand(command, output);
    return output;
}

TEST(SimulatorSnmp, AnsweredByARealSnmpClient) {
    if (system("command -v snmpget >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "snmpget (package snmp) is not installed";
    }
    DeviceProfile profile = load("color-finisher");
    AgentOnLoopback agent(profile);
    ASSERT_TRUE(agent.ok);
    std::string target = " -M /dev/null -On -r 1 -t 2 127.0.0.1:" + std::to_string(agent.port()) + " ";
    std::string get = run("snmpget -v2c -c public" + target +
                          ".1.3.6.1.2.1.43.8.2.1.13.1.5 .1.3.6.1.2.1.43.11.1.1.9.1.4 .1.3.6.1.2.1.43.5.1.1.1.1 2>&1");
    EXPECT_NE(std::string::npos, get.find(".1.3.6.1.2.1.43.8.2.1.13.1.5 = STRING: \"Feeder\"")) << get;
    EXPECT_NE(std::string::npos, get.find(".1.3.6.1.2.1.43.11.1.1.9.1.4 = INTEGER: 5")) << get;
    EXPECT_NE(std::string::npos, get.find(".1.3.6.1.2.1.43.5.1.1.1.1 = Counter32: 1")) << get;

    std::string walk = run("snmpwalk -v1 -c public" + target + ".1.3.6.1.2.1.43.12.1.1.4 2>&1");
    EXPECT_NE(std::string::npos, walk.find(".1.3.6.1.2.1.43.12.1.1.4.1.2 = STRING: \"cyan\"")) << walk;
    EXPECT_EQ(std::string::npos, walk.find("Timeout")) << walk;
}

}  // namespace
