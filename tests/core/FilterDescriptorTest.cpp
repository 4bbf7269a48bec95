// Whole-program runs of the filter started by hand, without the backend's descriptors 3 and 4.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "helpers/PrivateTmp.h"
#include "helpers/TestUtil.h"

namespace {

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The commands that the filter's log says it ran, in order.
std::vector<std::string> commandsRun(const std::string& log) {
    std::vector<std::string> commands;
    for (size_t at = 0; (at = log.find("Command =", at)) != std::string::npos; at += 9) {
        if (at > 0 && log[at - 1] != ' ') continue;  // not "Unknown printer Command ="
        commands.push_back(log.substr(at + 9, log.find('\n', at) - at - 9));
    }
    return commands;
}

// A command file larger than the library's read buffer: the first command, comment lines,
// and a last command that only a complete read of the file reaches. With descriptors 3 and
// 4 closed (|redirections|), the file must not take their place.
TEST(FilterDescriptors, CommandFileBeyondTheReadBufferRunsToItsLastLineWithoutBackendDescriptors) {
    if (std::system("unshare --mount --net --propagation private true 2>/dev/null") != 0) {
        GTEST_SKIP() << "no private mount namespace; the tests never use the host's /tmp/startlog";
    }
    std::string dir = std::string(CFF_BINARY_DIR) + "/cff-fds-XXXXXX";
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    std::string commands = "AutoConfigure\n";
    while (commands.size() < 6000) commands += "# a comment line that pads the command file past 4 KB\n";
    commands += "ReportLevels\n";
    std::ofstream(dir + "/commands", std::ios::binary) << commands;

    for (const char* redirections : {"3<&- 4<&-", "3<&-"}) {
        SCOPED_TRACE(redirections);
        std::filesystem::remove(dir + "/CommandFileFilter");
        std::string script = cfftest::privateTmpShell() + " : >/tmp/startlog; exec env -i PATH=/usr/bin:/bin" +
                             cfftest::sanitizerEnvironmentWords() + " TMPDIR=" + dir +
                             " DEVICE_URI=usb://Acme/Laser?serial=1 " CFF_FILTER_BINARY " 42 alice maintenance 1 '' " +
                             dir + "/commands </dev/null >" + dir + "/out 2>/dev/null " + redirections;
        std::ofstream(dir + "/run.sh") << script << "\n";
        int status = std::system(("unshare --mount --net --propagation private sh " + dir + "/run.sh").c_str());
        ASSERT_TRUE(WIFEXITED(status));
        ASSERT_NE(WEXITSTATUS(status), 99) << "no private /tmp";
        EXPECT_EQ(WEXITSTATUS(status), 0);
        EXPECT_EQ(commandsRun(readFile(dir + "/CommandFileFilter")),
                  (std::vector<std::string>{"AutoConfigure", "ReportLevels"}));
        // Both requests went to the backend; their answers found nothing to read.
        EXPECT_FALSE(readFile(dir + "/out").empty());
    }
    std::filesystem::remove_all(dir);
}

}  // namespace
