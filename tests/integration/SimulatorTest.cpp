// Tests of the printer simulator beyond what the filter's runs against it show: its answers and
// SNMP agent, its backend for run-filter (driven by a stand-in filter), and its profile loading.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <map>
#include <sstream>

#include "MibView.h"
#include "NpaAnswerBuilder.h"
#include "ProfileLoader.h"
#include "SnmpAgent.h"
#include "SnmpMessage.h"
#include "helpers/TestUtil.h"
#include "protocol/SNMPDataPacket.h"

namespace {

const char kRdcHex[] = "A5000750E02101000000";

std::string profilePath(const std::string& name) { return std::string(CFFSIM_PROFILE_DIR) + "/" + name + ".yaml"; }

// A bundled profile by name, or (|isText|) a profile given as YAML text.
DeviceProfile load(const std::string& nameOrText, bool isText = false) {
    DeviceProfile profile;
    std::string error;
    EXPECT_EQ(0, isText ? ProfileLoader::loadText(nameOrText, "inline", profile, error)
                        : ProfileLoader::loadFile(profilePath(nameOrText), profile, error)) << error;
    return profile;
}

std::string fromHex(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

std::string answerTo(const DeviceProfile& profile, const std::string& request) {
    std::string answer, error;
    EXPECT_EQ(0, NpaAnswerBuilder(profile).answer(NpaRequest::classify(request), answer, error)) << error;
    return answer;
}

TEST(SimulatorNpa, AnswersFollowTheProfileAndRefuseWhatItLacks) {
    DeviceProfile color = load("color-finisher"), silent = load("silent");
    // The option text with its own byte count; an empty one on the silent printer.
    EXPECT_EQ(fromHex("A50015000104") + "\x11" + "FLASH:1; RAM:512;", answerTo(color, fromHex("A50003500104")));
    EXPECT_EQ(fromHex("A5000400010400"), answerTo(silent, fromHex("A50003500104")));
    // Japanese is not among the profile's languages; an unknown request gets the failure flag.
    EXPECT_EQ(fromHex("A5000280E0"), answerTo(color, fromHex("A5000850E021010009" "0108")));
    EXPECT_EQ(fromHex("A500028077"), answerTo(silent, fromHex("A50003507777")));
}

std::string handle(const DeviceProfile& profile, const std::string& request) {
    MibView view(profile);
    std::string reply;
    SnmpAgent(profile, view).handle(reinterpret_cast<const unsigned char*>(request.data()), request.size(), reply);
    return reply;
}

// A GetRequest as the filter's own encoder builds it.
std::string hostRequest(const std::vector<std::string>& oids, int version, const std::string& community) {
    SNMPDataPacket packet;
    Data pdu, message;
    packet.createPDUGetRequest(7, std::list<std::string>(oids.begin(), oids.end()), pdu);
    packet.getSNMPPacket(&pdu, version, community, message);
    return cfftest::text(message);
}

// Exact bytes for a known object. Unknown objects read as empty strings by default;
// "standard" answers noSuchName in version 1 and noSuchObject in version 2c. A wrong
// community or a cut message gets nothing.
TEST(SimulatorSnmp, AnswersExactBytesAndFollowThePolicyForUnknownObjectsCommunitiesAndJunk) {
    EXPECT_EQ(fromHex("30300201010406" "7075626C6963" "A223020185020100020100" "3018"
                      "3016060C2B060102012B0802010D0101" "0406" "547261792031"),
              handle(load("basic-mono"), fromHex("302A0201010406" "7075626C6963" "A01D020185020100020100" "3012"
                                                 "3010060C2B060102012B0802010D01010500")));
    const std::string known = ".1.3.6.1.2.1.43.8.2.1.13.1.1", unknown = ".1.3.6.1.2.1.43.8.2.1.13.1.7";
    SnmpMessage message;
    auto decode = [&message](const std::string& reply) {
        return message.decode(reinterpret_cast<const unsigned char*>(reply.data()), reply.size());
    };
    ASSERT_EQ(0, decode(handle(load("basic-mono"), hostRequest({unknown}, 1, "opencm"))));
    EXPECT_EQ(0, message.errorStatus);
    EXPECT_EQ(SnmpVarBind::kOctetString, message.bindings[0].tag);
    EXPECT_EQ("", message.bindings[0].text);

    DeviceProfile strict = load("model: X\ntrays: [{id: 1}]\nsnmp: {unknown_oids: standard, community: secret}\n", true);
    ASSERT_EQ(0, decode(handle(strict, hostRequest({known, unknown}, 0, "secret"))));
    EXPECT_EQ(SnmpMessage::kNoSuchName, message.errorStatus);
    EXPECT_EQ(2, message.errorIndex);
    std::string request = hostRequest({known, unknown}, 1, "secret");
    ASSERT_EQ(0, decode(handle(strict, request)));
    EXPECT_EQ(0, message.errorStatus);
    EXPECT_EQ(SnmpVarBind::kOctetString, message.bindings[0].tag);
    EXPECT_EQ(SnmpVarBind::kNoSuchObject, message.bindings[1].tag);

    EXPECT_EQ("", handle(strict, hostRequest({known}, 1, "opencm")));
    for (size_t cut = 0; cut < request.size(); ++cut) EXPECT_EQ("", handle(strict, request.substr(0, cut))) << cut;
}

// Runs "cffsim run-filter OPTIONS PROFILE -- fake-filter ACTIONS": the exit status, and the
// stand-in filter's lines by their first word (tagged["READ"]: what followed "READ ").
struct BackendRun {
    int status = -1;
    std::map<std::string, std::vector<std::string>> tagged;
};

BackendRun runFakeFilter(const std::string& options, const std::string& profile, const std::string& actions) {
    std::string output;
    BackendRun run;
    int status = cfftest::runCommand("env -u DEVICE_URI " + std::string(CFFSIM_BINARY) + " run-filter " + options + " " +
                                         profilePath(profile) + " -- " + CFFSIM_FAKE_FILTER + " " + actions + " 2>/dev/null",
                                     output);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        size_t blank = std::min(line.find(' '), line.size());
        run.tagged[line.substr(0, blank)].push_back(line.substr(std::min(blank + 1, line.size())));
    }
    return run;
}

// The packets of one read each, flagged "more" but the last, joined to |answer|'s payload.
void expectPackets(const std::vector<std::string>& reads, const std::string& answer, size_t perPacket) {
    ASSERT_EQ((answer.size() - 5 + perPacket - 1) / perPacket, reads.size());
    std::string joined;
    for (size_t i = 0; i < reads.size(); ++i) {
        std::string packet = fromHex(reads[i]);
        EXPECT_EQ(i + 1 < reads.size() ? 0x20 : 0x00, packet.at(3)) << i;
        joined += packet.substr(5);
    }
    EXPECT_EQ(answer.substr(5), joined);
}

TEST(SimulatorBackend, AnswersArriveOnePacketPerReadAndMisbehaveWhenAsked) {
    const std::string color = answerTo(load("color-finisher"), fromHex(kRdcHex));
    const std::string mono = answerTo(load("basic-mono"), fromHex(kRdcHex));
    const std::string rdc = std::string("npa:") + kRdcHex;
    for (const char* action : {"npa:", "npaslow:"}) {
        SCOPED_TRACE(action);
        expectPackets(runFakeFilter("", "color-finisher", action + std::string(kRdcHex)).tagged["READ"], color, 507);
    }
    expectPackets(runFakeFilter("--split 16", "basic-mono", rdc).tagged["READ"], mono, 16);
    EXPECT_EQ(std::vector<std::string>{"A5000280E0"}, runFakeFilter("--fail", "basic-mono", rdc).tagged["READ"]);
    std::vector<std::string> noisy = runFakeFilter("--noise", "basic-mono", rdc).tagged["READ"];
    ASSERT_FALSE(noisy.empty());
    EXPECT_EQ("00A5", noisy[0].substr(0, 4));
    // The first request goes unanswered; the second (the options) is answered.
    EXPECT_EQ(std::vector<std::string>{"A5000C0001040852414D3A3132383B"},
              runFakeFilter("--drop 1", "basic-mono", rdc + " npa:A50003500104").tagged["READ"]);
}

// The side channel gives the device id and ends walks of an empty table cleanly; the filter
// gets a USB device URI and its exit status is passed on.
TEST(SimulatorBackend, SideChannelAndArgumentsAreABackendsOwn) {
    BackendRun run = runFakeFilter("", "silent", "walk:.1.3.6.1.2.1.43.11.1 devid uri exit:3");
    EXPECT_EQ(3, run.status);
    EXPECT_TRUE(run.tagged["WALK"].empty());
    EXPECT_EQ(std::vector<std::string>{"1"}, run.tagged["WALKSTATUS"]);
    ASSERT_EQ(1u, run.tagged["DEVID"].size());
    EXPECT_EQ(0u, run.tagged["DEVID"][0].rfind("1 MFG:Simulated;MDL:", 0)) << run.tagged["DEVID"][0];
    ASSERT_EQ(1u, run.tagged["URI"].size());
    EXPECT_EQ(0u, run.tagged["URI"][0].rfind("simusb://cffsim/silent?profile=/", 0)) << run.tagged["URI"][0];

    EXPECT_NE(0, system((std::string(CFFSIM_BINARY) + " backend /nonexistent.yaml 2>/dev/null").c_str()));
    EXPECT_NE(0, system((std::string(CFFSIM_BINARY) + " backend " + profilePath("silent") + " 1 2 >/dev/null 2>&1").c_str()));
}

TEST(SimulatorProfile, MistakesAreReportedWithLineAndReasonAndHexNamesAreKept) {
    const std::pair<std::string, const char*> cases[] = {
        {"code_page: 2009\n", "inline:1: the key \"model\" is missing"},
        {"model: X\ntray:\n  - {id: 1}\n", "inline:2: unknown key \"tray\" in profile"},
        {"model: X\nduplex: maybe\n", "inline:2: duplex must be installed, absent or not-reported"},
        {"model: X\nsupplies:\n  - {id: 1, type: 3, max: 100, level: 5}\n", "inline:3: a supply has no name"},
        {"model: X\nsupplies:\n  - {id: 1, type: 3, max: 1, level: 1, name_hex: \"4G\"}\n", "not a hexadecimal digit"},
        {"model: X\ntrays:\n  - {id: 7}\n", "inline:3: the entry of trays with id 7 needs a name"},
        {"model: X\ncode_page: 2009\nbins:\n  - {id: 1, name: \"Лоток\"}\n", "cannot be written in CP850"},
        {"model: X\nbins: [{id: 1, name: " + std::string(130, 'x') + "}]\n", "limited to 127 bytes"},
        {"model: X\ncode_page: 999\n", "inline:2: code page 999 is not one the simulator knows"},
        {"model: [unclosed\n", "inline:"},
    };
    DeviceProfile profile;
    std::string error;
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(-1, ProfileLoader::loadText(text, "inline", profile, error)) << text;
        EXPECT_NE(std::string::npos, error.find(expected)) << "got: " << error;
    }
    EXPECT_EQ(-1, ProfileLoader::loadFile("/nonexistent/profile.yaml", profile, error));
    EXPECT_EQ("/nonexistent/profile.yaml: cannot be opened: No such file or directory", error);
    // Supply names given as hex are sent as they are.
    EXPECT_EQ(std::string("K\0\xE9", 3), load("model: X\ncode_page: 2009\nsupplies:\n"
                                               "  - {id: 1, type: 3, max: 1, level: 1, name_hex: \"4b 00 E9\"}\n",
                                               true).supplies.at(0).name);
}

}  // namespace
