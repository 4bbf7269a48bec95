// SimulatorLog: the simulator's own log lines on standard error, in the spooler's line format.
#include "SimulatorLog.h"

#include <cstdarg>
#include <cstdio>
#include <string>

namespace {
bool verbose_ = false;

void write(const char* prefix, const char* format, va_list args) {
    char text[1024];
    vsnprintf(text, sizeof(text), format, args);
    std::fprintf(stderr, "%scffsim: %s\n", prefix, text);
    std::fflush(stderr);
}
}  // namespace

void SimulatorLog::setVerbose(bool verbose) { verbose_ = verbose; }

bool SimulatorLog::verbose() { return verbose_; }

void SimulatorLog::debug(const char* format, ...) {
    if (!verbose_) {
        return;
    }
    va_list args;
    va_start(args, format);
    write("DEBUG: ", format, args);
    va_end(args);
}

void SimulatorLog::error(const char* format, ...) {
    va_list args;
    va_start(args, format);
    write("ERROR: ", format, args);
    va_end(args);
}

void SimulatorLog::dump(const char* what, const unsigned char* bytes, size_t size) {
    if (!verbose_) {
        return;
    }
    std::string hex;
    char byte[4];
    for (size_t i = 0; i < size && i < 64; ++i) {
        std::snprintf(byte, sizeof(byte), "%02X ", bytes[i]);
        hex += byte;
    }
    debug("%s (%zu bytes): %s%s", what, size, hex.c_str(), size > 64 ? "..." : "");
}
