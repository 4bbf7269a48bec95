// Runs the built filter the way the spooler does and checks its exit, its output and its log.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

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

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

struct FilterRun {
    bool ran = false;
    int status = -1;
    std::string out, err, log, markerAfter;
};

// Runs the filter in a private mount and network namespace: its own empty /tmp, so the
// host's /tmp/startlog is never seen nor touched, and no network, so nothing is sent
// anywhere. |marker| is put into /tmp/startlog first; none means no such file.
FilterRun runFilter(const std::string& d, const std::vector<std::string>& args, const char* uri,
                    const std::string& stdinText, const std::optional<std::string>& marker) {
    for (const char* name : {"out", "err", "status", "CommandFileFilter", "marker.after"}) {
        std::filesystem::remove(d + "/" + name);
    }
    std::ostringstream script;
    script << cfftest::privateTmpShell() << "\n";
    if (marker) {
        writeFile(d + "/marker", *marker);
        script << "cp " << quoted(d + "/marker") << " /tmp/startlog\n";
    }
    writeFile(d + "/stdin", stdinText);
    script << "env -i PATH=/usr/bin:/bin" << cfftest::sanitizerEnvironmentWords() << " TMPDIR=" << quoted(d)
           << (uri ? std::string(" DEVICE_URI=") + quoted(uri) : "") << " " << quoted(CFF_FILTER_BINARY);
    for (const std::string& arg : args) script << " " << quoted(arg);
    script << " <" << quoted(d + "/stdin") << " >" << quoted(d + "/out") << " 2>" << quoted(d + "/err")
           << "\necho $? >" << quoted(d + "/status") << "\n[ -f /tmp/startlog ] && cp /tmp/startlog "
           << quoted(d + "/marker.after") << "\n";
    writeFile(d + "/run.sh", script.str());

    int waitStatus = std::system(("unshare --mount --net --propagation private sh " + quoted(d + "/run.sh")).c_str());
    FilterRun run;
    if (!WIFEXITED(waitStatus) || WEXITSTATUS(waitStatus) == 99 || readFile(d + "/status").empty()) return run;
    run = {true, std::stoi(readFile(d + "/status")), readFile(d + "/out"), readFile(d + "/err"),
           readFile(d + "/CommandFileFilter"), readFile(d + "/marker.after")};
    return run;
}

// The messages that main() itself logged: one level deep (after the "[hh:mm:ss:mmm]" time
// stamp), not an entry or exit line.
Messages mainMessages(const std::string& log) {
    Messages messages;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);) {
        if (line.size() > 15 && line[14] == ' ' && line[15] != ' ' && line[15] != '<') messages.push_back(line.substr(15));
    }
    return messages;
}

std::vector<std::string> jobArgs(std::vector<std::string> rest) {
    std::vector<std::string> args = {"42", "alice", "maintenance", "1", ""};
    args.insert(args.end(), rest.begin(), rest.end());
    return args;
}

}  // namespace

TEST(FilterBinary, ExitsZeroAndLogsWhichCommandsRanAndWhereReadingStopped) {
    if (std::system("unshare --mount --net --propagation private sh -c 'mount -t tmpfs tmpfs /tmp' 2>/dev/null")) {
        GTEST_SKIP() << "no private mount namespace permitted; the tests never use the host's /tmp/startlog";
    }
    std::string dir = std::string(CFF_BINARY_DIR) + "/cff-filter-XXXXXX";
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    const std::string path = dir + "/commands", logPath = dir + "/CommandFileFilter";
    const std::string closed = "CommandFileFilter : cupsFileClose";
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
        {"any case, comments, self test ignored",
         "# maintenance\nreportLEVELS\n\nPrintSelfTestPage\nautoconfigure now\n", jobArgs({path}), "", kUri, "",
         {"Command =ReportLevels", "Command =AutoConfigure", closed, "Return Value from process() =0"}},
        {"unknown word ends the run", "AutoConfigure\nBogus\nAutoConfigure\n", jobArgs({path}), "", nullptr, "",
         {"Command =AutoConfigure", "Unknown printer Command =Bogus"}},
        {"no DEVICE_URI", "ReportLevels\n", jobArgs({path}), "", nullptr, "",
         {"Command =ReportLevels", closed, "Return Value from process() =-1"}},
        {"empty file", "", jobArgs({path}), "", kUri, "", {closed, "Return Value from process() =0"}},
        {"missing file", std::nullopt, jobArgs({path}), "", kUri, "", {"ERROR = Unable to open command file"}},
        {"six arguments read stdin", "ReportLevels\n", jobArgs({}), "AutoConfigure\n", nullptr, "", stdinRun},
        {"eight arguments read stdin", "ReportLevels\n", jobArgs({path, "surplus"}), "AUTOCONFIGURE\n", nullptr, "",
         stdinRun},
        {"marker already names the module", "", jobArgs({path}), "", kUri, "CommandFileFilter=/elsewhere\n",
         {closed, "Return Value from process() =0"}},
        {"no logging, missing file", std::nullopt, jobArgs({path}), "", kUri, std::nullopt, {}},
        {"no logging, stdin", "", {}, "autoconfigure\nREPORTLEVELS\n", kUri, std::nullopt, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::filesystem::remove(path);
        if (c.fileText) writeFile(path, *c.fileText);
        FilterRun run = runFilter(dir, c.args, c.uri, c.stdinText, c.marker);
        ASSERT_TRUE(run.ran);
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
