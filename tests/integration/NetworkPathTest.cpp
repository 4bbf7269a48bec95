// Whole-program runs on network queues: SNMP to UDP 161, NPA over UDP 9300, a DNS-SD queue.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FilterRun.h"
#include "helpers/SnmpAnswers.h"
#include "helpers/UdpPeer.h"

namespace {

using e2e::FilterResult;
using snmp_answers::text;

const char kSocketUri[] = "socket://127.0.0.1:9100";

const char kNoValuesLine[] =
    "PPD: DefaultFlash=NotInstalledF DefaultOptDuplex=InstalledM "
    "DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray1 \n";
const char kColorFinisherOptions[] =
    "PPD: DefaultEnvFeeder=InstalledM DefaultFlash=InstalledF DefaultOptDuplex=InstalledM "
    "DefaultOptOutputBins=OBin3 DefaultOutputFinisher=AdvancedFinisher DefaultTrays=Tray1234 \n";

void expectReport(const FilterResult& run, const std::string& line, const std::string& log = "") {
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.errors, line) << log;
}

}  // namespace

// Scripted agents answer the configuration request in hostile ways.
TEST(NetworkAutoConfigure, AnswersAreJoinedOrRejectedAsAWhole) {
    RUN_IN_PRIVATE_NETWORK();
    e2e::Scratch scratch;
    // Two trays and a feeder, two bins, the booklet finisher (private table), duplex and flash.
    const std::string whole = snmp_answers::getResponse({
        text(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray 1"), text(".1.3.6.1.2.1.43.8.2.1.13.1.2", "Tray 2"),
        text(".1.3.6.1.2.1.43.8.2.1.13.1.3", "Feeder"),
        text(".1.3.6.1.2.1.43.9.2.1.7.1.1", "Standard Bin"), text(".1.3.6.1.2.1.43.9.2.1.7.1.2", "Bin 1"),
        text(".1.3.6.1.4.1.7707.6.3.1.1.8.1.1", "Booklet Finisher Unit"),
        text(".1.3.6.1.2.1.43.13.4.1.10.1.2", "Duplexor"), text(".1.3.6.1.2.1.25.2.3.1.3", "%flash%")});
    const std::string equippedLine = "PPD: DefaultEnvFeeder=InstalledM DefaultFlash=InstalledF DefaultOptDuplex=InstalledM "
                                     "DefaultOptOutputBins=OBin1 DefaultOutputFinisher=AdvancedFinisher DefaultTrays=Tray12 \n";
    std::string withoutFlash = equippedLine;
    withoutFlash.replace(withoutFlash.find("=InstalledF"), 11, "=NotInstalledF");
    struct Case {
        const char* name;
        cfftest::UdpPeer::Replies replies;  // datagrams sent back for the request
        std::string line;
    };
    const std::vector<Case> cases = {
        {"split over two datagrams", {{whole.substr(0, 100), whole.substr(100)}}, equippedLine},
        // The last binding ("%flash%") loses its end; the complete ones before it count.
        {"cut short", {{whole.substr(0, whole.size() - 7)}}, withoutFlash},
        {"noise, then the answer", {{"\x01\x02\x03", whole}}, kNoValuesLine},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        cfftest::UdpPeer agent(c.replies, "127.0.0.1", 161);
        ASSERT_TRUE(agent.ok());
        FilterResult run = e2e::runNetworkFilter(scratch, kSocketUri, "AutoConfigure");
        expectReport(run, c.line);
        EXPECT_LT(run.seconds, 5);
        EXPECT_EQ(agent.received().size(), 1u);  // the request goes out once, whatever comes back
    }
}

// A DNS-SD queue resolves through the mDNS daemon of avahi-namespace.sh to the simulator's host.
TEST(NetworkAutoConfigure, ServiceDiscoveryQueueAsksTheResolvedHost) {
    if (std::getenv("CFF_AVAHI_NAMESPACE") == nullptr) {
        return cfftest::rerunCurrentTest("unshare -n -m -p -f true 2>/dev/null || { echo no private namespaces; exit 77; }; "
                                     "unshare -n -m -p -f bash " CFF_SOURCE_DIR "/tests/connection/avahi-namespace.sh 9100");
    }
    // An empty /tmp hides the host's log marker from the filter.
    ASSERT_EQ(std::system(CFF_EMPTY_TMP_SHELL), 0);
    e2e::Scratch scratch;
    e2e::Daemon printer(e2e::simulator("color-finisher", "", "10.77.0.1"), scratch.file("cffsim.log"));
    ASSERT_TRUE(e2e::waitForPort(161, "udp", "10.77.0.1")) << e2e::readFile(printer.log);
    expectReport(e2e::runNetworkFilter(scratch, "dnssd://CFF%20Test%20Printer._pdl-datastream._tcp.local./?uuid=1",
                                       "AutoConfigure"),
                 kColorFinisherOptions, e2e::readFile(printer.log));
}

// Answers over UDP 9300 in small packets are joined; the packet flagged last ends the reading,
// so packets sent last first leave the answer incomplete and nothing is reported.
TEST(NetworkReportLevels, NpaOverUdpJoinsSmallPacketsAndStopsAtTheLastOne) {
    RUN_IN_PRIVATE_NETWORK();
    e2e::Scratch scratch;
    for (const auto& [options, line] : {std::pair<const char*, std::string>{"--split 64", e2e::colorFinisherLine()},
                                        {"--split 200 --reorder", ""}}) {
        SCOPED_TRACE(options);
        e2e::Daemon printer(e2e::simulator("color-finisher", options), scratch.file("cffsim.log"));
        ASSERT_TRUE(e2e::waitForPort(9300)) << e2e::readFile(printer.log);
        FilterResult run = e2e::runNetworkFilter(scratch, kSocketUri, "ReportLevels");
        expectReport(run, line);
        EXPECT_EQ(run.output, "");
    }
}
