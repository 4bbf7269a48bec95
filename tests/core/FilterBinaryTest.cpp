// Runs the built filter the way the spooler does and checks its exit, its output and its log.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {
namespace fs = std::filesystem;

struct Invocation {
    std::vector<std::string> args;         // after the program name
    std::optional<std::string> deviceUri;  // DEVICE_URI, unset when empty
    std::string stdinText;
    std::optional<std::string> marker;     // content of /tmp/startlog; no marker when empty
};

struct FilterRun {
    bool ran = false;
    int status = -1;
    std::string out, err, log, markerAfter;
    std::string dir;
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

// A private mount and network namespace: the filter gets its own empty /tmp (so the
// host's /tmp/startlog is never seen nor touched) and no network at all.
bool privateNamespaceAvailable() {
    static const bool available =
        std::system("unshare --mount --net --propagation private "
                    "sh -c 'mount -t tmpfs tmpfs /tmp' >/dev/null 2>&1") == 0;
    return available;
}

// Scratch files live under the build tree: the private /tmp hides the real one.
class Scratch {
public:
    Scratch() {
        std::string pattern = std::string(CFF_BINARY_DIR) + "/cff-filter-XXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        dir_ = mkdtemp(buffer.data()) ? buffer.data() : "";
    }
    ~Scratch() {
        std::error_code ignored;
        fs::remove_all(dir_, ignored);
    }
    const std::string& dir() const { return dir_; }
    // A file in the scratch directory holding |text|; returns its path.
    std::string file(const std::string& name, const std::string& text) const {
        writeFile(dir_ + "/" + name, text);
        return dir_ + "/" + name;
    }

private:
    std::string dir_;
};

FilterRun runFilter(const Scratch& scratch, const Invocation& call, bool isolated) {
    FilterRun run;
    run.dir = scratch.dir();
    const std::string& d = scratch.dir();
    std::ostringstream script;
    if (isolated) {
        script << "mount -t tmpfs tmpfs /tmp || exit 99\n";
        if (call.marker) {
            writeFile(d + "/marker", *call.marker);
            script << "cp " << quoted(d + "/marker") << " /tmp/startlog\n";
        }
    }
    writeFile(d + "/stdin", call.stdinText);
    script << "env -i PATH=/usr/bin:/bin TMPDIR=" << quoted(d);
    if (call.deviceUri) {
        script << " DEVICE_URI=" << quoted(*call.deviceUri);
    }
    script << " " << quoted(CFF_FILTER_BINARY) << " \"$@\" <" << quoted(d + "/stdin") << " >"
           << quoted(d + "/out") << " 2>" << quoted(d + "/err") << "\n";
    script << "echo $? >" << quoted(d + "/status") << "\n";
    if (isolated) {
        script << "if [ -f /tmp/startlog ]; then cp /tmp/startlog " << quoted(d + "/marker.after")
               << "; fi\n";
    }
    const std::string scriptPath = scratch.file("run.sh", script.str());

    std::vector<std::string> argv;
    if (isolated) {
        argv = {"unshare", "--mount", "--net", "--propagation", "private"};
    }
    argv.insert(argv.end(), {"sh", scriptPath});
    argv.insert(argv.end(), call.args.begin(), call.args.end());
    std::vector<char*> pointers;
    for (std::string& arg : argv) {
        pointers.push_back(arg.data());
    }
    pointers.push_back(nullptr);

    pid_t child = fork();
    if (child == 0) {
        execvp(pointers[0], pointers.data());
        _exit(127);
    }
    int waitStatus = 0;
    if (child < 0 || waitpid(child, &waitStatus, 0) != child || !WIFEXITED(waitStatus) ||
        WEXITSTATUS(waitStatus) == 99) {
        return run;
    }
    std::string status = readFile(d + "/status");
    run.ran = !status.empty();
    run.status = run.ran ? std::stoi(status) : -1;
    run.out = readFile(d + "/out");
    run.err = readFile(d + "/err");
    run.log = readFile(d + "/CommandFileFilter");
    run.markerAfter = readFile(d + "/marker.after");
    return run;
}

// The log lines with their time stamps checked and removed.
std::vector<std::string> logLines(const std::string& log) {
    static const std::regex stamp(R"(^\[\d\d:\d\d:\d\d:\d\d\d\])");
    std::vector<std::string> lines;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);) {
        EXPECT_TRUE(std::regex_search(line, stamp)) << line;
        lines.push_back(line.size() >= 14 ? line.substr(14) : line);
    }
    return lines;
}

