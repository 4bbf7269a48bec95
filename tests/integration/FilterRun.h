// Whole-program runs of the filter: scratch files, private namespaces, daemons, the simulator.
#pragma once

#include <arpa/inet.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "FilterRunner.h"
#include "ProfileLoader.h"
#include "ScriptedResponder.h"
#include "SimulatorLog.h"
#include "helpers/PeerProcess.h"
#include "helpers/TestUtil.h"

namespace e2e {

using cfftest::readFile;
using cfftest::writeFile;

// A bundled simulator profile by name, or a profile file by its absolute path.
inline std::string profile(const std::string& name) {
    return name[0] == '/' ? name : std::string(CFF_SOURCE_DIR) + "/tools/simulator/profiles/" + name + ".yaml";
}

// A scratch directory under the build tree with the two command files; removed with the object.
struct Scratch {
    std::string dir = std::string(CFF_BINARY_DIR) + "/cff-e2e-XXXXXX";
    Scratch() {
        if (!mkdtemp(dir.data())) dir.clear();
        for (std::string command : {"AutoConfigure", "ReportLevels"}) writeFile(file(command), command + "\n");
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
    std::string file(const std::string& name) const { return dir + "/" + name; }
};

// With the log marker present the filter writes its log path on standard error, which the
// tests compare byte for byte.
#define SKIP_WHILE_LOG_MARKER_EXISTS()                                                              \
    if (access("/tmp/startlog", F_OK) == 0) {                                                      \
        GTEST_SKIP() << "cannot run while /tmp/startlog exists: the filter would log on stderr";    \
    }

// What one run of the filter did.
struct FilterResult {
    int exitStatus = -1;
    std::string output;  // the job stream: the requests the backend received
    std::string errors;  // standard error
    double seconds = 0;
};

// Runs the built filter behind the simulator's backend, wired as the spooler wires them, on
// the queue |uri| with the command file |commandFile|, only PATH, DEVICE_URI and |environment|
// set. Packet requests are answered by |responder|, or by the printer |profile| describes.
inline FilterResult runFilter(const std::string& commandFile, const std::string& uri, Responder* responder,
                           const DeviceProfile& profile = DeviceProfile(), std::vector<std::string> environment = {}) {
    std::vector<std::string> argv = {"/usr/bin/env", "-i", "PATH=/usr/bin:/bin", "DEVICE_URI=" + uri};
    argv.insert(argv.end(), environment.begin(), environment.end());
    for (const std::string& entry : cfftest::sanitizerEnvironment()) argv.push_back(entry);
    for (std::string arg : {std::string(CFF_FILTER_BINARY), std::string("42"), std::string("maintenance"),
                            std::string("commands"), std::string("1"), std::string(""), commandFile}) {
        argv.push_back(arg);
    }
    FILE* errors = std::tmpfile();
    FILE* job = std::tmpfile();
    FilterResult run;
    SimulatorLog::setVerbose(std::getenv("CFF_DEBUG_SIM") != nullptr);
    auto started = cfftest::now();
    run.exitStatus = FilterRunner(profile, SimulatorOptions(), responder).run(argv, uri, fileno(errors), fileno(job));
    run.seconds = cfftest::secondsSince(started);
    for (auto [file, into] : {std::pair<FILE*, std::string*>{errors, &run.errors}, {job, &run.output}}) {
        std::rewind(file);
        char buffer[4096];
        for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, file)) > 0;) into->append(buffer, got);
        std::fclose(file);
    }
    return run;
}

// The filter on a USB queue against a printer that plays |steps|.
inline FilterResult runScripted(const std::string& commandFile, std::vector<ScriptedResponder::Step> steps,
                             std::vector<std::string> environment = {}) {
    ScriptedResponder printer(std::move(steps));
    return runFilter(commandFile, "usb://Sim/Laser%20M100?serial=42", &printer, DeviceProfile(), std::move(environment));
}

// The filter on a network queue: it talks to the network itself; the backend behind it has
// nothing to say on the back-channel.
inline FilterResult runNetworkFilter(const Scratch& scratch, const std::string& uri, const std::string& command) {
    return runFilter(scratch.file(command), uri, nullptr);
}

