// LogSettings: the process-wide switch and file location of the diagnostic log.
#pragma once

#include <iosfwd>
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

    // Opens |path| with |flags| (O_CREAT creates it with mode 0600) without following a
    // symbolic link, and only when it is a regular file with a single name: the marker and
    // the log lie in directories that other users can write to. The descriptor, or -1 with
    // errno ELOOP for a link or any other kind of file, or the error of open.
    static int openPlainFile(const std::string& path, int flags);

    bool isLogEnabled() const { return enabled_; }
    // Turns logging off for the rest of the run.
    void disable() { enabled_ = false; }
    std::string getLogFilePath() const { return logFilePath_; }
    int getMaxIndentation() const { return maxIndentation_; }
    bool logTime() const { return logTime_; }
    bool logTidPid() const { return logTidPid_; }

    // The start-log entry for |module|, or "" when there is none.
    std::string getLogFilePath(std::string module);
    bool putLogFilePath(std::string module, std::string path);

    void initStartLog(std::istream& stream);
    void updateStartLogFile(std::ostream& stream);
    // The start-log entries as written back to the marker file.
    std::string getOutputBuffer();

    // Most of the marker file that is read; it holds a few short lines.
    static constexpr size_t kMaxMarkerSize = 65536;

private:
    LogSettings(bool enable, std::string module, std::string directory);
    // Reads the marker's entries from |fd| and, when it lacks |module| and |writable|,
    // rewrites it in place with the module's log file added.
    void readAndUpdateMarker(int fd, bool writable, const std::string& module);

    std::string logFilePath_;
    bool enabled_ = false;
    int maxIndentation_ = 100;
    bool logTime_ = true;
    bool logTidPid_ = false;
    std::map<std::string, std::string> startLogEntries_;
};
