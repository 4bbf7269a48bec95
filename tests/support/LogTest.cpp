// Tests of the diagnostic log: marker file handling, line format and trace structure.
#include <gtest/gtest.h>
#include <time.h>

#include <string>
#include <vector>

#include "helpers/OutputCapture.h"
#include "helpers/ScopedEnv.h"
#include "support/TempLog.h"

namespace {
// 01:02:03.045678 UTC, with the time zone forced to UTC while it lives.
struct FixedUtcClock {
    ScopedEnv env;
    FixedUtcClock() {
        env.set("TZ", "UTC0");
        tzset();
        Clock::setNowFunction([] { return timeval{3723, 45678}; });
    }
    ~FixedUtcClock() { Clock::setNowFunction(nullptr); }
};
const std::string kStamp = "[01:02:03:045]";

// The log turned on into a private file, stderr collected, the clock fixed.
struct EnabledLog {
    TempLog temp;
    OutputCapture err{2};
    EnabledLog() { temp.enable(); }
    FixedUtcClock clock;
};
}  // namespace

TEST(LogSettings, MarkerFileDecidesLoggingAndGetsTheModuleEntry) {
    struct Case {
        std::optional<std::string> marker;
        std::string after;  // "@" stands for the log file path
    };
    const std::vector<Case> cases = {
        {std::nullopt, ""},
        {"", "CommandFileFilter=@"},
        {"Zeta=/z\nnot an entry\n\nAlpha=/a=ignored\n",
         "Alpha=/a\r\nCommandFileFilter=@\r\nZeta=/z"},
        {"CommandFileFilter=/elsewhere\n", "CommandFileFilter=/elsewhere\n"},
    };
    for (const Case& c : cases) {
        TempLog temp;
        ScopedEnv env;
        env.set("TMPDIR", temp.dir());  // no trailing slash: one is added
        if (c.marker) {
            temp.writeMarker(*c.marker);
        }
        OutputCapture err(2);
        LogSettings::initialize(true, "CommandFileFilter", "");
        LogSettings::initialize(false, "Other", "/ignored/");  // the first one stays
        { Logger("M", "f").Log("x"); }
        std::string after = c.after;
        if (after.find('@') != std::string::npos) {
            after.replace(after.find('@'), 1, temp.logPath());
        }
        EXPECT_EQ(TempLog::read(temp.markerPath()), after);
        EXPECT_EQ(LogSettings::instance()->isLogEnabled(), c.marker.has_value());
        EXPECT_EQ(LogSettings::instance()->getLogFilePath(), temp.logPath());
        EXPECT_EQ(err.text(),
                  c.marker ? "CommandFileFilter Logfile Path : " + temp.logPath() + "\n" : "");
        EXPECT_EQ(std::filesystem::exists(temp.logPath()), c.marker.has_value());
    }
    ScopedEnv env;
    env.set("TMPDIR", std::nullopt);
    EXPECT_EQ(LogSettings::getCUPSTmpDirPath(), "/tmp/");
    env.set("TMPDIR", "/spool/");
    EXPECT_EQ(LogSettings::getCUPSTmpDirPath(), "/spool/");
}

TEST(Logger, FormatsTimeStampClampedIndentationAndLineKinds) {
    EnabledLog log;
    struct Case {
        int depth, kind;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {0, Logger::kEntry, "<+A:f+>"},  {0, Logger::kExit, "<-A:f>"},
        {3, Logger::kMessage, "   A:f"}, {250, Logger::kMessage, std::string(100, ' ') + "A:f"},
        {-4, Logger::kMessage, " A:f"},
    };
    for (const Case& c : cases) {
        Logger::indentation_ = c.depth;
        EXPECT_EQ(Logger::formatLog(LogSettings::instance(), "A:f", c.kind),
                  kStamp + c.expected + "\n")
            << "depth " << c.depth;
    }
}

TEST(Logger, NestedTraceBalancesDepthAndLogReturnEndsTheScopeOnce) {
    EnabledLog log;
    const std::string longText(5000, 'q');
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
    for (const char* line : {"<+Outer:run()+>", " count=2 @", " <+Inner:read+>",
                             "  <+Dumping Data+>", "  <0x0a,0x1b,0xf0,>dumped 3 bytes",
                             "  <-Dumping Data>", " <-Inner:read>", "<-Outer:run()>"}) {
        std::string text = line;
        if (text.back() == '@') {
            text.replace(text.size() - 1, 1, longText);
        }
        expected += kStamp + text + "\n";
    }
    EXPECT_EQ(log.temp.log(), expected);
    EXPECT_EQ(Logger::indentation_, 0);
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