// The messages that main() itself logged: one level deep, not an entry or exit line.
std::vector<std::string> mainMessages(const std::string& log) {
    std::vector<std::string> messages;
    for (const std::string& line : logLines(log)) {
        if (line.size() > 1 && line[0] == ' ' && line[1] != ' ' && line[1] != '<') {
            messages.push_back(line.substr(1));
        }
    }
    return messages;
}

using Messages = std::vector<std::string>;
const char kUnreachableUri[] = "socket://192.0.2.1:9100";
}  // namespace

TEST(FilterBinary, ExitsZeroWithNothingOnStdoutOrStderr) {
    const bool isolated = privateNamespaceAvailable();
    if (!isolated && access("/tmp/startlog", F_OK) == 0) {
        GTEST_SKIP() << "/tmp/startlog exists on this host, so the filter would log to stderr, "
                        "and no private namespace is permitted to hide it";
    }
    Scratch scratch;
    const std::string both = scratch.file("both", "ReportLevels\nAutoConfigure\n");
    const std::string upper = scratch.file("upper", "REPORTLEVELS\n");
    const std::string unknown = scratch.file("unknown", "Bogus\nAutoConfigure\n");
    const std::string empty = scratch.file("empty", "");
    const std::string job[] = {"42", "alice", "maintenance", "1", ""};
    auto filterArgs = [&](std::vector<std::string> extra) {
        std::vector<std::string> args(std::begin(job), std::end(job));
        args.insert(args.end(), extra.begin(), extra.end());
        return args;
    };
    const std::vector<Invocation> calls = {
        {filterArgs({both}), kUnreachableUri, "", std::nullopt},
        {filterArgs({upper}), std::nullopt, "", std::nullopt},
        {filterArgs({unknown}), kUnreachableUri, "", std::nullopt},
        {filterArgs({empty}), kUnreachableUri, "", std::nullopt},
        {filterArgs({scratch.dir() + "/no-such-file"}), kUnreachableUri, "", std::nullopt},
        {filterArgs({}), kUnreachableUri, "autoconfigure\n", std::nullopt},
        {filterArgs({both, "extra"}), std::nullopt, "PrintSelfTestPage\n", std::nullopt},
        {{}, std::nullopt, "", std::nullopt},
    };
    for (size_t i = 0; i < calls.size(); ++i) {
        FilterRun run = runFilter(scratch, calls[i], isolated);
        ASSERT_TRUE(run.ran) << "case " << i;
        EXPECT_EQ(run.status, 0) << "case " << i;
        EXPECT_EQ(run.out, "") << "case " << i;
        EXPECT_EQ(run.err, "") << "case " << i;
    }
}

