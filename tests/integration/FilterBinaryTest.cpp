// Runs the built filter the way the spooler does and checks its exit, its output and its log.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <optional>
#include <sstream>

#include "FilterRun.h"

namespace {

using e2e::readFile;
using e2e::writeFile;
using Messages = std::vector<std::string>;

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

struct FilterRun {
    int status = -1;  // -1: the run could not be set up
    std::string out, err, log, markerAfter;
};

// Runs the filter with files in |d| in its own mount and network namespace (an empty /tmp, no network),
// with |marker| as /tmp/startlog (none: no such file); the host's /tmp/startlog is never touched.
// |redirections| are further shell redirections for the filter, such as "3<&-".
FilterRun runFilter(const std::string& d, const std::vector<std::string>& args, const char* uri,
                    const std::string& stdinText, const std::optional<std::string>& marker,
                    const std::string& redirections = "") {
    for (const char* name : {"out", "err", "CommandFileFilter", "marker.after"}) std::filesystem::remove(d + "/" + name);
    writeFile(d + "/stdin", stdinText);
    std::ostringstream script;
    // The trees stay reachable: the test is skipped when they lie below /tmp.
    script << "mount -t tmpfs tmpfs /tmp || exit 99\n";
    if (marker) script << "printf %s " << quoted(*marker) << " >/tmp/startlog\n";
    script << "env -i PATH=/usr/bin:/bin" << cfftest::sanitizerEnvironmentWords() << " TMPDIR=" << quoted(d)
           << (uri ? std::string(" DEVICE_URI=") + quoted(uri) : "") << " " << quoted(CFF_FILTER_BINARY);
    for (const std::string& arg : args) script << " " << quoted(arg);
    script << " <" << quoted(d + "/stdin") << " >" << quoted(d + "/out") << " 2>" << quoted(d + "/err") << " " << redirections
           << "\nstatus=$?; [ -f /tmp/startlog ] && cp /tmp/startlog " << quoted(d + "/marker.after") << "\nexit $status\n";
    writeFile(d + "/run.sh", script.str());
    int waitStatus = std::system(("unshare --mount --net --propagation private sh " + quoted(d + "/run.sh")).c_str());
    if (!WIFEXITED(waitStatus) || WEXITSTATUS(waitStatus) == 99) return {};  // 99: no private /tmp
    return {WEXITSTATUS(waitStatus), readFile(d + "/out"), readFile(d + "/err"), readFile(d + "/CommandFileFilter"),
            readFile(d + "/marker.after")};
}

// The messages main() itself logged: one level deep after the "[hh:mm:ss:mmm]" stamp, no entry or exit lines.
Messages mainMessages(const std::string& log) {
    Messages messages;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);) {
        if (line.size() > 15 && line[14] == ' ' && line[15] != ' ' && line[15] != '<') messages.push_back(line.substr(15));
    }
    return messages;
}

}  // namespace

// Why runFilter cannot run here; empty when it can.
std::string whyRunsCannotBeIsolated() {
    if (std::system("unshare --mount --net --propagation private sh -c 'mount -t tmpfs tmpfs /tmp' 2>/dev/null")) {
        return "no private mount namespace permitted; the tests never use the host's /tmp/startlog";
    }
    if (std::string(CFF_SOURCE_DIR).rfind("/tmp/", 0) == 0 || std::string(CFF_BINARY_DIR).rfind("/tmp/", 0) == 0) {
        return "the trees lie below /tmp, which the filter's runs replace with an empty one";
    }
    return "";
}

TEST(FilterBinary, ExitsZeroAndLogsWhichCommandsRanAndWhereReadingStopped) {
    if (std::string why = whyRunsCannotBeIsolated(); !why.empty()) GTEST_SKIP() << why;
    std::string dir = std::string(CFF_BINARY_DIR) + "/cff-filter-XXXXXX";
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    const std::string path = dir + "/commands", logPath = dir + "/CommandFileFilter";
    const std::string closed = "CommandFileFilter : cupsFileClose";
    std::vector<std::string> job = {"42", "alice", "maintenance", "1", ""}, withFile = job, surplus;
    withFile.push_back(path);
    surplus = withFile;
    surplus.push_back("surplus");
    const char* uri = "socket://192.0.2.1:9100";
    struct Case {
        std::string name;
        std::optional<std::string> fileText;  // none: the file does not exist
        std::vector<std::string> args;
        std::string stdinText;
        const char* uri;
        std::optional<std::string> marker;  // none: logging is off
        Messages expected;
    };
    const Messages stdinRun = {"Command =AutoConfigure", closed, "Return Value from process() =-1"};
    const std::vector<Case> cases = {
        {"missing file", std::nullopt, withFile, "", uri, "", {"ERROR = Unable to open command file"}},
        // Without DEVICE_URI the request fails, yet the filter exits 0.
        {"six arguments read stdin", "ReportLevels\n", job, "AutoConfigure\n", nullptr, "", stdinRun},
        {"eight arguments read stdin", "ReportLevels\n", surplus, "AUTOCONFIGURE\n", nullptr, "", stdinRun},
        {"empty file, marker already names the module", "", withFile, "", uri, "CommandFileFilter=/elsewhere\n",
         {closed, "Return Value from process() =0"}},
        {"no logging", "", {}, "autoconfigure\nREPORTLEVELS\n", uri, std::nullopt, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::filesystem::remove(path);
        if (c.fileText) writeFile(path, *c.fileText);
        FilterRun run = runFilter(dir, c.args, c.uri, c.stdinText, c.marker);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out, "");
        if (!c.marker) {
            EXPECT_EQ(run.err + run.log + run.markerAfter, "");
            continue;
        }
        EXPECT_EQ(run.err, "CommandFileFilter Logfile Path : " + logPath + "\n");
        EXPECT_EQ(run.markerAfter, c.marker->empty() ? "CommandFileFilter=" + logPath : *c.marker);
        EXPECT_EQ(run.log.rfind("<+CommandFileFilter:main()+>\n"), 14u);  // once, as the first line
        EXPECT_EQ(mainMessages(run.log), c.expected);
    }
    std::filesystem::remove_all(dir);
}

// Started by hand without the backend's descriptors 3 and 4, the filter must not take the
// command file for its back-channel: a file larger than the library's read buffer is read
// to its last command, and the requests go out on standard output.
TEST(FilterBinary, CommandFileIsReadToItsLastLineWhenTheBackendDescriptorsAreClosed) {
    if (std::string why = whyRunsCannotBeIsolated(); !why.empty()) GTEST_SKIP() << why;
    std::string dir = std::string(CFF_BINARY_DIR) + "/cff-fds-XXXXXX";
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    std::string commands = "AutoConfigure\n";
    while (commands.size() < 6000) commands += "# a comment line that pads the command file past 4 KB\n";
    writeFile(dir + "/commands", commands + "ReportLevels\n");
    const std::vector<std::string> args = {"42", "alice", "maintenance", "1", "", dir + "/commands"};
    for (const char* redirections : {"3<&- 4<&-", "3<&-"}) {
        SCOPED_TRACE(redirections);
        FilterRun run = runFilter(dir, args, "usb://Acme/Laser?serial=1", "", "", redirections);
        EXPECT_EQ(run.status, 0);
        Messages commandsRun;
        for (const std::string& message : mainMessages(run.log)) {
            if (message.rfind("Command =", 0) == 0) commandsRun.push_back(message);
        }
        EXPECT_EQ(commandsRun, (Messages{"Command =AutoConfigure", "Command =ReportLevels"}));
        EXPECT_FALSE(run.out.empty());
    }
    std::filesystem::remove_all(dir);
}
