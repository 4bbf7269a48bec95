// Whole-program runs of "ReportLevels" on a network queue: NPA over UDP 9300, or the backend's SNMP side channel.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "NetworkRun.h"
#include "helpers/FdSlot.h"
#include "helpers/ScriptedSideChannel.h"
#include "helpers/TestUtil.h"

namespace {

using nettest::FilterRun;

const std::string kProfile = std::string(CFF_SOURCE_DIR) + "/tools/simulator/profiles/color-finisher.yaml";
const char kSocketUri[] = "socket://127.0.0.1:9100";

// The bundled colour printer's supplies, reported the same way over either path: toners,
// drums, the fuser (name from code page 850, with "±") and the waste toner as what is left.
std::string colorFinisherLine(const std::string& wasteLevel = "75") {
    return "ATTR: marker-colors=#000000,#00FFFF,#FF00FF,#FFFF00,#000000,#00FFFF,#FF00FF,#FFFF00,"
           "#000000,#000000 marker-levels=80,55,30,5,75,50,25,100,60," +
           wasteLevel +
           " marker-names='\"Black Toner\"','\"Cyan Toner\"','\"Magenta Toner\"','\"Yellow Toner\"',"
           "'\"Black Drum\"','\"Cyan Drum\"','\"Magenta Drum\"','\"Yellow Drum\"',"
           "'\"Fuser Unit (220 V \xC2\xB1" "10 %)\"','\"Waste Toner Box\"' "
           "marker-types=toner,toner,toner,toner,opc,opc,opc,opc,fuser,wasteToner \n";
}

// Environment that makes the filter see another host kernel.
std::map<std::string, std::string> host(const std::string& sysname, const std::string& release) {
    return {{"LD_PRELOAD", CFF_FAKE_UNAME_LIBRARY},
            {"CFF_FAKE_SYSNAME", sysname},
            {"CFF_FAKE_RELEASE", release}};
}

const std::string kNonIppLoopback("\xA5\x00\x06\x40\x03\x04\x20\x20\x20", 9);
const std::string kIppLoopback("\x00\x00", 2);

}  // namespace

// Linux and the older Darwin hosts ask the printer itself over UDP 9300; Darwin hosts up
// to major 6 (kernel 10) then also write the command loopback for the queue's kind.
TEST(NetworkReportLevels, NpaOverUdpReportsTheSuppliesAndOldDarwinHostsWriteTheLoopback) {
    if (!nettest::insidePrivateNetwork()) {
        return nettest::rerunInPrivateNetwork();
    }
    struct Case {
        std::string name;
        std::vector<std::string> simulatorOptions;
        std::map<std::string, std::string> env;
        std::string uri;
        std::string expectedOut;
        std::string expectedErr;
    };
    const std::vector<Case> cases = {
        {"Linux", {}, {}, kSocketUri, "", colorFinisherLine()},
        {"Linux, small packets", {"--split", "64"}, {}, kSocketUri, "", colorFinisherLine()},
        // The packet flagged as the last one ends the reading whatever its number: the
        // answer stays incomplete and nothing is reported.
        {"Linux, packets last first", {"--split", "200", "--reorder"}, {}, kSocketUri, "", ""},
        {"Darwin 10, socket queue", {}, host("Darwin", "10.8.0"), kSocketUri, kNonIppLoopback,
         colorFinisherLine()},
        {"Darwin 10, IPP queue", {}, host("Darwin", "10.8.0"), "ipp://127.0.0.1:631/ipp/print",
         kIppLoopback, colorFinisherLine()},
        {"Darwin 11: no loopback", {}, host("Darwin", "11.0.0"), kSocketUri, "", colorFinisherLine()},
        // Major 8 keeps the waste toner's plain fill level.
        {"Darwin 12: waste toner as filled", {}, host("Darwin", "12.5.0"), kSocketUri, "",
         colorFinisherLine("25")},
    };
    nettest::Scratch scratch;
    for (const Case& c : cases) {
        nettest::Daemon printer;
        std::vector<std::string> argv = {CFFSIM_BINARY, "udp", "--address", "127.0.0.1"};
        argv.insert(argv.end(), c.simulatorOptions.begin(), c.simulatorOptions.end());
        argv.push_back(kProfile);
        ASSERT_TRUE(printer.start(argv, scratch.dir + "/cffsim.log")) << c.name;
        ASSERT_TRUE(nettest::waitForUdpPort(9300, 10000))
            << c.name << ": " << nettest::readFile(scratch.dir + "/cffsim.log");

        FilterRun run = nettest::runFilter(scratch.dir, c.uri, "ReportLevels\n", c.env);
        ASSERT_TRUE(run.ran) << c.name;
        EXPECT_EQ(run.status, 0) << c.name;
        EXPECT_EQ(run.out, c.expectedOut) << c.name;
        EXPECT_EQ(run.err, c.expectedErr) << c.name;
        printer.stop();
    }
}

