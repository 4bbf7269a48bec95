// Whole-program runs on network queues: SNMP to UDP 161 (net-snmp's agent), NPA over
// UDP 9300, a DNS-SD queue, and the side channel served by the spooler's own socket backend.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>

#include <string>
#include <vector>

#include "FilterRun.h"
#include "helpers/FdSlot.h"

namespace {

using e2e::FilterResult;

const char kSocketUri[] = "socket://127.0.0.1:9100";

const char kColorFinisherOptions[] =
    "PPD: DefaultEnvFeeder=InstalledM DefaultFlash=InstalledF DefaultOptDuplex=InstalledM "
    "DefaultOptOutputBins=OBin3 DefaultOutputFinisher=AdvancedFinisher DefaultTrays=Tray1234 \n";

void expectReport(const FilterResult& run, const std::string& line, const std::string& log = "") {
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.errors, line) << log;
}

}  // namespace

// A DNS-SD queue resolves through the mDNS daemon of avahi-namespace.sh to the simulator's host.
TEST(NetworkAutoConfigure, ServiceDiscoveryQueueAsksTheResolvedHost) {
    if (std::getenv("CFF_AVAHI_NAMESPACE") == nullptr) {
        // An empty /tmp hides the host's log marker from the filter.
        return cfftest::rerunCurrentTest("unshare -n -m -p -f true 2>/dev/null || { echo no private namespaces; exit 77; }; "
                                     "unshare -n -m -p -f sh -c '" CFF_EMPTY_TMP_SHELL "exec bash " CFF_SOURCE_DIR
                                     "/tests/connection/avahi-namespace.sh 9100 \"$0\" \"$@\"'");
    }
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

// A general-purpose agent marks what it does not serve noSuchObject or noSuchInstance.
TEST(NetworkAutoConfigure, RealAgentAcceptsTheRequestAndItsAnswerGivesTheOptions) {
    RUN_IN_PRIVATE_NETWORK();
    if (access("/usr/sbin/snmpd", X_OK) != 0) GTEST_SKIP() << "net-snmp's agent (package snmpd) is not installed";
    e2e::Scratch scratch;
    std::string conf = "rocommunity opencm 127.0.0.1\n";
    for (auto [oid, name] : std::vector<std::pair<const char*, const char*>>{
             {"43.8.2.1.13.1.1", "Tray 1"}, {"43.8.2.1.13.1.2", "Tray 2"}, {"43.8.2.1.13.1.3", "Tray 3"},
             {"43.8.2.1.13.1.5", "MP Tray"}, {"43.9.2.1.7.1.1", "Standard Bin"}, {"43.9.2.1.7.1.3", "Bin 2"}}) {
        conf += std::string("override .1.3.6.1.2.1.") + oid + " octet_str \"" + name + "\"\n";
    }
    conf += "override .1.3.6.1.4.1.7707.6.3.1.1.8.1.2 octet_str \"Finisher Unit\"\n"
            "override .1.3.6.1.4.1.5931.20480.100.6.3.1.1.8.1.4 octet_str \"Duplex Paper Path\"\n";
    e2e::writeFile(scratch.file("snmpd.conf"), conf);
    e2e::Daemon agent("env MIBS= SNMP_PERSISTENT_DIR=" + scratch.file("persist") + " /usr/sbin/snmpd -f -Lo -C -c " +
                          scratch.file("snmpd.conf") + " -p " + scratch.file("snmpd.pid") + " udp:127.0.0.1:161",
                      scratch.file("snmpd.log"));
    ASSERT_TRUE(e2e::waitForPort(161)) << e2e::readFile(agent.log);
    // No host-resources instance (noSuchInstance): no flash; no feeder among the inputs.
    expectReport(e2e::runNetworkFilter(scratch, kSocketUri, "AutoConfigure"),
                 "PPD: DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF DefaultOptDuplex=InstalledM "
                 "DefaultOptOutputBins=OBin2 DefaultOutputFinisher=StandardFinisher DefaultTrays=Tray123 \n",
                 e2e::readFile(agent.log));
}

// The spooler's own socket backend serves the side-channel walks by SNMP to the simulator's agent.
TEST(NetworkReportLevels, NewerSpoolerHostWalksTheSpoolersSocketBackend) {
    RUN_IN_PRIVATE_NETWORK();
    const char kBackend[] = "/usr/lib/cups/backend/socket";
    if (access(kBackend, X_OK) != 0) GTEST_SKIP() << "the spooler's socket backend is not installed";
    e2e::Scratch scratch;
    // The backend connects to the print port (the simulator's raw port) before it serves the side channel.
    e2e::Daemon printer(e2e::simulator("color-finisher", "--raw-port 9100"), scratch.file("cffsim.log"));
    ASSERT_TRUE(e2e::waitForPort(161) && e2e::waitForPort(9100, "tcp")) << e2e::readFile(printer.log);
    // Without a PPD the backend refuses SNMP requests (it needs one for its supply polling).
    const std::string ppd = scratch.file("queue.ppd");
    e2e::writeFile(ppd, "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n*LanguageVersion: English\n"
                        "*LanguageEncoding: ISOLatin1\n*ModelName: \"Sim\"\n*NickName: \"Sim\"\n*ColorDevice: True\n");
    int job[2], backChannel[2], sideChannel[2];
    ASSERT_TRUE(pipe(job) == 0 && pipe2(backChannel, O_NONBLOCK) == 0 &&
                socketpair(AF_LOCAL, SOCK_STREAM | SOCK_NONBLOCK, 0, sideChannel) == 0);
    for (int* fd : {&job[0], &job[1], &backChannel[0], &backChannel[1], &sideChannel[0], &sideChannel[1]}) {
        *fd = cfftest::moveAboveTen(*fd);
    }
    const std::string log = scratch.file("backend.log"), backendLine =
        "exec env -i PATH=/usr/bin:/bin DEVICE_URI=" + std::string(kSocketUri) + " PPD=" + ppd + " CUPS_SERVERROOT=" +
        scratch.dir + " CUPS_CACHEDIR=" + scratch.dir + " TMPDIR=" + scratch.dir + " " + kBackend +
        " 7 lp maintenance 1 \"\" >/dev/null 2>" + log;
    cfftest::PeerProcess backend;
    ASSERT_TRUE(backend.start({{job[0], 0}, {backChannel[1], 3}, {sideChannel[1], 4}},
                              [&] { return execl("/bin/sh", "sh", "-c", backendLine.c_str(), nullptr), 127; }));
    for (int fd : {job[0], backChannel[1], sideChannel[1]}) close(fd);
    // The filter runs with the backend's side channel on fd 4 and an empty back-channel.
    std::string errors;
    std::string filterLine = "env -i PATH=/usr/bin:/bin DEVICE_URI=" + std::string(kSocketUri);
    filterLine += std::string(" LD_PRELOAD=") + CFF_FAKE_UNAME_LIBRARY + " CFF_FAKE_SYSNAME=Darwin CFF_FAKE_RELEASE=14.0.0";
    filterLine += cfftest::sanitizerEnvironmentWords() + " " + CFF_FILTER_BINARY + " 42 maintenance commands 1 '' " +
                  scratch.file("ReportLevels") + " 2>&1 >/dev/null </dev/null 3</dev/null";
    int status;
    {
        cfftest::FdSlot slot(4);
        slot.place(sideChannel[0]);
        status = cfftest::runCommand(filterLine, errors);
    }
    close(job[1]);  // end of the job: the backend leaves at end of input
    EXPECT_EQ(backend.wait(5000), 0) << "the backend did not end cleanly at the end of its input";
    close(backChannel[0]);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(errors, e2e::colorFinisherLine()) << e2e::readFile(log);
}
