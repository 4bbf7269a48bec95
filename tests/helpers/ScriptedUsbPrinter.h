// ScriptedUsbPrinter: runs the filter program wired as for a USB queue and plays the printer behind the backend.
#pragma once

#include <string>
#include <vector>

namespace cfftest {

// The answer to one request: packets written into the back-channel one at a time, each once
// the filter has read everything written before it, so that packets never merge in one read.
struct PrinterAnswer {
    std::vector<std::string> packets;
    // Pause between the request's arrival and the first packet.
    int delayMs = 0;
};

// What one run of the filter left behind.
struct UsbFilterRun {
    bool ran = false;
    // Exit status, or -1 when a signal ended the program (then |signal| says which).
    int exitStatus = -1;
    int signal = 0;
    // Everything written to standard output (the requests for the backend), and to standard error.
    std::string output;
    std::string errors;
    // The packets on standard output that the printer took as requests (not the mode command).
    std::vector<std::string> requests;
    double seconds = 0;
};

// Starts the filter with the spooler's 7 arguments (the command file last), standard input
// /dev/null, standard output into the printer, the read end of a non-blocking back-channel
// pipe on fd 3 and one end of a socketpair on fd 4, and a clean environment holding PATH,
// DEVICE_URI and the given variables. The printer takes every NPA packet on the filter's
// standard output except the mode command (flags 0x80) as a request and answers the i-th
// request with answers[i]; later requests go unanswered.
//
//   cfftest::ScriptedUsbPrinter printer({{{rdcAnswer}}, {{rocAnswer}}});
//   cfftest::UsbFilterRun run = printer.run(CFF_FILTER_BINARY, commandFile);
//   EXPECT_EQ(run.errors, "PPD: ... \n");
class ScriptedUsbPrinter {
public:
    struct Options {
        std::string deviceUri = "usb://Sim/Laser%20M100?serial=42";
        // Further "NAME=value" entries of the environment.
        std::vector<std::string> environment;
        // Close the back-channel once every answer has been written, so that any further read
        // of the filter ends at once. Otherwise it stays open until the filter exits, and reads
        // run into their time-outs.
        bool closeWhenAnswered = true;
        // The filter is killed after this long.
        int limitMs = 30000;
        // Run the filter in a mount namespace of its own with an empty /tmp (needs the right
        // to create one, see privateTmpAvailable), so that the host's log marker file is
        // neither seen nor touched. The command file must then live outside /tmp.
        bool privateTmp = true;
    };

    // True when this process may give a child a private /tmp.
    static bool privateTmpAvailable();

    explicit ScriptedUsbPrinter(std::vector<PrinterAnswer> answers);
    ScriptedUsbPrinter(std::vector<PrinterAnswer> answers, Options options);

    // Runs |filter| on |commandFile| to its end. Safe to call from several threads at once.
    UsbFilterRun run(const std::string& filter, const std::string& commandFile) const;

private:
    std::vector<PrinterAnswer> answers_;
    Options options_;
};

}  // namespace cfftest
