// TestUtil: small conveniences shared by the tests.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/Data.h"
#include "support/Utility.h"

namespace cfftest {

// This process's sanitizer settings as NAME=VALUE entries, for children started with a
// cleared environment (a sanitizer build must keep, e.g., that a preloaded library may come first).
inline std::vector<std::string> sanitizerEnvironment() {
    std::vector<std::string> entries;
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
        if (const char* value = std::getenv(name)) entries.push_back(std::string(name) + "=" + value);
    }
    return entries;
}

// The same as words for a shell command line (the values hold no blanks or quotes).
inline std::string sanitizerEnvironmentWords() {
    std::string words;
    for (const std::string& entry : sanitizerEnvironment()) words += " " + entry;
    return words;
}

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
inline void writeFile(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

inline std::string text(const Data& data) {
    return data.get() ? std::string(reinterpret_cast<const char*>(data.get()), data.size()) : "";
}

inline std::chrono::steady_clock::time_point now() { return std::chrono::steady_clock::now(); }
inline double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(now() - start).count();
}

// The host facts (uname result, system name, release) replaced while it lives.
struct FakeHost {
    FakeHost(std::string sysname, std::string release, int result = 0) {
        Utility::setUnameFunction([=](std::string& name, std::string& rel) { return name = sysname, rel = release, result; });
        Utility::refreshCUPS_2_0();
    }
    ~FakeHost() {
        Utility::setUnameFunction(nullptr);
        Utility::refreshCUPS_2_0();
    }
};

// The path of the running test program, to run it again inside some other environment.
inline std::string selfPath() { return std::filesystem::read_symlink("/proc/self/exe"); }

// Runs |command| through the shell; returns its wait status and appends its output to |output|.
inline int runCommand(const std::string& command, std::string& output) {
    FILE* run = popen(command.c_str(), "r");
    if (run == nullptr) return -1;
    char chunk[1024];
    for (size_t got; (got = std::fread(chunk, 1, sizeof chunk, run)) > 0;) output.append(chunk, got);
    return pclose(run);
}

// Runs the current test again in a copy of this program started by |launcher| (a shell prefix
// that sets up some other environment) and takes over its result; status 77 skips the test.
inline void rerunCurrentTest(const std::string& launcher) {
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string output;
    int status = runCommand(launcher + " " + selfPath() + " --gtest_filter=" + test->test_suite_name() + "." +
                                test->name() + " 2>&1",
                            output);
    int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (code == 77) GTEST_SKIP() << output;
    EXPECT_EQ(code, 0) << output;
    EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
    EXPECT_EQ(output.find("[  SKIPPED ]"), std::string::npos) << output;
}

}  // namespace cfftest

// The test runs again in private network and mount namespaces, loopback up, after the shell
// commands |setUp| (which exit 77 to skip it).
#define RERUN_IN_PRIVATE_NETWORK(setUp)                                                                        \
    if (!std::getenv("CFF_PRIVATE_NETWORK")) {                                                                 \
        return cfftest::rerunCurrentTest("unshare -n -m true 2>/dev/null || { echo no private namespaces; exit 77; }; " \
                                         "CFF_PRIVATE_NETWORK=1 unshare -n -m --propagation private sh -c '"      \
                                         "ip link set lo up || exit 77; " setUp " exec \"$0\" \"$@\"'");          \
    }
