// LogSettings: the process-wide switch and file location of the diagnostic log.
#include "support/LogSettings.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {
LogSettings*& singleton() {
    static LogSettings* settings = nullptr;
    return settings;
}

// Function-local so that loggers created during static initialisation see a valid path.
std::string& startLogPath() {
    static std::string path = "/tmp/startlog";
    return path;
}
}  // namespace

void LogSettings::initialize(bool enable, std::string module, std::string directory) {
    if (singleton() != nullptr) {
        return;
    }
    if (directory.empty()) {
        directory = getCUPSTmpDirPath();
    }
    singleton() = new LogSettings(enable, std::move(module), std::move(directory));
}

LogSettings* LogSettings::instance() { return singleton(); }

void LogSettings::deleteInstatnce() {
    delete singleton();
    singleton() = nullptr;
}

std::string LogSettings::getCUPSTmpDirPath() {
    const char* tmpDir = std::getenv("TMPDIR");
    if (tmpDir == nullptr) {
        return "/tmp/";
    }
    std::string path = tmpDir;
    if (path.empty() || path.back() != '/') {
        path += "/";
    }
    return path;
}

void LogSettings::setStartLogPath(std::string path) { startLogPath() = std::move(path); }

std::string LogSettings::getStartLogPath() { return startLogPath(); }

LogSettings::LogSettings(bool enable, std::string module, std::string directory)
    : logFilePath_(directory + module) {
    const std::string marker = startLogPath();
    // Checked without a stream: every run asks, and the C++ streams cost start-up time.
    if (access(marker.c_str(), R_OK) != 0) {
        // No marker file: logging stays off and nothing is reported.
        return;
    }
    enabled_ = enable;
    std::fprintf(stderr, "%s Logfile Path : %s\n", module.c_str(), logFilePath_.c_str());

    std::fstream input(marker, std::ios::in);
    if (!input.is_open()) {
        return;
    }
    initStartLog(input);
    input.close();

    if (getLogFilePath(module).empty()) {
        putLogFilePath(module, logFilePath_);
        std::fstream output(marker, std::ios::out | std::ios::trunc);
        if (output.is_open()) {
            updateStartLogFile(output);
        }
    }
}

std::string LogSettings::getLogFilePath(std::string module) {
    auto entry = startLogEntries_.find(module);
    return entry == startLogEntries_.end() ? std::string() : entry->second;
}

bool LogSettings::putLogFilePath(std::string module, std::string path) {
    startLogEntries_[module] = std::move(path);
    return true;
}

// Reads "module=path" lines; the value ends at a further "=" if there is one. A carriage
// return before the newline stays part of the value: only the key is ever looked at.
void LogSettings::initStartLog(std::fstream& stream) {
    std::string line;
    while (std::getline(stream, line)) {
        size_t equals = line.find('=');
        if (line.empty() || equals == std::string::npos) {
            continue;
        }
        std::string key = line.substr(0, equals);
        size_t next = line.find('=', equals + 1);
        std::string value = next == std::string::npos
                                ? line.substr(equals + 1)
                                : line.substr(equals + 1, next - equals - 1);
        startLogEntries_[key] = value;
    }
}

void LogSettings::updateStartLogFile(std::fstream& stream) {
    stream << getOutputBuffer();
    stream.flush();
    startLogEntries_.clear();
}

std::string LogSettings::getOutputBuffer() {
    std::string buffer;
    for (const auto& entry : startLogEntries_) {
        if (!buffer.empty()) {
            buffer += "\r\n";
        }
        buffer += entry.first + "=" + entry.second;
    }
    return buffer;
}
