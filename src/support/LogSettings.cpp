// LogSettings: the process-wide switch and file location of the diagnostic log.
#include "support/LogSettings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sstream>

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

int LogSettings::openPlainFile(const std::string& path, int flags) {
    // Non-blocking, so that a FIFO planted under the name cannot hold the open.
    int fd = open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    if (fd < 0) {
        return -1;
    }
    struct stat status;
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1) {
        close(fd);
        errno = ELOOP;
        return -1;
    }
    return fd;
}

LogSettings::LogSettings(bool enable, std::string module, std::string directory)
    : logFilePath_(directory + module) {
    const std::string marker = startLogPath();
    // Opened without a stream: every run asks, and the C++ streams cost start-up time.
    // Read-only when it may not be written (another user's marker, a read-only /tmp).
    bool writable = true;
    int fd = openPlainFile(marker, O_RDWR);
    if (fd < 0 && errno != ENOENT && errno != ELOOP) {
        writable = false;
        fd = openPlainFile(marker, O_RDONLY);
    }
    if (fd < 0) {
        // No marker file, or a link or some other file in its place: logging stays off and
        // nothing is reported or written.
        return;
    }
    // A link or another kind of file where the log would be created turns logging off too.
    struct stat logStatus;
    if (lstat(logFilePath_.c_str(), &logStatus) == 0 &&
        (!S_ISREG(logStatus.st_mode) || logStatus.st_nlink != 1)) {
        close(fd);
        return;
    }
    enabled_ = enable;
    std::fprintf(stderr, "%s Logfile Path : %s\n", module.c_str(), logFilePath_.c_str());
    readAndUpdateMarker(fd, writable, module);
    close(fd);
}

void LogSettings::readAndUpdateMarker(int fd, bool writable, const std::string& module) {
    std::string content;
    char chunk[4096];
    while (content.size() < kMaxMarkerSize) {
        ssize_t count = read(fd, chunk, sizeof chunk);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        content.append(chunk, static_cast<size_t>(count));
    }
    std::istringstream input(content);
    initStartLog(input);
    if (!getLogFilePath(module).empty() || !writable) {
        return;
    }
    putLogFilePath(module, logFilePath_);
    // Rewritten through the descriptor already open, never by its name again.
    std::ostringstream output;
    updateStartLogFile(output);
    const std::string text = output.str();
    if (ftruncate(fd, 0) != 0) {
        return;
    }
    size_t written = 0;
    while (written < text.size()) {
        ssize_t count = pwrite(fd, text.data() + written, text.size() - written,
                               static_cast<off_t>(written));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return;
        }
        written += static_cast<size_t>(count);
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
void LogSettings::initStartLog(std::istream& stream) {
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

void LogSettings::updateStartLogFile(std::ostream& stream) {
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
