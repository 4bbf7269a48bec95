// Whole-program runs of the filter over the network paths: private network, peers, the filter itself.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "helpers/PrivateTmp.h"
#include "helpers/TestUtil.h"

namespace nettest {

const char kInsideVariable[] = "CFF_PRIVATE_NETWORK";

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// True in the copy of the test program that runs inside the private network.
inline bool insidePrivateNetwork() { return std::getenv(kInsideVariable) != nullptr; }

// Runs the current test again in a copy of this program started by |launcher| (a shell
// command prefix that sets up the namespaces and runs the rest of the line), and records
// the copy's result as this test's result. Exit status 77 of the launcher means "cannot set
// up": the test is skipped with what it printed.
inline void rerunCurrentTest(const std::string& launcher) {
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    char self[4096];
    ssize_t length = readlink("/proc/self/exe", self, sizeof(self) - 1);
    ASSERT_GT(length, 0);
    self[length] = '\0';
    std::string command = launcher + " " + self + " --gtest_filter=" + test->test_suite_name() +
                          "." + test->name() + " 2>&1";
    std::FILE* run = popen(command.c_str(), "r");
    ASSERT_NE(run, nullptr);
    std::string output;
    char chunk[4096];
    size_t count;
    while ((count = std::fread(chunk, 1, sizeof(chunk), run)) > 0) {
        output.append(chunk, count);
    }
    int status = pclose(run);
    int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (code == 77) {
        GTEST_SKIP() << output;
    }
    EXPECT_EQ(code, 0) << output;
    EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
    EXPECT_EQ(output.find("[  SKIPPED ]"), std::string::npos) << output;
}

// Runs the current test again inside private network and mount namespaces: loopback up,
// nothing else listening, UDP 161 free to bind, and an empty /tmp (so the host's log marker
// is never seen), or skips when the namespaces are not permitted.
inline void rerunInPrivateNetwork() {
    if (std::system("unshare -n -m true >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "private network and mount namespaces are not permitted here "
                        "(the filter's peers must bind UDP 161 on a loopback of their own)";
    }
    rerunCurrentTest(std::string(kInsideVariable) +
                     "=1 unshare -n -m --propagation private sh -c "
                     "'" + cfftest::privateTmpShell(77) + "ip link set lo up || exit 77; "
                     "exec \"$0\" \"$@\"'");
}

// True once a UDP socket is bound to |address|:|port| in this network, checked every 20 ms
// for up to |timeoutMs|.
inline bool waitForUdpPort(int port, int timeoutMs, const std::string& address = "127.0.0.1") {
    struct in_addr bound {};
    inet_pton(AF_INET, address.c_str(), &bound);
    char wanted[32];
    // The kernel lists the address as the 32-bit number in host byte order.
    std::snprintf(wanted, sizeof(wanted), "%08X:%04X", bound.s_addr, port);
    for (int waited = 0; waited <= timeoutMs; waited += 20) {
        if (readFile("/proc/net/udp").find(wanted) != std::string::npos) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

// A program started by a test and stopped (by its process id) when the test ends.
class Daemon {
public:
    Daemon() = default;
    ~Daemon() { stop(); }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // Starts |argv| with its output going to |logPath|. False when it cannot be forked.
    bool start(const std::vector<std::string>& argv, const std::string& logPath,
               const std::map<std::string, std::string>& env = {}) {
        pid_ = fork();
        if (pid_ == 0) {
            int log = open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(log, 1);
            dup2(log, 2);
            for (int fd = 3; fd < 1024; ++fd) {
                close(fd);
            }
            for (const auto& [name, value] : env) {
                setenv(name.c_str(), value.c_str(), 1);
            }
            std::vector<char*> args;
            for (const std::string& arg : argv) {
                args.push_back(const_cast<char*>(arg.c_str()));
            }
            args.push_back(nullptr);
            execvp(args[0], args.data());
            _exit(127);
        }
        return pid_ > 0;
    }

    void stop() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            int status;
            waitpid(pid_, &status, 0);
            pid_ = -1;
        }
    }

private:
    pid_t pid_ = -1;
};

struct FilterRun {
    bool ran = false;
    int status = -1;
    std::string out, err;
    double seconds = 0;
};

// Runs the built filter as the spooler runs it for a command job: seven arguments with the
// command file last, stdin /dev/null, only PATH, TMPDIR, DEVICE_URI and |env| in the
// environment. With |sideChannel| descriptor 4 is passed on as this process holds it (a
// scripted side channel placed there reaches the filter); every other descriptor above 2 is
// closed. A filter still running after |limitSeconds| is killed and reported as not run.
inline FilterRun runFilter(const std::string& scratch, const std::string& deviceUri,
                           const std::string& commands,
                           const std::map<std::string, std::string>& env = {},
                           bool sideChannel = false, int limitSeconds = 30) {
    const std::string commandFile = scratch + "/commands";
    writeFile(commandFile, commands);
    const std::string outPath = scratch + "/filter.out";
    const std::string errPath = scratch + "/filter.err";
    // Read before the child clears its environment.
    const std::vector<std::string> sanitizer = cfftest::sanitizerEnvironment();
    auto started = std::chrono::steady_clock::now();
    pid_t child = fork();
    if (child == 0) {
        int null = open("/dev/null", O_RDONLY);
        int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(null, 0);
        dup2(out, 1);
        dup2(err, 2);
        for (int fd = 3; fd < 1024; ++fd) {
            if (fd != 4 || !sideChannel) {
                close(fd);
            }
        }
        clearenv();
        setenv("PATH", "/usr/bin:/bin", 1);
        setenv("TMPDIR", scratch.c_str(), 1);
        setenv("DEVICE_URI", deviceUri.c_str(), 1);
        for (const auto& [name, value] : env) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        for (const std::string& entry : sanitizer) {
            putenv(strdup(entry.c_str()));
        }
        signal(SIGPIPE, SIG_DFL);
        execl(CFF_FILTER_BINARY, CFF_FILTER_BINARY, "7", "lp", "maintenance", "1", "",
              commandFile.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    FilterRun run;
    if (child < 0) {
        return run;
    }
    int status = 0;
    for (;;) {
        pid_t done = waitpid(child, &status, WNOHANG);
        double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        if (done == child) {
            run.seconds = seconds;
            break;
        }
        if (seconds > limitSeconds) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return run;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    run.ran = WIFEXITED(status);
    run.status = run.ran ? WEXITSTATUS(status) : -1;
    run.out = readFile(outPath);
    run.err = readFile(errPath);
    return run;
}

// A scratch directory under the (private) /tmp, removed with the object.
struct Scratch {
    std::string dir;
    Scratch() {
        char pattern[] = "/tmp/cff-network-XXXXXX";
        dir = mkdtemp(pattern) ? pattern : "";
    }
    ~Scratch() { std::system(("rm -rf '" + dir + "'").c_str()); }
};

}  // namespace nettest
