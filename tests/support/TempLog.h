// TempLog: a private marker file and log directory, so tests can turn the log on.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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
    void writeMarker(const std::string& content) const { std::ofstream(markerPath(), std::ios::binary) << content; }
    // Writes the marker (empty unless given) and turns the log on into logPath().
    void enable(const std::string& marker = "") const {
        writeMarker(marker);
        LogSettings::initialize(true, "CommandFileFilter", dir_ + "/");
    }
    static std::string read(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    std::string log() const { return read(logPath()); }

private:
    std::string dir_;
};
