// Whole-program runs of "AutoConfigure" on a network queue: one SNMP GetRequest to UDP 161.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "NetworkRun.h"
#include "helpers/PrivateTmp.h"
#include "helpers/SNMPTestMessages.h"
#include "helpers/UdpPeer.h"

#ifdef CFF_HAVE_NETSNMP
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/library/snmp_impl.h>
#endif

namespace {

using nettest::FilterRun;
using snmptest::Binding;
using snmptest::stringBinding;

const char kUri[] = "socket://127.0.0.1:9100";

// What the filter reports when the answer held no values at all.
const char kNoValuesLine[] =
    "PPD: DefaultFlash=NotInstalledF DefaultOptDuplex=InstalledM "
    "DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray1 \n";

std::string text(const snmptest::Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// The identifiers the configuration request asks for, in order.
std::vector<std::string> configurationOids() {
    std::vector<std::string> oids;
    auto series = [&oids](const std::string& prefix, int count) {
        for (int n = 1; n <= count; ++n) {
            oids.push_back(prefix + std::to_string(n));
        }
    };
    series(".1.3.6.1.2.1.43.8.2.1.13.1.", 8);
    series(".1.3.6.1.2.1.43.9.2.1.7.1.", 13);
    series(".1.3.6.1.4.1.7707.6.3.1.1.8.1.", 20);
    series(".1.3.6.1.4.1.5931.20480.100.6.3.1.1.8.1.", 20);
    oids.push_back(".1.3.6.1.2.1.43.13.4.1.10.1.2");
    oids.push_back(".1.3.6.1.2.1.25.2.3.1.3");
    return oids;
}

// Checks that |datagram| is a version-2c GetRequest of community "opencm" asking for the
// configuration identifiers with NULL values, decoding it with net-snmp's library.
void expectConfigurationRequest(const std::string& datagram) {
#ifdef CFF_HAVE_NETSNMP
    std::vector<u_char> bytes(datagram.begin(), datagram.end());
    size_t length = bytes.size();
    u_char community[64] = {0};
    size_t communityLength = sizeof(community);
    long version = -1;
    u_char* data = snmp_comstr_parse(bytes.data(), &length, community, &communityLength, &version);
    ASSERT_NE(data, nullptr) << "not an SNMP message";
    EXPECT_EQ(version, SNMP_VERSION_2c);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(community), communityLength), "opencm");
    netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_GET);
    pdu->version = version;
    ASSERT_EQ(snmp_pdu_parse(pdu, data, &length), 0);
    EXPECT_EQ(pdu->command, SNMP_MSG_GET);
    std::vector<std::string> asked;
    for (netsnmp_variable_list* v = pdu->variables; v != nullptr; v = v->next_variable) {
        std::string dotted;
        for (size_t i = 0; i < v->name_length; ++i) {
            dotted += "." + std::to_string(v->name[i]);
        }
        asked.push_back(dotted);
        EXPECT_EQ(v->type, ASN_NULL) << dotted;
    }
    EXPECT_EQ(asked, configurationOids());
    snmp_free_pdu(pdu);
#else
    EXPECT_EQ(datagram.substr(0, 1), "\x30");
    EXPECT_NE(datagram.find("opencm"), std::string::npos);
#endif
}

// The printer's names: two trays and the envelope feeder, the standard bin and one more,
// the booklet finisher in the private table, a duplex unit and flash memory.
std::vector<Binding> equippedPrinter() {
    return {stringBinding(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray 1"),
            stringBinding(".1.3.6.1.2.1.43.8.2.1.13.1.2", "Tray 2"),
            stringBinding(".1.3.6.1.2.1.43.8.2.1.13.1.3", "Feeder"),
            stringBinding(".1.3.6.1.2.1.43.9.2.1.7.1.1", "Standard Bin"),
            stringBinding(".1.3.6.1.2.1.43.9.2.1.7.1.2", "Bin 1"),
            stringBinding(".1.3.6.1.4.1.7707.6.3.1.1.8.1.1", "Booklet Finisher Unit"),
            stringBinding(".1.3.6.1.2.1.43.13.4.1.10.1.2", "Duplexor"),
            stringBinding(".1.3.6.1.2.1.25.2.3.1.3", "%flash%")};
}

const char kEquippedLine[] =
    "PPD: DefaultEnvFeeder=InstalledM DefaultFlash=InstalledF DefaultOptDuplex=InstalledM "
    "DefaultOptOutputBins=OBin1 DefaultOutputFinisher=AdvancedFinisher DefaultTrays=Tray12 \n";

const char kEquippedWithoutFlashLine[] =
    "PPD: DefaultEnvFeeder=InstalledM DefaultFlash=NotInstalledF DefaultOptDuplex=InstalledM "
    "DefaultOptOutputBins=OBin1 DefaultOutputFinisher=AdvancedFinisher DefaultTrays=Tray12 \n";

}  // namespace

