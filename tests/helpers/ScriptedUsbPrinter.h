// ScriptedUsbPrinter: runs the filter program as the spooler does and plays the printer behind the backend.
#pragma once

#include <string>
#include <vector>

namespace cfftest {

// The answer to one request: packets written into the back-channel one at a time, each once
// the filter has read everything before it, so that packets never merge in one read.
struct PrinterAnswer {
    std::vector<std::string> packets;
    int delayMs = 0;  // pause between the request's arrival and the first packet
};

struct UsbFilterRun {
    bool ran = false;
    int exitStatus = -1;  // -1 when killed or ended by a signal
    std::string output;   // standard output: the requests for the backend
    std::string errors;   // standard error
    double seconds = 0;
};

// Starts the filter with the spooler's arguments (the command file last), stdin /dev/null,
// stdout into the printer, the read end of a non-blocking back-channel pipe on fd 3, a
// socketpair end (or this process's fd 4) on fd 4, and only PATH, DEVICE_URI and |environment|.
// Every NPA packet on stdout but the mode command (flags 0x80) is a request; the i-th is
// answered with answers[i], later ones not at all.
struct ScriptedUsbPrinter {
    std::vector<PrinterAnswer> answers;
    std::string deviceUri = "usb://Sim/Laser%20M100?serial=42";
    std::vector<std::string> environment;  // further NAME=value entries
    // Close the back-channel once all is answered, so that further reads end at once.
    bool closeWhenAnswered = true;
    // An empty /tmp of its own, so that the host's log marker is never seen.
    bool privateTmp = true;
    bool inheritFd4 = false;  // hand on this process's fd 4 (a side channel)

    // True when this process may give a child a private /tmp.
    static bool privateTmpAvailable();
    // Runs |filter| on |commandFile| to its end (killed after 30 s). Thread-safe.
    UsbFilterRun run(const std::string& filter, const std::string& commandFile) const;
};

}  // namespace cfftest