// The filter against the printer of the profile |profileName| behind the simulator's backend.
inline FilterResult runUnderSimulator(const std::string& profileName, const std::string& command) {
    DeviceProfile device;
    std::string error;
    EXPECT_EQ(ProfileLoader::loadFile(profile(profileName), device, error), 0) << error;
    return runFilter(command, "usb://Sim/Laser%20M100?serial=42", nullptr, device);
}

// The state lines after a supply report that raises no warning.
inline const std::string kNoSupplyWarnings =
    "STATE: -toner-low-report,toner-empty-warning,marker-supply-low-report,marker-supply-empty-warning,"
    "opc-near-eol-report,opc-life-over-warning\n";
// The bundled colour printer's supplies over every path (the fuser's name has a CP850 "±"), and
// the state lines for its only low supply, a toner at 5 %.
inline std::string colorFinisherLine() {
    return "ATTR: marker-colors=#000000,#00FFFF,#FF00FF,#FFFF00,#000000,#00FFFF,#FF00FF,#FFFF00,#000000,#000000 "
           "marker-levels=80,55,30,5,75,50,25,100,60,75 marker-names='\"Black Toner\"','\"Cyan Toner\"',"
           "'\"Magenta Toner\"','\"Yellow Toner\"','\"Black Drum\"','\"Cyan Drum\"','\"Magenta Drum\"',"
           "'\"Yellow Drum\"','\"Fuser Unit (220 V \xC2\xB1" "10 %)\"','\"Waste Toner Box\"' "
           "marker-types=toner,toner,toner,toner,opc,opc,opc,opc,fuser,wasteToner \n"
           "STATE: -toner-empty-warning,marker-supply-low-report,marker-supply-empty-warning,"
           "opc-near-eol-report,opc-life-over-warning\nSTATE: +toner-low-report\n";
}

// Shell commands that mount an empty /tmp, in a mount namespace of the caller's own; exit 77
// when the trees lie below /tmp, which the empty one would hide.
#define CFF_EMPTY_TMP_SHELL                                                                           \
    "case \"" CFF_SOURCE_DIR ":" CFF_BINARY_DIR "\" in /tmp/*|*:/tmp/*) echo the trees lie below /tmp; " \
    "exit 77;; esac; mount -t tmpfs tmpfs /tmp || exit 77; "

// The test runs again in private network and mount namespaces: loopback up, an empty /tmp.
#define RUN_IN_PRIVATE_NETWORK() RERUN_IN_PRIVATE_NETWORK(CFF_EMPTY_TMP_SHELL)

// True once a socket of |table| ("udp" or "tcp") is bound to |address|:|port|, within 10 s.
inline bool waitForPort(int port, const std::string& table = "udp", const std::string& address = "127.0.0.1") {
    struct in_addr bound {};
    inet_pton(AF_INET, address.c_str(), &bound);
    char wanted[32];  // the kernel lists the address as a 32-bit number in host byte order
    std::snprintf(wanted, sizeof(wanted), "%08X:%04X", bound.s_addr, port);
    for (int waited = 0; waited <= 10000; waited += 20) {
        if (readFile("/proc/net/" + table).find(wanted) != std::string::npos) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

// A shell command run in the background for one test, its output in |log|; killed at the end.
struct Daemon : cfftest::PeerProcess {
    std::string log;
    Daemon(const std::string& command, std::string logPath) : log(std::move(logPath)) {
        std::string line = "exec " + command + " >'" + log + "' 2>&1";
        start({}, [line] { return execl("/bin/sh", "sh", "-c", line.c_str(), nullptr), 127; });
    }
    ~Daemon() { wait(0); }
};

// The simulator's UDP printer for |profileName| at |address|, with |options|.
inline std::string simulator(const std::string& profileName, const std::string& options = "",
                             const std::string& address = "127.0.0.1") {
    return std::string(CFFSIM_BINARY) + " udp --address " + address + " " + options + " " + profile(profileName);
}

}  // namespace e2e
