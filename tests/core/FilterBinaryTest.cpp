// Runs the built filter the way the spooler does and checks its exit, its output and its log.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "helpers/PrivateTmp.h"
#include "helpers/TestUtil.h"

namespace {
using Messages = std::vector<std::string>;
const char kUri[] = "socket://192.0.2.1:9100";

struct Invocation {
    std::vector<std::string> args;  // after the program name
    std::optional<std::string> deviceUri;
    std::string stdinText;
    std::optional<std::string> marker;  // content of /tmp/startlog, none when empty
};

struct FilterRun {
    bool ran = false;
    int status = -1;
    std::string out, err, log, markerAfter;
};

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (char c : text) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + "'";
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// A private mount and network namespace gives the filter its own empty /tmp, so the host's
// /tmp/startlog is never seen nor touched, and no network, so nothing is sent anywhere.
bool isolationAvailable() {
    static const bool available = std::system(
                                      "unshare --mount --net --propagation private "
                                      "sh -c 'mount -t tmpfs tmpfs /tmp' 2>/dev/null") == 0;
    return available;
}

// Scratch files live under the build tree, as the private /tmp hides the real one.
struct Scratch {
    std::string dir;
    Scratch() {
        std::string pattern = std::string(CFF_BINARY_DIR) + "/cff-filter-XXXXXX";
        dir = mkdtemp(pattern.data()) ? pattern : "";
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
};

FilterRun runFilter(const Scratch& scratch, const Invocation& call, bool isolated) {
    const std::string& d = scratch.dir;
    for (const char* name : {"out", "err", "status", "CommandFileFilter", "marker.after"}) {
        std::filesystem::remove(d + "/" + name);
    }
    std::ostringstream script;
    if (isolated) {
        script << cfftest::privateTmpShell() << "\n";
        if (call.marker) {
            writeFile(d + "/marker", *call.marker);
            script << "cp " << quoted(d + "/marker") << " /tmp/startlog\n";
        }
    }
    writeFile(d + "/stdin", call.stdinText);
    std::string args;
    for (const std::string& arg : call.args) {
        args += " " + quoted(arg);
    }
    script << "env -i PATH=/usr/bin:/bin" << cfftest::sanitizerEnvironmentWords() << " TMPDIR=" << quoted(d)
           << (call.deviceUri ? " DEVICE_URI=" + quoted(*call.deviceUri) : "") << " "
           << quoted(CFF_FILTER_BINARY) << args << " <" << quoted(d + "/stdin") << " >"
           << quoted(d + "/out") << " 2>" << quoted(d + "/err") << "\necho $? >"
           << quoted(d + "/status") << "\n";
    if (isolated) {
        script << "[ -f /tmp/startlog ] && cp /tmp/startlog " << quoted(d + "/marker.after")
               << "\n";
    }
    writeFile(d + "/run.sh", script.str());

    std::string command =
        std::string(isolated ? "unshare --mount --net --propagation private " : "") + "sh " + quoted(d + "/run.sh");
    int waitStatus = std::system(command.c_str());
    FilterRun run;
    if (!WIFEXITED(waitStatus) || WEXITSTATUS(waitStatus) == 99 || readFile(d + "/status").empty()) {
        return run;
    }
    run.ran = true;
    run.status = std::stoi(readFile(d + "/status"));
    run.out = readFile(d + "/out");
    run.err = readFile(d + "/err");
    run.log = readFile(d + "/CommandFileFilter");
    run.markerAfter = readFile(d + "/marker.after");
    return run;
}

// True when |line| opens with a "[hh:mm:ss:mmm]" time stamp. (No std::regex: GCC 12 warns
// falsely inside it under the sanitizer flags, and warnings are errors.)
bool hasTimeStamp(const std::string& line) {
    const std::string shape = "[dd:dd:dd:ddd]";
    if (line.size() < shape.size()) {
        return false;
    }
    for (size_t i = 0; i < shape.size(); ++i) {
        bool digit = std::isdigit(static_cast<unsigned char>(line[i])) != 0;
        if (shape[i] == 'd' ? !digit : line[i] != shape[i]) {
            return false;
        }
    }
    return true;
}

// The log lines, each checked for its time stamp, without it.
Messages logLines(const std::string& log) {
    Messages lines;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);) {
        EXPECT_TRUE(hasTimeStamp(line)) << line;
        lines.push_back(line.size() >= 14 ? line.substr(14) : line);
    }
    return lines;
}

// The messages that main() itself logged: one level deep, not an entry or exit line.
Messages mainMessages(const std::string& log) {
    Messages messages;
    for (const std::string& line : logLines(log)) {
        if (line.size() > 1 && line[0] == ' ' && line[1] != ' ' && line[1] != '<') {
            messages.push_back(line.substr(1));
        }
    }
    return messages;
}

std::vector<std::string> jobArgs(std::vector<std::string> rest) {
    std::vector<std::string> args = {"42", "alice", "maintenance", "1", ""};
    args.insert(args.end(), rest.begin(), rest.end());
    return args;
}
}  // namespace