// A general-purpose agent answers what it serves and marks every other identifier
// noSuchObject or noSuchInstance; the filter takes the values that are there.
TEST(NetworkAutoConfigure, RealAgentAcceptsTheRequestAndItsAnswerGivesTheOptions) {
    if (!nettest::insidePrivateNetwork()) {
        return nettest::rerunInPrivateNetwork();
    }
    if (access("/usr/sbin/snmpd", X_OK) != 0) {
        GTEST_SKIP() << "net-snmp's agent (package snmpd) is not installed";
    }
    nettest::Scratch scratch;
    const std::string conf = scratch.dir + "/snmpd.conf";
    nettest::writeFile(conf,
                       "rocommunity opencm 127.0.0.1\n"
                       "override .1.3.6.1.2.1.43.8.2.1.13.1.1 octet_str \"Tray 1\"\n"
                       "override .1.3.6.1.2.1.43.8.2.1.13.1.2 octet_str \"Tray 2\"\n"
                       "override .1.3.6.1.2.1.43.8.2.1.13.1.3 octet_str \"Tray 3\"\n"
                       "override .1.3.6.1.2.1.43.8.2.1.13.1.5 octet_str \"MP Tray\"\n"
                       "override .1.3.6.1.2.1.43.9.2.1.7.1.1 octet_str \"Standard Bin\"\n"
                       "override .1.3.6.1.2.1.43.9.2.1.7.1.3 octet_str \"Bin 2\"\n"
                       "override .1.3.6.1.4.1.7707.6.3.1.1.8.1.2 octet_str \"Finisher Unit\"\n"
                       "override .1.3.6.1.4.1.5931.20480.100.6.3.1.1.8.1.4 octet_str \"Duplex Paper Path\"\n");
    nettest::Daemon agent;
    ASSERT_TRUE(agent.start({"/usr/sbin/snmpd", "-f", "-Lo", "-C", "-c", conf, "-p", scratch.dir + "/snmpd.pid",
                             "udp:127.0.0.1:161"},
                            scratch.dir + "/snmpd.log",
                            {{"SNMP_PERSISTENT_DIR", scratch.dir + "/persist"}, {"MIBS", ""}}));
    ASSERT_TRUE(nettest::waitForUdpPort(161, 10000)) << nettest::readFile(scratch.dir + "/snmpd.log");

    FilterRun run = nettest::runFilter(scratch.dir, kUri, "AutoConfigure\n");
    ASSERT_TRUE(run.ran);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    // The host resources table answers its column without an instance as noSuchInstance:
    // no flash. No feeder among the input names: the manual feeder is reported absent.
    EXPECT_EQ(run.err,
              "PPD: DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF "
              "DefaultOptDuplex=InstalledM DefaultOptOutputBins=OBin2 "
              "DefaultOutputFinisher=StandardFinisher DefaultTrays=Tray123 \n")
        << nettest::readFile(scratch.dir + "/snmpd.log");
}

