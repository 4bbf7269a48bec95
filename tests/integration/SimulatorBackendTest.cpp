// Tests of the simulator as a spooler backend, driven through run-filter by a stand-in filter.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <algorithm>

#include "NpaAnswerBuilder.h"
#include "ProfileLoader.h"
#include "SimulatorDecoding.h"

namespace {

using simtest::at;
using simtest::fromHex;
using simtest::profilePath;

const char* const kRdc = "A5000750E021010000" "00";

struct FilterRun {
    int status = -1;
    std::vector<std::string> lines;

    // The lines that start with |tag| and a blank, without it.
    std::vector<std::string> tagged(const std::string& tag) const {
        std::vector<std::string> out;
        for (const std::string& line : lines) {
            if (line.rfind(tag + " ", 0) == 0) out.push_back(line.substr(tag.size() + 1));
        }
        return out;
    }
};

// Runs "cffsim run-filter [options] PROFILE -- fake-filter ACTIONS" and collects its output,
// which is the filter's standard error.
FilterRun runFilter(const std::string& options, const std::string& profile, const std::string& actions) {
    std::string command = "env -u DEVICE_URI " + std::string(CFFSIM_BINARY) + " run-filter " + options + " " +
                          profilePath(profile) + " -- " + CFFSIM_FAKE_FILTER + " " + actions + " 2>/dev/null";
    FilterRun run;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    char buffer[8192];
    while (fgets(buffer, sizeof(buffer), pipe)) {
        std::string line(buffer);
        if (!line.empty() && line.back() == '\n') line.pop_back();
        run.lines.push_back(line);
    }
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

std::string expectedAnswer(const std::string& profileName, const std::string& requestHex) {
    std::string answer, error;
    NpaAnswerBuilder(simtest::load(profileName)).answer(NpaRequest::classify(fromHex(requestHex)), answer, error);
    return answer;
}

// Joins packets the way a host does: the first whole, later ones without their 5-byte header.
std::string join(const std::vector<std::string>& reads) {
    std::string joined;
    for (const std::string& hex : reads) {
        std::string packet = fromHex(hex);
        joined += joined.empty() ? packet : packet.substr(5);
    }
    return joined;
}

TEST(SimulatorBackend, AnswersArriveOnePacketPerReadAndJoinIntoTheAnswer) {
    for (const char* action : {"npa:", "npaslow:"}) {
        FilterRun run = runFilter("", "color-finisher", std::string(action) + kRdc);
        ASSERT_EQ(0, run.status);
        std::vector<std::string> reads = run.tagged("READ");
        std::string answer = expectedAnswer("color-finisher", kRdc);
        ASSERT_EQ((answer.size() - 5 + 506) / 507, reads.size()) << action;
        for (size_t i = 0; i < reads.size(); ++i) {
            std::string packet = fromHex(reads[i]);
            EXPECT_EQ(0xA5u, at(packet, 0));
            EXPECT_EQ(i + 1 < reads.size() ? 0x20u : 0x00u, at(packet, 3));
        }
        std::string joined = join(reads);
        EXPECT_EQ(answer.substr(5), joined.substr(5)) << action;
    }
}

TEST(SimulatorBackend, MisbehaviourOptionsShapeTheAnswer) {
    std::string answer = expectedAnswer("basic-mono", kRdc);

    FilterRun split = runFilter("--split 16", "basic-mono", std::string("npa:") + kRdc);
    EXPECT_EQ((answer.size() - 5 + 15) / 16, split.tagged("READ").size());
    EXPECT_EQ(answer.substr(5), join(split.tagged("READ")).substr(5));

    FilterRun failed = runFilter("--fail", "basic-mono", std::string("npa:") + kRdc);
    ASSERT_EQ(1u, failed.tagged("READ").size());
    EXPECT_EQ("A5000280E0", failed.tagged("READ")[0]);

    FilterRun noisy = runFilter("--noise", "basic-mono", std::string("npa:") + kRdc);
    ASSERT_FALSE(noisy.tagged("READ").empty());
    EXPECT_EQ("00A5", noisy.tagged("READ")[0].substr(0, 4));

    FilterRun dropped = runFilter("--drop 1", "basic-mono", std::string("npa:") + kRdc + " npa:A50003500104");
    std::vector<std::string> reads = dropped.tagged("READ");
    ASSERT_EQ(1u, reads.size());
    EXPECT_EQ("A5000C0001040852414D3A3132383B", reads[0]);
}

TEST(SimulatorBackend, SideChannelWalksThePrinterTablesAndEndsCleanly) {
    FilterRun run = runFilter("", "color-finisher",
                        "walk:.1.3.6.1.2.1.43.11.1 walk:.1.3.6.1.2.1.43.12.1 walk:.1.3.6.1.2.1.43.7.1 devid");
    std::vector<std::string> walked = run.tagged("WALK");
    // Ten supplies of eight columns, four colorants of four, one localization row of three.
    EXPECT_EQ(80u + 16u + 3u, walked.size());
    std::vector<std::string> statuses = run.tagged("WALKSTATUS");
    EXPECT_EQ(std::vector<std::string>(3, "1"), statuses);
    auto has = [&walked](const std::string& line) {
        return std::find(walked.begin(), walked.end(), line) != walked.end();
    };
    EXPECT_TRUE(has(".1.3.6.1.2.1.43.11.1.1.6.1.9=Fuser Unit (220 V \xF1" "10 %)"));
    EXPECT_TRUE(has(".1.3.6.1.2.1.43.11.1.1.3.1.3=3"));  // magenta toner -> colorant row 3
    EXPECT_TRUE(has(".1.3.6.1.2.1.43.12.1.1.4.1.3=magenta"));
    EXPECT_TRUE(has(".1.3.6.1.2.1.43.7.1.1.4.1.1=2009"));
    EXPECT_TRUE(has(".1.3.6.1.2.1.43.11.1.1.9.1.10=25"));
    ASSERT_EQ(1u, run.tagged("DEVID").size());
    EXPECT_EQ("1 MFG:Simulated;MDL:SimColor C900 Finisher;CMD:NPA,PJL,PCL;CLS:PRINTER;DES:Simulated SimColor C900 Finisher;",
              run.tagged("DEVID")[0]);

    FilterRun silent = runFilter("", "silent", "walk:.1.3.6.1.2.1.43.11.1 walk:.1.3.6.1.2.1.43.5.1");
    EXPECT_TRUE(silent.tagged("WALK").empty());
    EXPECT_EQ(std::vector<std::string>(2, "1"), silent.tagged("WALKSTATUS"));
}

TEST(SimulatorBackend, RunFilterPassesTheExitStatusAndAUsbUri) {
    FilterRun run = runFilter("", "silent", "uri exit:3");
    EXPECT_EQ(3, run.status);
    ASSERT_EQ(1u, run.tagged("URI").size());
    EXPECT_NE(std::string::npos, run.tagged("URI")[0].find("usb:"));
    EXPECT_NE(std::string::npos, run.tagged("URI")[0].find("profile=/"));
}

TEST(SimulatorBackend, DiscoveryAndBadArgumentsBehaveLikeABackend) {
    std::string command = std::string(CFFSIM_BINARY) + " backend " + profilePath("basic-mono");
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(nullptr, pipe);
    char line[1024] = {0};
    ASSERT_NE(nullptr, fgets(line, sizeof(line), pipe));
    EXPECT_EQ(0, pclose(pipe));
    EXPECT_EQ(0, std::string(line).rfind("direct simusb://cffsim/basic-mono?profile=/", 0)) << line;
    EXPECT_NE(std::string::npos, std::string(line).find("\"MFG:Simulated;MDL:SimLaser M100;"));

    EXPECT_NE(0, system((std::string(CFFSIM_BINARY) + " backend /nonexistent.yaml 2>/dev/null").c_str()));
    EXPECT_NE(0, system((std::string(CFFSIM_BINARY) + " backend " + profilePath("silent") + " 1 2 >/dev/null 2>&1").c_str()));
}

}  // namespace