// A Darwin 14 host takes the levels from the backend's SNMP side channel; the simulator's
// backend serves the same printer's Printer MIB, so the report is the same as over NPA.
TEST(NetworkReportLevels, NewerSpoolerHostWalksTheSimulatorBackendsSideChannel) {
    if (!nettest::insidePrivateNetwork()) {
        return nettest::rerunInPrivateNetwork();
    }
    nettest::Scratch scratch;
    const std::string commands = scratch.dir + "/commands";
    nettest::writeFile(commands, "ReportLevels\n");
    std::string command = std::string("env -i PATH=/usr/bin:/bin") + cfftest::sanitizerEnvironmentWords() + " TMPDIR=" + scratch.dir +
                          " DEVICE_URI=" + kSocketUri + " " + CFFSIM_BINARY + " run-filter " + kProfile +
                          " -- /usr/bin/env LD_PRELOAD=" + CFF_FAKE_UNAME_LIBRARY +
                          " CFF_FAKE_SYSNAME=Darwin CFF_FAKE_RELEASE=14.0.0 " + CFF_FILTER_BINARY +
                          " 7 lp maintenance 1 '' " + commands + " 2>/dev/null";
    std::FILE* run = popen(command.c_str(), "r");
    ASSERT_NE(run, nullptr);
    std::string err;
    char chunk[4096];
    size_t count;
    while ((count = std::fread(chunk, 1, sizeof(chunk), run)) > 0) {
        err.append(chunk, count);
    }
    int status = pclose(run);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(err, colorFinisherLine());
}

