// Tests of the log's marker and log file when another user has put a link or other file there.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "helpers/OutputCapture.h"
#include "support/TempLog.h"

namespace {

// A file of someone else's that a planted link points at.
const char kPrecious[] = "someone else's file\n";

// The content of |path| when it is a regular file itself (reading a FIFO would block).
std::string plainContent(const std::string& path) {
    return std::filesystem::is_regular_file(std::filesystem::symlink_status(path)) ? TempLog::read(path) : "-";
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
        std::ofstream(victim) << kPrecious;
        c.plant(temp, victim);
        const std::string markerBefore = plainContent(temp.markerPath());
        OutputCapture err(2);
        LogSettings::initialize(true, "CommandFileFilter", temp.dir() + "/");
        { Logger("M", "f").Log("hello"); }
        EXPECT_FALSE(LogSettings::instance()->isLogEnabled());
        EXPECT_EQ(err.text(), "");
        EXPECT_EQ(TempLog::read(victim), kPrecious);
        EXPECT_FALSE(std::filesystem::exists(temp.dir() + "/absent"));
        EXPECT_EQ(plainContent(temp.markerPath()), markerBefore);
    }
}

TEST(LogLinks, LogIsCreatedPrivateAndALinkPlantedDuringTheRunEndsLogging) {
    TempLog temp;
    const std::string victim = temp.dir() + "/victim";
    std::ofstream(victim) << kPrecious;
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
    EXPECT_EQ(TempLog::read(victim), kPrecious);
    EXPECT_EQ(err.text(), "CommandFileFilter Logfile Path : " + temp.logPath() + "\n");
}

}  // namespace
