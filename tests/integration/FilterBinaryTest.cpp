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
    int status = -1;
    std::string out, err, log, markerAfter;
};

// Runs the filter with files in |d|, with |marker| as /tmp/startlog (none: no such file); the
// test runs in namespaces of its own, so /tmp is an empty one. |redirections| are further shell
// redirections for the filter, such as "3<&-".
FilterRun runFilter(const std::string& d, const std::vector<std::string>& args, const char* uri,
                    const std::string& stdinText, const std::optional<std::string>& marker,
                    const std::string& redirections = "") {
    for (const char* name : {"out", "err", "CommandFileFilter"}) std::filesystem::remove(d + "/" + name);
    std::filesystem::remove("/tmp/startlog");
    if (marker) writeFile("/tmp/startlog", *marker);
    writeFile(d + "/stdin", stdinText);
    std::string command = "env -i PATH=/usr/bin:/bin" + cfftest::sanitizerEnvironmentWords() + " TMPDIR=" + quoted(d) +
                          (uri ? std::string(" DEVICE_URI=") + quoted(uri) : "") + " " + quoted(CFF_FILTER_BINARY);
    for (const std::string& arg : args) command += " " + quoted(arg);
    std::string ignored;
    int status = cfftest::runCommand(command + " <" + quoted(d + "/stdin") + " >" + quoted(d + "/out") + " 2>" +
                                         quoted(d + "/err") + " " + redirections, ignored);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(d + "/out"), readFile(d + "/err"),
            readFile(d + "/CommandFileFilter"), readFile("/tmp/startlog")};
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

TEST(FilterBinary, ExitsZeroAndLogsWhichCommandsRanAndWhereReadingStopped) {
    RUN_IN_PRIVATE_NETWORK();
    e2e::Scratch scratch;
    const std::string& dir = scratch.dir;
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
}

// Started by hand without the backend's descriptors 3 and 4, the filter must not take the
// command file for its back-channel: a file larger than the library's read buffer is read
// to its last command, and the requests go out on standard output.
TEST(FilterBinary, CommandFileIsReadToItsLastLineWhenTheBackendDescriptorsAreClosed) {
    RUN_IN_PRIVATE_NETWORK();
    e2e::Scratch scratch;
    const std::string& dir = scratch.dir;
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
}