// A scripted backend: special levels, a supply with no known capacity, and descriptions in
// ISO-8859-5, which the localization row current in the general table names (charset 8).
TEST(NetworkReportLevels, NewerSpoolerHostConvertsDescriptionsAndFlattensSpecialLevels) {
    if (!nettest::insidePrivateNetwork()) {
        return nettest::rerunInPrivateNetwork();
    }
    const std::string cyrillicBlackToner = "\xC2\xDE\xDD\xD5\xE0 \xE7\xD5\xE0\xDD\xEB\xD9";
    const std::string cyrillicToner = "\xC2\xDE\xDD\xD5\xE0";
    auto supply = [](int column, int row, const std::string& value) {
        return cfftest::SnmpObject{".1.3.6.1.2.1.43.11.1.1." + std::to_string(column) + ".1." +
                                       std::to_string(row),
                                   value};
    };
    std::vector<cfftest::SnmpObject> objects = {
        {".1.3.6.1.2.1.43.5.1.1.1.1", "3"},  // configuration changes
        {".1.3.6.1.2.1.43.5.1.1.2.1", "2"},  // current localization: row 2
        {".1.3.6.1.2.1.43.7.1.1.2.1.1", "en"},
        {".1.3.6.1.2.1.43.7.1.1.2.1.2", "ru"},
        {".1.3.6.1.2.1.43.7.1.1.3.1.1", "US"},
        {".1.3.6.1.2.1.43.7.1.1.3.1.2", "RU"},
        {".1.3.6.1.2.1.43.7.1.1.4.1.1", "3"},
        {".1.3.6.1.2.1.43.7.1.1.4.1.2", "8"},
    };
    const char* colorants[] = {"black", "cyan", "magenta", "yellow"};
    for (int row = 1; row <= 4; ++row) {
        std::string prefix = ".1.3.6.1.2.1.43.12.1.1.";
        std::string index = ".1." + std::to_string(row);
        objects.push_back({prefix + "2" + index, "1"});
        objects.push_back({prefix + "3" + index, "3"});
        objects.push_back({prefix + "4" + index, colorants[row - 1]});
        objects.push_back({prefix + "5" + index, "256"});
    }
    // Rows: colorant index, MIB type, description, maximum, level.
    struct Row {
        std::string colorant, type, description, max, level;
    };
    const std::vector<Row> rows = {
        {"1", "3", cyrillicBlackToner, "100", "40"},
        {"2", "3", cyrillicToner + " C", "100", "-3"},  // some left
        {"3", "3", cyrillicToner + " M", "100", "60"},
        {"4", "3", cyrillicToner + " Y", "100", "-2"},  // unknown
        {"1", "9", "Drum K", "20000", "5000"},
        {"3", "9", "Drum M", "20000", "20000"},  // a magenta drum shares magenta toner's id
        {"0", "15", "Fuser", "-2", "-3"},
        {"0", "4", "Waste", "100", "10"},
    };
    for (size_t i = 0; i < rows.size(); ++i) {
        int row = static_cast<int>(i) + 1;
        objects.push_back(supply(2, row, "1"));
        objects.push_back(supply(3, row, rows[i].colorant));
        objects.push_back(supply(4, row, "3"));
        objects.push_back(supply(5, row, rows[i].type));
        objects.push_back(supply(6, row, rows[i].description));
        objects.push_back(supply(7, row, "19"));
        objects.push_back(supply(8, row, rows[i].max));
        objects.push_back(supply(9, row, rows[i].level));
    }

    nettest::Scratch scratch;
    cfftest::ScriptedSideChannel backend({objects, {}, 0});
    ASSERT_TRUE(backend.ok());
    FilterRun run = nettest::runFilter(scratch.dir, kSocketUri, "ReportLevels\n",
                                       host("Darwin", "14.0.0"), true);
    std::vector<cfftest::SideChannelRequest> requests = backend.stop();
    ASSERT_TRUE(run.ran);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err,
              "ATTR: marker-colors=#000000,#00FFFF,#FF00FF,#FFFF00,#000000,#FF00FF,#000000,#000000 "
              "marker-levels=40,0,60,0,25,100,0,90 "
              "marker-names='\"\xD0\xA2\xD0\xBE\xD0\xBD\xD0\xB5\xD1\x80 "
              "\xD1\x87\xD0\xB5\xD1\x80\xD0\xBD\xD1\x8B\xD0\xB9\"',"
              "'\"\xD0\xA2\xD0\xBE\xD0\xBD\xD0\xB5\xD1\x80 C\"','\"\xD0\xA2\xD0\xBE\xD0\xBD\xD0\xB5\xD1\x80 M\"',"
              "'\"\xD0\xA2\xD0\xBE\xD0\xBD\xD0\xB5\xD1\x80 Y\"','\"Drum K\"','\"Drum M\"','\"Fuser\"','\"Waste\"' "
              "marker-types=toner,toner,toner,toner,opc,opc,fuser,wasteToner \n");

    // Four walks, one per table, each started at its table's entry, nothing but walks: a
    // request for an identifier that is not an object of the script starts a walk.
    std::set<std::string> served;
    for (const cfftest::SnmpObject& object : objects) {
        served.insert(object.oid);
    }
    std::vector<std::string> walkStarts;
    for (const cfftest::SideChannelRequest& request : requests) {
        EXPECT_EQ(request.command, 7) << request.data;
        std::string oid = request.data.c_str();
        if (served.count(oid) == 0) {
            walkStarts.push_back(oid);
        }
    }
    EXPECT_EQ(walkStarts, (std::vector<std::string>{".1.3.6.1.2.1.43.7.1", ".1.3.6.1.2.1.43.5.1",
                                                    ".1.3.6.1.2.1.43.12.1", ".1.3.6.1.2.1.43.11.1"}));
}

