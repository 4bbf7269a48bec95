// Logger: the scoped trace object that every operation of note creates on entry.
#include "support/Logger.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <vector>

#include "support/Clock.h"
#include "support/LogSettings.h"

int Logger::indentation_ = 0;

namespace {
// True when lines are to be written at all; every logging call checks this first.
bool loggingOn() {
    LogSettings* settings = LogSettings::instance();
    return settings != nullptr && settings->isLogEnabled();
}

constexpr int kTimeStampBufferSize = 200;
}  // namespace

Logger::Logger(std::string module, std::string function)
    : module_(std::move(module)), function_(std::move(function)) {
    if (loggingOn()) {
        writeLog(module_ + ":" + function_, kEntry);
    }
    ++indentation_;
}

Logger::~Logger() {
    if (returned_) {
        return;
    }
    --indentation_;
    if (loggingOn()) {
        writeLog(module_ + ":" + function_, kExit);
    }
}

void Logger::Log(const char* format, ...) {
    if (!loggingOn() || format == nullptr) {
        return;
    }
    va_list args;
    va_start(args, format);
    va_list measure;
    va_copy(measure, args);
    int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length < 0) {
        va_end(args);
        return;
    }
    std::vector<char> buffer(static_cast<size_t>(length) + 1);
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    va_end(args);
    writeLog(std::string(buffer.data(), static_cast<size_t>(length)), kMessage);
}

void Logger::LogData(const unsigned char* bytes, int length) {
    if (!loggingOn()) {
        return;
    }
    static const char kHex[] = "0123456789abcdef";
    std::string text;
    if (bytes != nullptr && length > 0) {
        text.reserve(static_cast<size_t>(length) * 5);
        for (int i = 0; i < length; ++i) {
            text += "0x";
            text += kHex[bytes[i] >> 4];
            text += kHex[bytes[i] & 0x0F];
            text += ",";
        }
    }
    writeLog("Dumping Data", kEntry);
    writeLog("<" + text + ">" + "dumped " + std::to_string(length) + " bytes", kMessage);
    writeLog("Dumping Data", kExit);
}

void Logger::LogReturn() {
    returned_ = true;
    --indentation_;
    if (loggingOn()) {
        writeLog(module_ + ":" + function_, kExit);
    }
}

// Opens the file for this one line so that the log is complete even after a crash.
void Logger::writeLog(std::string text, int kind) {
    LogSettings* settings = LogSettings::instance();
    if (settings == nullptr || !settings->isLogEnabled() || settings->getLogFilePath().empty()) {
        return;
    }
    std::string line = formatLog(settings, text, kind);
    int fd = LogSettings::openPlainFile(settings->getLogFilePath(), O_WRONLY | O_APPEND | O_CREAT);
    if (fd >= 0) {
        // One write per line, so that lines stay whole in a log shared with other runs.
        ssize_t ignored = write(fd, line.data(), line.size());
        (void)ignored;
        close(fd);
    } else if (errno == ELOOP) {
        // A link (or another kind of file) was put where the log is: write nothing more.
        settings->disable();
    } else {
        std::fwrite(line.data(), 1, line.size(), stderr);
    }
}

std::string Logger::formatLog(LogSettings* settings, std::string text, int kind) {
    const int maxDepth = settings != nullptr ? settings->getMaxIndentation() : 100;
    int depth = indentation_;
    if (depth > maxDepth) {
        depth = maxDepth;
    } else if (depth < 0) {
        depth = 1;  // intended: an unbalanced exit still shows one level, not none
    }

    std::string line;
    if (settings != nullptr && settings->logTime()) {
        struct timeval tv = Clock::now();
        time_t seconds = tv.tv_sec;
        struct tm local {};
        localtime_r(&seconds, &local);
        char stamp[kTimeStampBufferSize];
        std::snprintf(stamp, sizeof stamp, "[%02d:%02d:%02d:%03d]", local.tm_hour, local.tm_min,
                      local.tm_sec, static_cast<int>(tv.tv_usec / 1000));
        line += stamp;
    }
    line.append(static_cast<size_t>(depth), ' ');
    switch (kind) {
        case kEntry:
            line += "<+" + text + "+>";
            break;
        case kExit:
            line += "<-" + text + ">";
            break;
        default:
            line += text;
            break;
    }
    line += "\n";
    return line;
}
