// Whole-program runs of the filter: scratch files, private namespaces, daemons, the simulator.
#pragma once

#include <arpa/inet.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "helpers/PeerProcess.h"
#include "helpers/PrivateTmp.h"
#include "helpers/ScriptedUsbPrinter.h"
#include "helpers/TestUtil.h"

namespace e2e {

using cfftest::PrinterAnswer;
using cfftest::ScriptedUsbPrinter;
using cfftest::UsbFilterRun;

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

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

// The filter's standard error is compared byte for byte, so no log marker in /tmp may reach it.
#define SKIP_WITHOUT_PRIVATE_TMP()                                                    \
    if (!e2e::ScriptedUsbPrinter::privateTmpAvailable()) {                            \
        GTEST_SKIP() << "no private mount namespace to hide the host's log marker";   \
    }

// Runs the filter on a network queue (its /tmp already private); fd 4 handed on if |sideChannel|.
inline UsbFilterRun runNetworkFilter(const Scratch& scratch, const std::string& uri, const std::string& command,
                                     std::vector<std::string> environment = {}, bool sideChannel = false) {
    return ScriptedUsbPrinter{{}, uri, std::move(environment), true, false, sideChannel}.run(CFF_FILTER_BINARY,
                                                                                           scratch.file(command));
}

// Environment entries that make the filter see another host kernel.
inline std::vector<std::string> host(const std::string& sysname, const std::string& release) {
    return {std::string("LD_PRELOAD=") + CFF_FAKE_UNAME_LIBRARY, "CFF_FAKE_SYSNAME=" + sysname,
            "CFF_FAKE_RELEASE=" + release};
}

// The state lines after a supply report that raises no warning.
inline const std::string kNoSupplyWarnings =
    "STATE: -toner-low-report,toner-empty-warning,marker-supply-low-report,marker-supply-empty-warning,"
    "opc-near-eol-report,opc-life-over-warning\n";
// The state lines after a supply report whose only low supply is a toner at 2 to 5 %.
inline const std::string kYellowTonerLow =
    "STATE: -toner-empty-warning,marker-supply-low-report,marker-supply-empty-warning,"
    "opc-near-eol-report,opc-life-over-warning\nSTATE: +toner-low-report\n";

// The bundled colour printer's supplies over every path (the fuser's name has a CP850 "±").
inline std::string colorFinisherLine(const std::string& wasteLevel = "75") {
    return "ATTR: marker-colors=#000000,#00FFFF,#FF00FF,#FFFF00,#000000,#00FFFF,#FF00FF,#FFFF00,"
           "#000000,#000000 marker-levels=80,55,30,5,75,50,25,100,60," + wasteLevel +
           " marker-names='\"Black Toner\"','\"Cyan Toner\"','\"Magenta Toner\"','\"Yellow Toner\"',"
           "'\"Black Drum\"','\"Cyan Drum\"','\"Magenta Drum\"','\"Yellow Drum\"',"
           "'\"Fuser Unit (220 V \xC2\xB1" "10 %)\"','\"Waste Toner Box\"' "
           "marker-types=toner,toner,toner,toner,opc,opc,opc,opc,fuser,wasteToner \n" + kYellowTonerLow;
}

// The filter's stderr from "cffsim run-filter OPTIONS PROFILE -- filter", private /tmp, |environment|.
inline std::string runUnderSimulator(const std::string& environment, const std::string& options,
                                     const std::string& profileName, const std::string& commandFile) {
    std::string command = "unshare --mount --propagation private sh -c '" + cfftest::privateTmpShell() +
                          "exec \"$0\" \"$@\"' env -i PATH=/usr/bin:/bin" + cfftest::sanitizerEnvironmentWords() +
                          " " + environment + " " + CFFSIM_BINARY + " run-filter " + options + " " +
                          profile(profileName) + " -- " + CFF_FILTER_BINARY +
                          " 42 maintenance commands 1 '' " + commandFile + " 2>/dev/null";
    std::string relayed;
    int status = cfftest::runCommand(command, relayed);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;
    return relayed;
}

// The test runs again in private network and mount namespaces: loopback up, an empty /tmp.
#define RUN_IN_PRIVATE_NETWORK()                                                                              \
    if (!std::getenv("CFF_PRIVATE_NETWORK")) {                                                                \
        return cfftest::rerunCurrentTest("unshare -n -m true 2>/dev/null || { echo no private namespaces; exit 77; }; " \
                                     "CFF_PRIVATE_NETWORK=1 unshare -n -m --propagation private sh -c '" +    \
                                     cfftest::privateTmpShell(77) + "ip link set lo up || exit 77; exec \"$0\" \"$@\"'"); \
    }

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
