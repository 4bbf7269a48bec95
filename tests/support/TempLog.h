// TempLog: a private marker file and log directory, so tests can turn the log on.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "helpers/TestUtil.h"
#include "support/Clock.h"
#include "support/LogSettings.h"
#include "support/Logger.h"

class TempLog {
public:
    TempLog() {
        char pattern[] = "/tmp/cff-log-XXXXXX";
        dir_ = mkdtemp(pattern) ? pattern : "";
        LogSettings::deleteInstatnce();
        LogSettings::setStartLogPath(markerPath());
        Logger::indentation_ = 0;
    }
    ~TempLog() {
        LogSettings::deleteInstatnce();
        LogSettings::setStartLogPath("/tmp/startlog");
        Clock::setNowFunction(nullptr);
        Logger::indentation_ = 0;
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    const std::string& dir() const { return dir_; }
    std::string markerPath() const { return dir_ + "/startlog"; }
    std::string logPath() const { return dir_ + "/CommandFileFilter"; }
    void writeMarker(const std::string& content) const { cfftest::writeFile(markerPath(), content); }
    // Writes the marker (empty unless given) and turns the log on into logPath().
    void enable(const std::string& marker = "") const {
        writeMarker(marker);
        LogSettings::initialize(true, "CommandFileFilter", dir_ + "/");
    }
    std::string log() const { return cfftest::readFile(logPath()); }

private:
    std::string dir_;
};
