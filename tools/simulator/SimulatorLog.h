// SimulatorLog: the simulator's own log lines on standard error, in the spooler's line format.
#pragma once

#include <cstddef>

class SimulatorLog {
public:
    // Turns the "DEBUG: " lines on or off; errors are always written.
    static void setVerbose(bool verbose);
    static bool verbose();
    static void debug(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void error(const char* format, ...) __attribute__((format(printf, 1, 2)));
    // A "DEBUG: " line holding a hex dump of at most 64 bytes.
    static void dump(const char* what, const unsigned char* bytes, size_t size);
};