TEST(FilterBinary, ExitsZeroWithNothingOnStdoutOrStderr) {
    const bool isolated = isolationAvailable();
    if (!isolated && access("/tmp/startlog", F_OK) == 0) {
        GTEST_SKIP() << "/tmp/startlog exists on this host and no private namespace is "
                        "permitted to hide it, so the filter would log to stderr";
    }
    Scratch scratch;
    const std::string both = scratch.dir + "/both";
    const std::string unknown = scratch.dir + "/unknown";
    writeFile(both, "ReportLevels\nAutoConfigure\n");
    writeFile(unknown, "Bogus\nAutoConfigure\n");
    const std::vector<Invocation> calls = {
        {jobArgs({both}), kUri, "", std::nullopt},
        {jobArgs({unknown}), std::nullopt, "", std::nullopt},
        {jobArgs({scratch.dir + "/no-such-file"}), kUri, "", std::nullopt},
        {{}, kUri, "autoconfigure\nREPORTLEVELS\n", std::nullopt},
    };
    for (size_t i = 0; i < calls.size(); ++i) {
        FilterRun run = runFilter(scratch, calls[i], isolated);
        ASSERT_TRUE(run.ran) << "case " << i;
        EXPECT_EQ(run.status, 0) << "case " << i;
        EXPECT_EQ(run.out, "") << "case " << i;
        EXPECT_EQ(run.err, "") << "case " << i;
    }
}

TEST(FilterBinary, LogUnderTmpDirShowsWhichCommandsRanAndWhereReadingStopped) {
    if (!isolationAvailable()) {
        GTEST_SKIP() << "no private mount namespace permitted; the tests never use the "
                        "host's /tmp/startlog";
    }
    Scratch scratch;
    const std::string path = scratch.dir + "/commands";
    const std::string logPath = scratch.dir + "/CommandFileFilter";
    const std::string closed = "CommandFileFilter : cupsFileClose";
    struct Case {
        std::string name;
        std::optional<std::string> fileText;  // none: the file does not exist
        std::vector<std::string> args;
        std::string stdinText;
        std::optional<std::string> uri;
        std::string marker;
        Messages expected;
    };
    const auto none = std::nullopt;
    const Messages stdinRun = {"Command =AutoConfigure", closed, "Return Value from process() =-1"};
    const std::vector<Case> cases = {
        {"any case, comments, self test ignored",
         "# maintenance\nreportLEVELS\n\nPrintSelfTestPage\nautoconfigure now\n", jobArgs({path}), "",
         kUri, "", {"Command =ReportLevels", "Command =AutoConfigure", closed, "Return Value from process() =0"}},
        {"unknown word ends the run", "AutoConfigure\nBogus\nAutoConfigure\n", jobArgs({path}), "", none, "",
         {"Command =AutoConfigure", "Unknown printer Command =Bogus"}},
        {"no DEVICE_URI", "ReportLevels\n", jobArgs({path}), "", none, "",
         {"Command =ReportLevels", closed, "Return Value from process() =-1"}},
        {"empty file", "", jobArgs({path}), "", kUri, "", {closed, "Return Value from process() =0"}},
        {"missing file", none, jobArgs({path}), "", kUri, "", {"ERROR = Unable to open command file"}},
        {"six arguments read stdin", "ReportLevels\n", jobArgs({}), "AutoConfigure\n", none, "", stdinRun},
        {"eight arguments read stdin", "ReportLevels\n", jobArgs({path, "surplus"}), "AUTOCONFIGURE\n", none, "",
         stdinRun},
        {"marker already names the module", "", jobArgs({path}), "", kUri, "CommandFileFilter=/elsewhere\n",
         {closed, "Return Value from process() =0"}},
    };
    for (const Case& c : cases) {
        std::filesystem::remove(path);
        if (c.fileText) {
            writeFile(path, *c.fileText);
        }
        FilterRun run = runFilter(scratch, {c.args, c.uri, c.stdinText, c.marker}, true);
        ASSERT_TRUE(run.ran) << c.name;
        EXPECT_EQ(run.status, 0) << c.name;
        EXPECT_EQ(run.out, "") << c.name;
        EXPECT_EQ(run.err, "CommandFileFilter Logfile Path : " + logPath + "\n") << c.name;
        EXPECT_EQ(run.markerAfter, c.marker.empty() ? "CommandFileFilter=" + logPath : c.marker)
            << c.name;
        Messages lines = logLines(run.log);
        ASSERT_GE(lines.size(), 2u) << c.name;
        EXPECT_EQ(lines.front(), "<+CommandFileFilter:main()+>") << c.name;
        EXPECT_EQ(lines.back(), "<-CommandFileFilter:main()>") << c.name;
        EXPECT_EQ(mainMessages(run.log), c.expected) << c.name;
        if (c.expected.size() > 2) {
            EXPECT_NE(run.log.find(" <+CommandFileFilter:getDevURI()+>\n"), std::string::npos);
            EXPECT_NE(run.log.find("  Device URI=" + c.uri.value_or("") + "\n"), std::string::npos)
                << c.name;
        }
    }
}
