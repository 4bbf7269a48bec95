// Logger: the scoped trace object that every operation of note creates on entry.
#pragma once

#include <string>

class LogSettings;

class Logger {
public:
    enum LineKind { kMessage = 0, kEntry = 1, kExit = 2 };

    // Writes the entry line "module:function" and indents later lines one level deeper.
    Logger(std::string module, std::string function);
    // Writes the exit line unless LogReturn() already did.
    ~Logger();

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // printf-style message line.
    void Log(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // Hex dump of |length| bytes.
    void LogData(const unsigned char* bytes, int length);
    // Writes the exit line now.
    void LogReturn();

    void writeLog(std::string text, int kind);
    // The finished line (time stamp, indentation, kind markers, newline).
    static std::string formatLog(LogSettings* settings, std::string text, int kind);

    // Current call depth shared by every logger.
    static int indentation_;

private:
    std::string module_;
    std::string function_;
    bool returned_ = false;
};
