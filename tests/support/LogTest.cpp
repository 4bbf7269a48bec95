// Tests of the diagnostic log: marker file handling, line format and trace structure, and the
// marker and log file when another user has put a link or other file there.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "helpers/OutputCapture.h"
#include "helpers/ScopedEnv.h"
#include "support/TempLog.h"

// The filter's whole-program runs (FilterBinary) cover no marker, an empty one and one that
// already names the module.
TEST(LogSettings, MarkerEntriesAreSortedWithTheModuleAddedAndTheFirstSettingsStay) {
    TempLog temp;
    ScopedEnv env;
    env.set("TMPDIR", temp.dir());  // no trailing slash: one is added
    temp.writeMarker("Zeta=/z\nnot an entry\n\nAlpha=/a=ignored\n");
    OutputCapture err(2);
    LogSettings::initialize(true, "CommandFileFilter", "");
    LogSettings::initialize(false, "Other", "/ignored/");
    { Logger("M", "f").Log("x"); }
    EXPECT_EQ(cfftest::readFile(temp.markerPath()), "Alpha=/a\r\nCommandFileFilter=" + temp.logPath() + "\r\nZeta=/z");
    EXPECT_TRUE(LogSettings::instance()->isLogEnabled());
    EXPECT_EQ(LogSettings::instance()->getLogFilePath(), temp.logPath());
    EXPECT_EQ(err.text(), "CommandFileFilter Logfile Path : " + temp.logPath() + "\n");
    EXPECT_TRUE(std::filesystem::exists(temp.logPath()));
    env.set("TMPDIR", std::nullopt);
    EXPECT_EQ(LogSettings::getCUPSTmpDirPath(), "/tmp/");
}

TEST(Logger, NestedTraceBalancesDepthClampsIndentationAndLogReturnEndsTheScopeOnce) {
    TempLog log;
    OutputCapture err(2);
    ScopedEnv env;
    log.enable();
    env.set("TZ", "UTC0");
    tzset();
    Clock::setNowFunction([] { return timeval{3723, 45678}; });  // 01:02:03.045678 UTC
    const std::string kStamp = "[01:02:03:045]", longText(5000, 'q');
    {
        Logger outer("Outer", "run()");
        outer.Log("count=%d %s", 2, longText.c_str());
        {
            Logger inner("Inner", "read");
            const unsigned char bytes[] = {0x0A, 0x1B, 0xF0};
            inner.LogData(bytes, 3);
        }
        outer.LogReturn();
    }
    std::string expected;
    for (std::string line : {"<+Outer:run()+>", " count=2 @", " <+Inner:read+>", "  <+Dumping Data+>",
                             "  <0x0a,0x1b,0xf0,>dumped 3 bytes", "  <-Dumping Data>", " <-Inner:read>", "<-Outer:run()>"}) {
        if (line.back() == '@') line.replace(line.size() - 1, 1, longText);
        expected += kStamp + line + "\n";
    }
    EXPECT_EQ(log.log(), expected);
    EXPECT_EQ(Logger::indentation_, 0);

    for (auto [depth, indented] : {std::pair{250, std::string(100, ' ') + "A:f"}, std::pair{-4, std::string(" A:f")}}) {
        Logger::indentation_ = depth;
        EXPECT_EQ(Logger::formatLog(LogSettings::instance(), "A:f", Logger::kMessage), kStamp + indented + "\n") << depth;
    }
}

TEST(Logger, UnopenableLogFileSendsLinesToStderr) {
    TempLog temp;
    temp.writeMarker("");
    OutputCapture err(2);
    LogSettings::initialize(true, "CommandFileFilter", temp.dir() + "/missing/");
    { Logger("M", "f").Log("hello"); }
    std::string written = err.text();
    EXPECT_NE(written.find("<+M:f+>\n"), std::string::npos);
    EXPECT_NE(written.find(" hello\n"), std::string::npos);
}

namespace {

// A file of someone else's that a planted link points at.
const char kPrecious[] = "someone else's file\n";

// The content of |path| when it is a regular file itself (reading a FIFO would block).
std::string plainContent(const std::string& path) {
    return std::filesystem::is_regular_file(std::filesystem::symlink_status(path)) ? cfftest::readFile(path) : "-";
}

TEST(LogLinks, PlantedLinkOrOtherFileKeepsLoggingOffAndWritesNothing) {
    struct Case {
        const char* name;
        std::function<void(const TempLog&, const std::string& victim)> plant;
    } cases[] = {
        {"marker is a link", [](const TempLog& t, const std::string& v) { symlink(v.c_str(), t.markerPath().c_str()); }},
        {"marker is a dangling link",
         [](const TempLog& t, const std::string&) { symlink((t.dir() + "/absent").c_str(), t.markerPath().c_str()); }},
        {"marker is a second name of another file",
         [](const TempLog& t, const std::string& v) { link(v.c_str(), t.markerPath().c_str()); }},
        {"marker is a FIFO", [](const TempLog& t, const std::string&) { mkfifo(t.markerPath().c_str(), 0600); }},
        {"log is a link",
         [](const TempLog& t, const std::string& v) { t.writeMarker(""), symlink(v.c_str(), t.logPath().c_str()); }},
        {"log is a dangling link",
         [](const TempLog& t, const std::string&) {
             t.writeMarker(""), symlink((t.dir() + "/absent").c_str(), t.logPath().c_str());
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempLog temp;
        const std::string victim = temp.dir() + "/victim";
        cfftest::writeFile(victim, kPrecious);
        c.plant(temp, victim);
        const std::string markerBefore = plainContent(temp.markerPath());
        OutputCapture err(2);
        LogSettings::initialize(true, "CommandFileFilter", temp.dir() + "/");
        { Logger("M", "f").Log("hello"); }
        EXPECT_FALSE(LogSettings::instance()->isLogEnabled());
        EXPECT_EQ(err.text(), "");
        EXPECT_EQ(cfftest::readFile(victim), kPrecious);
        EXPECT_FALSE(std::filesystem::exists(temp.dir() + "/absent"));
        EXPECT_EQ(plainContent(temp.markerPath()), markerBefore);
    }
}

TEST(LogLinks, LogIsCreatedPrivateAndALinkPlantedDuringTheRunEndsLogging) {
    TempLog temp;
    const std::string victim = temp.dir() + "/victim";
    cfftest::writeFile(victim, kPrecious);
    OutputCapture err(2);
    temp.enable();
    { Logger("M", "f").Log("first"); }
    struct stat status {};
    ASSERT_EQ(stat(temp.logPath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_NE(temp.log().find(" first\n"), std::string::npos);

    std::filesystem::remove(temp.logPath());
    ASSERT_EQ(symlink(victim.c_str(), temp.logPath().c_str()), 0);
    { Logger("M", "f").Log("second"); }
    EXPECT_FALSE(LogSettings::instance()->isLogEnabled());
    EXPECT_EQ(cfftest::readFile(victim), kPrecious);
    EXPECT_EQ(err.text(), "CommandFileFilter Logfile Path : " + temp.logPath() + "\n");
}

}  // namespace
