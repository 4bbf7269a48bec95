// LogSettings: the process-wide switch and file location of the diagnostic log.
#pragma once

#include <fstream>
#include <map>
#include <string>

class LogSettings {
public:
    // Creates the singleton unless one exists. An empty |directory| means getCUPSTmpDirPath().
    static void initialize(bool enable, std::string module, std::string directory);
    // The singleton, or null.
    static LogSettings* instance();
    // Destroys the singleton (so spelled on purpose).
    static void deleteInstatnce();
    // TMPDIR with a trailing "/", or "/tmp/" when TMPDIR is not set.
    static std::string getCUPSTmpDirPath();

    // The marker file whose presence turns logging on; "/tmp/startlog" unless a test
    // replaces it before initialize().
    static void setStartLogPath(std::string path);
    static std::string getStartLogPath();

    bool isLogEnabled() const { return enabled_; }
    std::string getLogFilePath() const { return logFilePath_; }
    int getMaxIndentation() const { return maxIndentation_; }
    bool logTime() const { return logTime_; }
    bool logTidPid() const { return logTidPid_; }

    // The start-log entry for |module|, or "" when there is none.
    std::string getLogFilePath(std::string module);
    bool putLogFilePath(std::string module, std::string path);

    void initStartLog(std::fstream& stream);
    void updateStartLogFile(std::fstream& stream);
    // The start-log entries as written back to the marker file.
    std::string getOutputBuffer();

private:
    LogSettings(bool enable, std::string module, std::string directory);

    std::string logFilePath_;
    bool enabled_ = false;
    int maxIndentation_ = 100;
    bool logTime_ = true;
    bool logTidPid_ = false;
    std::map<std::string, std::string> startLogEntries_;
};