TEST(NetworkAutoConfigure, ScriptedAgentAnswersAreJoinedOrRejectedAsAWhole) {
    if (!nettest::insidePrivateNetwork()) {
        return nettest::rerunInPrivateNetwork();
    }
    const std::string whole = text(snmptest::getResponse(equippedPrinter()));
    struct Case {
        std::string name;
        std::vector<std::string> answer;  // datagrams sent back for the request
        std::string expectedLine;
    };
    const std::vector<Case> cases = {
        {"one datagram", {whole}, kEquippedLine},
        {"split over two datagrams", {whole.substr(0, 100), whole.substr(100)}, kEquippedLine},
        {"error status", {text(snmptest::getResponse(equippedPrinter(), 2))}, kNoValuesLine},
        // The last binding ("%flash%") loses its end; the complete ones before it still count.
        {"cut short", {whole.substr(0, whole.size() - 7)}, kEquippedWithoutFlashLine},
        {"lengths beyond the datagram",
         {std::string("\x30\x84\x7f\xff\xff\xff\x02\x01\x01\x04\x84\x7f\xff\xff\xf0opencm", 22)},
         kNoValuesLine},
        {"noise, then the answer", {"\x01\x02\x03", whole}, kNoValuesLine},
    };
    nettest::Scratch scratch;
    for (const Case& c : cases) {
        cfftest::UdpPeer agent(cfftest::UdpPeer::Replies{c.answer}, "127.0.0.1", 161);
        ASSERT_TRUE(agent.ok()) << c.name;
        FilterRun run = nettest::runFilter(scratch.dir, kUri, "AutoConfigure\n");
        ASSERT_TRUE(run.ran) << c.name;
        EXPECT_EQ(run.status, 0) << c.name;
        EXPECT_EQ(run.err, c.expectedLine) << c.name;
        std::vector<std::string> requests = agent.received();
        ASSERT_EQ(requests.size(), 1u) << c.name;
        expectConfigurationRequest(requests[0]);
    }
}

// With no answer the request fails after the first wait: no options are reported at all.
TEST(NetworkAutoConfigure, SilentAgentGetsOneRequestAndNothingIsReported) {
    if (!nettest::insidePrivateNetwork()) {
        return nettest::rerunInPrivateNetwork();
    }
    nettest::Scratch scratch;
    cfftest::UdpPeer agent(cfftest::UdpPeer::Replies{}, "127.0.0.1", 161);
    ASSERT_TRUE(agent.ok());
    FilterRun run = nettest::runFilter(scratch.dir, kUri, "AutoConfigure\n");
    ASSERT_TRUE(run.ran);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_GE(run.seconds, 5.0);
    EXPECT_LT(run.seconds, 9.0);
    std::vector<std::string> requests = agent.received();
    ASSERT_EQ(requests.size(), 1u);
    expectConfigurationRequest(requests[0]);
}

// A queue found by DNS-SD: the service name resolves through the mDNS daemon to the host's
// address, where the simulator's agent answers. Runs inside the namespace that
// avahi-namespace.sh sets up (its own bus, mDNS daemon and published service).
TEST(NetworkAutoConfigure, ServiceDiscoveryQueueAsksTheResolvedHost) {
    if (std::getenv("CFF_AVAHI_NAMESPACE") == nullptr) {
        if (std::system("unshare -n -m -p -f true >/dev/null 2>&1") != 0) {
            GTEST_SKIP() << "cannot create private network, mount and PID namespaces";
        }
        return nettest::rerunCurrentTest(std::string("unshare -n -m -p -f bash ") + CFF_SOURCE_DIR +
                                         "/tests/connection/avahi-namespace.sh 9100");
    }
    // The daemons are set up; a fresh /tmp hides the host's log marker from the filter.
    ASSERT_TRUE(cfftest::mountPrivateTmp());
    nettest::Scratch scratch;
    nettest::Daemon printer;
    ASSERT_TRUE(printer.start({CFFSIM_BINARY, "udp", "--address", "10.77.0.1", CFF_SOURCE_DIR
                               "/tools/simulator/profiles/color-finisher.yaml"},
                              scratch.dir + "/cffsim.log"));
    ASSERT_TRUE(nettest::waitForUdpPort(161, 10000, "10.77.0.1"))
        << nettest::readFile(scratch.dir + "/cffsim.log");
    FilterRun run = nettest::runFilter(
        scratch.dir, "dnssd://CFF%20Test%20Printer._pdl-datastream._tcp.local./?uuid=1",
        "AutoConfigure\n");
    ASSERT_TRUE(run.ran);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err,
              "PPD: DefaultEnvFeeder=InstalledM DefaultFlash=InstalledF DefaultOptDuplex=InstalledM "
              "DefaultOptOutputBins=OBin3 DefaultOutputFinisher=AdvancedFinisher DefaultTrays=Tray1234 \n")
        << nettest::readFile(scratch.dir + "/cffsim.log");
}
