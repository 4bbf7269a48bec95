// cffsim: a printer of the family simulated from a device profile, in one of three modes.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "BackendServer.h"
#include "BundledProfiles.h"
#include "FilterRunner.h"
#include "ProfileLoader.h"
#include "SimulatorLog.h"
#include "SimulatorOptions.h"
#include "UdpServer.h"

namespace {

std::atomic<bool> stopRequested(false);

void onStopSignal(int) {
    stopRequested = true;
}

int usage() {
    std::fprintf(stderr,
                 "Usage: cffsim backend [OPTIONS] PROFILE [JOB USER TITLE COPIES OPTIONS [FILE]]\n"
                 "       cffsim udp [OPTIONS] --address ADDRESS [--npa-port PORT] [--snmp-port PORT]\n"
                 "                  [--raw-port PORT] PROFILE\n"
                 "       cffsim run-filter [OPTIONS] PROFILE -- FILTER [ARGS...]\n"
                 "Options: --split N  --delay MS  --drop N  --fail  --reorder  --noise  --verbose\n"
                 "Installed as a backend named simusb, it takes the profile from the device URI\n"
                 "(simusb://cffsim/NAME?profile=PATH) or from CFFSIM_PROFILE; run without arguments\n"
                 "it lists one such URI per shipped profile.\n");
    return 2;
}

bool parseNumber(const char* text, long low, long high, long& value) {
    char* end = nullptr;
    errno = 0;
    value = std::strtol(text, &end, 10);
    return errno == 0 && end != text && *end == '\0' && value >= low && value <= high;
}

// Parsed command line of the three modes.
struct CommandLine {
    SimulatorOptions options;
    std::string address;
    long npaPort = 9300;
    long snmpPort = 161;
    long rawPort = -1;  // TCP print port; off unless asked for
    std::string profilePath;
    std::vector<std::string> rest;  // job arguments or the filter command
};

// Reads options up to the profile path; the arguments after it (after "--" for run-filter)
// go to |rest|. Returns false after printing what is wrong.
bool parseCommandLine(int argc, char** argv, int first, bool wantsFilter, CommandLine& line) {
    int i = first;
    for (; i < argc && argv[i][0] == '-' && argv[i][1] == '-' && argv[i][2] != '\0'; ++i) {
        std::string option = argv[i];
        long value = 0;
        auto numberArg = [&](long low, long high) {
            if (i + 1 >= argc || !parseNumber(argv[i + 1], low, high, value)) {
                std::fprintf(stderr, "cffsim: %s needs a number from %ld to %ld\n", option.c_str(), low, high);
                return false;
            }
            ++i;
            return true;
        };
        if (option == "--split") {
            if (!numberArg(1, 65000)) return false;
            line.options.splitPayload = static_cast<size_t>(value);
        } else if (option == "--delay") {
            if (!numberArg(0, 600000)) return false;
            line.options.delayMs = static_cast<int>(value);
        } else if (option == "--drop") {
            if (!numberArg(0, INT_MAX)) return false;
            line.options.dropRequests = static_cast<int>(value);
        } else if (option == "--npa-port") {
            if (!numberArg(-1, 65535)) return false;
            line.npaPort = value;
        } else if (option == "--snmp-port") {
            if (!numberArg(-1, 65535)) return false;
            line.snmpPort = value;
        } else if (option == "--raw-port") {
            if (!numberArg(-1, 65535)) return false;
            line.rawPort = value;
        } else if (option == "--address") {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "cffsim: --address needs an address\n");
                return false;
            }
            line.address = argv[++i];
        } else if (option == "--fail") {
            line.options.fail = true;
        } else if (option == "--reorder") {
            line.options.reorder = true;
        } else if (option == "--noise") {
            line.options.noise = true;
        } else if (option == "--verbose") {
            line.options.verbose = true;
        } else {
            std::fprintf(stderr, "cffsim: unknown option %s\n", option.c_str());
            return false;
        }
    }
    if (i >= argc) {
        std::fprintf(stderr, "cffsim: no profile given\n");
        return false;
    }
    line.profilePath = argv[i++];
    if (wantsFilter) {
        if (i >= argc || std::strcmp(argv[i], "--") != 0 || i + 1 >= argc) {
            std::fprintf(stderr, "cffsim: run-filter needs \"-- FILTER [ARGS...]\" after the profile\n");
            return false;
        }
        ++i;
    }
    for (; i < argc; ++i) {
        line.rest.push_back(argv[i]);
    }
    return true;
}

bool loadProfile(const std::string& path, DeviceProfile& profile) {
    std::string error;
    if (ProfileLoader::loadFile(path, profile, error) != 0) {
        std::fprintf(stderr, "ERROR: cffsim: %s\n", error.c_str());
        return false;
    }
    return true;
}