TEST(FilterBinary, WithTheMarkerTracesTheRunIntoTmpDirAndRecordsItInTheMarker) {
    if (!privateNamespaceAvailable()) {
        GTEST_SKIP() << "no private mount namespace permitted; the real /tmp/startlog is "
                        "never used by the tests";
    }
    Scratch scratch;
    const std::string commands = scratch.file(
        "commands", "# maintenance\nreportLEVELS\n\nPrintSelfTestPage\nautoconfigure now\n");
    FilterRun run = runFilter(
        scratch, {{"1", "u", "t", "1", "", commands}, kUnreachableUri, "", std::string()}, true);
    ASSERT_TRUE(run.ran);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    const std::string logPath = scratch.dir() + "/CommandFileFilter";
    EXPECT_EQ(run.err, "CommandFileFilter Logfile Path : " + logPath + "\n");
    EXPECT_EQ(run.markerAfter, "CommandFileFilter=" + logPath);

    std::vector<std::string> lines = logLines(run.log);
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines.front(), "<+CommandFileFilter:main()+>");
    EXPECT_EQ(lines.back(), "<-CommandFileFilter:main()>");
    EXPECT_NE(run.log.find(" <+CommandFileFilter:getDevURI()+>\n"), std::string::npos);
    EXPECT_NE(run.log.find("  Device URI=socket://192.0.2.1:9100\n"), std::string::npos);
    EXPECT_EQ(mainMessages(run.log),
              (Messages{"Command =ReportLevels", "Command =AutoConfigure",
                        "CommandFileFilter : cupsFileClose", "Return Value from process() =0"}));
}

TEST(FilterBinary, LogShowsWhichCommandsRanAndWhereReadingStopped) {
    if (!privateNamespaceAvailable()) {
        GTEST_SKIP() << "no private mount namespace permitted; the real /tmp/startlog is "
                        "never used by the tests";
    }
    Scratch scratch;
    const std::string closed = "CommandFileFilter : cupsFileClose";
    struct Case {
        std::string name;
        std::string fileText;  // the seventh argument's content; "" with |useStdin|
        bool fileExists;
        int argCount;          // 6, 7 or 8 arguments after the program name is 5, 6 or 7
        std::string stdinText;
        std::optional<std::string> marker;
        Messages expected;
    };
    const std::vector<Case> cases = {
        {"unknown word ends the run", "AutoConfigure\nBogus\nAutoConfigure\n", true, 6, "", "",
         {"Command =AutoConfigure", "Unknown printer Command =Bogus"}},
        {"no DEVICE_URI", "ReportLevels\n", true, 6, "", "",
         {"Command =ReportLevels", closed, "Return Value from process() =-1"}},
        {"empty file", "", true, 6, "", "", {closed, "Return Value from process() =0"}},
        {"comments only", "# nothing\n\n", true, 6, "", "", {closed, "Return Value from process() =0"}},
        {"missing file", "", false, 6, "", "", {"ERROR = Unable to open command file"}},
        {"six arguments read stdin", "", true, 5, "AutoConfigure\n", "",
         {"Command =AutoConfigure", closed, "Return Value from process() =-1"}},
        {"eight arguments read stdin", "ReportLevels\n", true, 7, "AUTOCONFIGURE\n", "",
         {"Command =AutoConfigure", closed, "Return Value from process() =-1"}},
        {"marker already names the module", "", true, 6, "", "CommandFileFilter=/elsewhere\n",
         {closed, "Return Value from process() =0"}},
    };
    for (const Case& c : cases) {
        std::vector<std::string> args = {"7", "bob", "job", "1", ""};
        const std::string path = scratch.dir() + "/commands";
        std::error_code ignored;
        fs::remove(path, ignored);
        fs::remove(scratch.dir() + "/CommandFileFilter", ignored);
        if (c.fileExists) {
            writeFile(path, c.fileText);
        }
        if (c.argCount >= 6) {
            args.push_back(path);
        }
        if (c.argCount == 7) {
            args.push_back("surplus");
        }
        FilterRun run = runFilter(scratch, {args, std::nullopt, c.stdinText, c.marker}, true);
        ASSERT_TRUE(run.ran) << c.name;
        EXPECT_EQ(run.status, 0) << c.name;
        EXPECT_EQ(mainMessages(run.log), c.expected) << c.name;
        const std::string expectedMarker =
            c.marker->empty() ? "CommandFileFilter=" + scratch.dir() + "/CommandFileFilter"
                              : *c.marker;
        EXPECT_EQ(run.markerAfter, expectedMarker) << c.name;
    }
}
