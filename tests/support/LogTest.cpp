// Tests of the diagnostic log: marker file handling, line format and trace structure.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <string>
#include <vector>

#include "helpers/OutputCapture.h"
#include "helpers/ScopedEnv.h"
#include "support/TempLog.h"
#include "support/Clock.h"
#include "support/LogSettings.h"
#include "support/Logger.h"

namespace {
// 01:02:03.045678 UTC; the time zone is forced to UTC for the test's duration.
struct FixedUtcClock {
    ScopedEnv env;
    FixedUtcClock() {
        env.set("TZ", "UTC0");
        tzset();
        Clock::setNowFunction([] { return timeval{3600 + 120 + 3, 45678}; });
    }
    ~FixedUtcClock() {
        Clock::setNowFunction(nullptr);
        tzset();
    }
};
}  // namespace

TEST(LogSettings, TmpDirPathAlwaysEndsWithOneSlash) {
    ScopedEnv env;
    const std::vector<std::pair<std::optional<std::string>, std::string>> cases = {
        {std::nullopt, "/tmp/"}, {"/var/spool/x", "/var/spool/x/"}, {"/var/spool/x/", "/var/spool/x/"}};
    for (const auto& [tmpdir, expected] : cases) {
        env.set("TMPDIR", tmpdir);
        EXPECT_EQ(LogSettings::getCUPSTmpDirPath(), expected);
    }
}

TEST(LogSettings, WithoutMarkerNothingIsWrittenAnywhere) {
    TempLog temp;
    OutputCapture err(2);
    LogSettings::initialize(true, "CommandFileFilter", temp.dir() + "/");
    {
        Logger logger("Module", "op");
        logger.Log("hello %d", 1);
        const unsigned char bytes[] = {1, 2};
        logger.LogData(bytes, 2);
    }
    EXPECT_EQ(err.text(), "");
    ASSERT_NE(LogSettings::instance(), nullptr);
    EXPECT_FALSE(LogSettings::instance()->isLogEnabled());
    EXPECT_FALSE(std::filesystem::exists(temp.logPath()));
    EXPECT_FALSE(std::filesystem::exists(temp.markerPath()));
}

TEST(LogSettings, EmptyMarkerGetsTheModuleEntryAndTheNoticeGoesToStderr) {
    TempLog temp;
    OutputCapture err(2);
    temp.enable();
    EXPECT_EQ(err.text(), "CommandFileFilter Logfile Path : " + temp.logPath() + "\n");
    EXPECT_TRUE(LogSettings::instance()->isLogEnabled());
    EXPECT_EQ(TempLog::read(temp.markerPath()), "CommandFileFilter=" + temp.logPath());
}

TEST(LogSettings, MarkerIsRewrittenInKeyOrderWithCrLfBetweenEntries) {
    TempLog temp;
    OutputCapture err(2);
    temp.enable("Zeta=/z\nnot an entry\n\nAlpha=/a=ignored\n");
    err.text();
    EXPECT_EQ(TempLog::read(temp.markerPath()),
              "Alpha=/a\r\nCommandFileFilter=" + temp.logPath() + "\r\nZeta=/z");
}

TEST(LogSettings, MarkerNamingTheModuleIsLeftAloneAndItsPathUnused) {
    TempLog temp;
    OutputCapture err(2);
    const std::string marker = "CommandFileFilter=/nowhere/else\n";
    temp.enable(marker);
    err.text();
    EXPECT_EQ(TempLog::read(temp.markerPath()), marker);
    EXPECT_EQ(LogSettings::instance()->getLogFilePath(), temp.logPath());
}

TEST(LogSettings, EmptyDirectoryMeansTmpDirAndSecondInitializeChangesNothing) {
    TempLog temp;
    ScopedEnv env;
    env.set("TMPDIR", temp.dir());  // no trailing slash
    temp.writeMarker("CommandFileFilter=x\n");
    OutputCapture err(2);
    LogSettings::initialize(true, "CommandFileFilter", "");
    LogSettings* first = LogSettings::instance();
    LogSettings::initialize(false, "Other", "/elsewhere/");
    err.text();
    EXPECT_EQ(LogSettings::instance(), first);
    EXPECT_EQ(first->getLogFilePath(), temp.dir() + "/CommandFileFilter");
    EXPECT_TRUE(first->isLogEnabled());
}

TEST(Logger, FormatsTimeStampIndentationAndLineKinds) {
    TempLog temp;
    OutputCapture err(2);
    temp.enable();
    err.text();
    FixedUtcClock clock;
    struct Case {
        int depth;
        int kind;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {0, Logger::kEntry, "[01:02:03:045]<+A:f+>\n"},
        {0, Logger::kExit, "[01:02:03:045]<-A:f>\n"},
        {3, Logger::kMessage, "[01:02:03:045]   A:f\n"},
        {100, Logger::kMessage, "[01:02:03:045]" + std::string(100, ' ') + "A:f\n"},
        {250, Logger::kMessage, "[01:02:03:045]" + std::string(100, ' ') + "A:f\n"},
        {-4, Logger::kMessage, "[01:02:03:045] A:f\n"},
    };
    for (const Case& c : cases) {
        Logger::indentation_ = c.depth;
        EXPECT_EQ(Logger::formatLog(LogSettings::instance(), "A:f", c.kind), c.expected)
            << "depth " << c.depth << " kind " << c.kind;
    }
}

TEST(Logger, NestedTraceBalancesDepthAndLogReturnEndsTheScopeOnce) {
    TempLog temp;
    OutputCapture err(2);
    temp.enable();
    err.text();
    FixedUtcClock clock;
    {
        Logger outer("Outer", "run()");
        outer.Log("count=%d name=%s", 2, "x");
        {
            Logger inner("Inner", "read");
            const unsigned char bytes[] = {0x0A, 0x1B, 0xF0};
            inner.LogData(bytes, 3);
        }
        outer.LogReturn();
    }
    const std::string t = "[01:02:03:045]";
    EXPECT_EQ(temp.log(), t + "<+Outer:run()+>\n" + t + " count=2 name=x\n" + t +
                              " <+Inner:read+>\n" + t + "  <+Dumping Data+>\n" + t +
                              "  <0x0a,0x1b,0xf0,>dumped 3 bytes\n" + t + "  <-Dumping Data>\n" +
                              t + " <-Inner:read>\n" + t + "<-Outer:run()>\n");
    EXPECT_EQ(Logger::indentation_, 0);
}

TEST(Logger, LongMessagesAreKeptWholeAndUnopenableFileFallsBackToStderr) {
    TempLog temp;
    OutputCapture notice(2);
    LogSettings::setStartLogPath(temp.markerPath());
    temp.writeMarker("");
    LogSettings::initialize(true, "CommandFileFilter", temp.dir() + "/missing/");
    notice.text();

    const std::string longText(5000, 'q');
    OutputCapture err(2);
    {
        Logger logger("M", "f");
        logger.Log("%s!", longText.c_str());
    }
    std::string written = err.text();
    EXPECT_NE(written.find("<+M:f+>\n"), std::string::npos);
    EXPECT_NE(written.find(" " + longText + "!\n"), std::string::npos);
    EXPECT_NE(written.find("<-M:f>\n"), std::string::npos);
}