// The spooler's own socket backend as the side-channel peer: it asks the simulator's agent
// over SNMP for each step of the walks, so the report is again the same.
TEST(NetworkReportLevels, NewerSpoolerHostWalksTheSpoolersSocketBackend) {
    if (!nettest::insidePrivateNetwork()) {
        return nettest::rerunInPrivateNetwork();
    }
    const char kBackend[] = "/usr/lib/cups/backend/socket";
    if (access(kBackend, X_OK) != 0) {
        GTEST_SKIP() << "the spooler's socket backend is not installed";
    }
    nettest::Scratch scratch;
    nettest::Daemon printer;
    ASSERT_TRUE(printer.start({CFFSIM_BINARY, "udp", "--address", "127.0.0.1", kProfile},
                              scratch.dir + "/cffsim.log"));
    ASSERT_TRUE(nettest::waitForUdpPort(161, 10000)) << nettest::readFile(scratch.dir + "/cffsim.log");
    // The backend connects to the print port before it serves the side channel.
    int printPort = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(9100);
    inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
    ASSERT_EQ(bind(printPort, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(printPort, 4), 0);

    // The backend needs a PPD for its supply polling, else it refuses SNMP requests.
    const std::string ppd = scratch.dir + "/queue.ppd";
    nettest::writeFile(ppd, "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n*LanguageVersion: English\n"
                            "*LanguageEncoding: ISOLatin1\n*ModelName: \"Sim\"\n*NickName: \"Sim\"\n"
                            "*ColorDevice: True\n");
    int job[2], backChannel[2], sideChannel[2];
    ASSERT_EQ(pipe(job), 0);
    ASSERT_EQ(pipe(backChannel), 0);
    ASSERT_EQ(socketpair(AF_LOCAL, SOCK_STREAM, 0, sideChannel), 0);
    for (int* fd : {&job[0], &job[1], &backChannel[0], &backChannel[1], &sideChannel[0], &sideChannel[1]}) {
        *fd = cfftest::moveAboveTen(*fd);
    }
    for (int fd : {backChannel[0], backChannel[1], sideChannel[0], sideChannel[1]}) {
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    }
    const std::string backendLog = scratch.dir + "/backend.log";
    pid_t backend = fork();
    if (backend == 0) {
        dup2(job[0], 0);
        dup2(open("/dev/null", O_WRONLY), 1);
        dup2(open(backendLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 2);
        dup2(backChannel[1], 3);
        dup2(sideChannel[1], 4);
        for (int fd = 5; fd < 1024; ++fd) {
            close(fd);
        }
        clearenv();
        setenv("PATH", "/usr/bin:/bin", 1);
        setenv("DEVICE_URI", kSocketUri, 1);
        setenv("PPD", ppd.c_str(), 1);
        setenv("CUPS_SERVERROOT", scratch.dir.c_str(), 1);
        setenv("CUPS_CACHEDIR", scratch.dir.c_str(), 1);
        setenv("TMPDIR", scratch.dir.c_str(), 1);
        execl(kBackend, kBackend, "7", "lp", "maintenance", "1", "", static_cast<char*>(nullptr));
        _exit(127);
    }
    ASSERT_GT(backend, 0);
    close(job[0]);
    close(backChannel[1]);
    close(sideChannel[1]);
    FilterRun run;
    {
        cfftest::FdSlot slot(4);
        slot.place(sideChannel[0]);
        run = nettest::runFilter(scratch.dir, kSocketUri, "ReportLevels\n", host("Darwin", "14.0.0"), true);
    }
    // End of the job: the backend leaves at end of input.
    close(job[1]);
    int status = 0;
    bool ended = false;
    for (int waited = 0; waited < 5000 && !ended; waited += 10) {
        ended = waitpid(backend, &status, WNOHANG) == backend;
        if (!ended) {
            usleep(10000);
        }
    }
    if (!ended) {
        kill(backend, SIGKILL);
        waitpid(backend, &status, 0);
    }
    EXPECT_TRUE(ended) << "the backend did not end at the end of its input";
    close(backChannel[0]);
    close(printPort);
    ASSERT_TRUE(run.ran);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, colorFinisherLine()) << nettest::readFile(backendLog);
}