std::string absolutePath(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

// The URI under which a profile is offered: "simusb://" contains "usb:", which is what
// makes hosts talk to the printer through the backend's channels.
std::string backendUri(const std::string& profilePath) {
    std::string name = profilePath.substr(profilePath.find_last_of('/') + 1);
    name = name.substr(0, name.find('.'));
    return "simusb://cffsim/" + name + "?profile=" + absolutePath(profilePath);
}

// Serves one job as a backend; |jobArgs| are the spooler's arguments after the program name.
// Without them it prints the profile's device-discovery line.
int runBackend(const DeviceProfile& profile, const std::string& profilePath, const SimulatorOptions& options,
               const std::vector<std::string>& jobArgs) {
    if (jobArgs.empty()) {
        std::printf("%s\n", BackendServer::discoveryLine(&profile, backendUri(profilePath)).c_str());
        return 0;
    }
    if (jobArgs.size() != 5 && jobArgs.size() != 6) {
        std::fprintf(stderr, "Usage: simusb job-id user title copies options [file]\n");
        return 1;
    }
    int input = 0;
    if (jobArgs.size() == 6 && (input = open(jobArgs[5].c_str(), O_RDONLY)) < 0) {
        std::fprintf(stderr, "ERROR: cffsim: cannot open %s\n", jobArgs[5].c_str());
        return 1;
    }
    signal(SIGPIPE, SIG_IGN);
    BackendServer server(profile, options);
    return server.run(input) == 0 ? 0 : 1;
}

// Device discovery of the installed backend: one line per shipped profile, each with a
// device URI that a queue can be created with as it stands.
int listBundledProfiles() {
    std::string directory = BundledProfiles::directory(absolutePath("/proc/self/exe"));
    std::vector<std::string> paths = BundledProfiles::list(directory);
    if (paths.empty()) {
        std::fprintf(stderr, "ERROR: cffsim: no profiles in %s\n", directory.c_str());
    }
    for (const std::string& path : paths) {
        DeviceProfile profile;
        if (loadProfile(path, profile)) {
            std::printf("%s\n", BackendServer::discoveryLine(&profile, backendUri(path)).c_str());
        }
    }
    return 0;
}

// Entry when installed under the backend name: the profile comes from the URI or the environment.
int runAsInstalledBackend(int argc, char** argv) {
    std::string path;
    const char* uri = getenv("DEVICE_URI");
    if (uri != nullptr) {
        const char* query = std::strstr(uri, "profile=");
        if (query != nullptr) {
            path = std::string(query + 8);
            path = path.substr(0, path.find('&'));
        }
    }
    if (path.empty() && getenv("CFFSIM_PROFILE") != nullptr) {
        path = getenv("CFFSIM_PROFILE");
    }
    SimulatorOptions options;
    options.verbose = getenv("CFFSIM_VERBOSE") != nullptr;
    SimulatorLog::setVerbose(options.verbose);
    std::vector<std::string> jobArgs(argv + 1, argv + argc);
    if (jobArgs.empty() && path.empty()) {
        return listBundledProfiles();
    }
    if (path.empty()) {
        std::fprintf(stderr, "ERROR: cffsim: no profile: give profile=PATH in the device URI or set CFFSIM_PROFILE\n");
        return 1;
    }
    // The loader's message (a file that cannot be opened, a mistake in it) is the one error
    // line, so that it becomes the queue's state message.
    DeviceProfile profile;
    if (!loadProfile(path, profile)) {
        return 1;
    }
    return runBackend(profile, path, options, jobArgs);
}

int runUdp(const CommandLine& line) {
    if (line.address.empty()) {
        std::fprintf(stderr, "cffsim: udp needs --address\n");
        return 2;
    }
    DeviceProfile profile;
    if (!loadProfile(line.profilePath, profile)) {
        return 1;
    }
    UdpServer server(profile, line.options);
    std::string error;
    if (server.bind(line.address, static_cast<int>(line.npaPort), static_cast<int>(line.snmpPort), error) != 0) {
        std::fprintf(stderr, "ERROR: cffsim: %s\n", error.c_str());
        return 1;
    }
    if (line.rawPort >= 0 && server.bindRaw(line.address, static_cast<int>(line.rawPort), error) != 0) {
        std::fprintf(stderr, "ERROR: cffsim: %s\n", error.c_str());
        return 1;
    }
    std::fprintf(stderr, "cffsim: %s on %s, packets on UDP port %d, SNMP on UDP port %d\n", profile.model.c_str(),
                 line.address.c_str(), server.npaPort(), server.snmpPort());
    if (server.rawPort() >= 0) {
        std::fprintf(stderr, "cffsim: print data on TCP port %d is discarded\n", server.rawPort());
    }
    struct sigaction action;
    std::memset(&action, 0, sizeof(action));
    action.sa_handler = onStopSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    server.serve(stopRequested);
    std::fprintf(stderr, "cffsim: stopped; %d acknowledgement(s) received, %d missing\n", server.acksReceived(),
                 server.acksMissing());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    // The spooler starts a backend with the device URI as its name, and device discovery
    // with the file name: anything but "cffsim" itself is the installed backend.
    std::string program = argv[0];
    bool installed = program.find("://") != std::string::npos ||
                     program.substr(program.find_last_of('/') + 1) != "cffsim";
    if (installed) {
        return runAsInstalledBackend(argc, argv);
    }
    if (argc < 2) {
        return usage();
    }
    std::string mode = argv[1];
    CommandLine line;
    if (mode != "backend" && mode != "udp" && mode != "run-filter") {
        return usage();
    }
    if (!parseCommandLine(argc, argv, 2, mode == "run-filter", line)) {
        return 2;
    }
    SimulatorLog::setVerbose(line.options.verbose);
    if (mode == "udp") {
        return runUdp(line);
    }
    DeviceProfile profile;
    if (!loadProfile(line.profilePath, profile)) {
        return 1;
    }
    if (mode == "backend") {
        return runBackend(profile, line.profilePath, line.options, line.rest);
    }
    signal(SIGPIPE, SIG_IGN);
    FilterRunner runner(profile, line.options);
    return runner.run(line.rest, backendUri(line.profilePath), STDOUT_FILENO);
}
