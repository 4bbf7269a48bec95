// Tests of the diagnostic log: marker file handling, line format and trace structure.
#include <gtest/gtest.h>
#include <time.h>

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
    EXPECT_EQ(TempLog::read(temp.markerPath()), "Alpha=/a\r\nCommandFileFilter=" + temp.logPath() + "\r\nZeta=/z");
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
