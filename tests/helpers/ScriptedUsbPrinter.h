// ScriptedUsbPrinter: runs the filter program as the spooler does and plays the printer behind the backend.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <deque>
#include <string>
#include <vector>

#include "helpers/FdSlot.h"
#include "helpers/PeerProcess.h"
#include "helpers/PrivateTmp.h"
#include "helpers/TestUtil.h"

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
    using Clock = std::chrono::steady_clock;

    std::vector<PrinterAnswer> answers;
    std::string deviceUri = "usb://Sim/Laser%20M100?serial=42";
    std::vector<std::string> environment;  // further NAME=value entries
    // Close the back-channel once all is answered, so that further reads end at once.
    bool closeWhenAnswered = true;
    // An empty /tmp of its own, so that the host's log marker is never seen.
    bool privateTmp = true;
    bool inheritFd4 = false;  // hand on this process's fd 4 (a side channel)

    // In a child: a mount namespace of its own with an empty /tmp.
    static bool enterPrivateTmp() {
        return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
               mountPrivateTmp();
    }

    // True when this process may give a child a private /tmp.
    static bool privateTmpAvailable() {
        static const bool available = [] {
            PeerProcess probe;
            return probe.start({}, [] { return enterPrivateTmp() ? 0 : 1; }) && probe.wait() == 0;
        }();
        return available;
    }

    // Appends what is available on |fd| to |into|; false at end of file or on an error.
    static bool drainInto(int fd, std::string& into) {
        char buffer[4096];
        ssize_t got = read(fd, buffer, sizeof buffer);
        if (got > 0) into.append(buffer, static_cast<size_t>(got));
        return got > 0 || (got < 0 && (errno == EINTR || errno == EAGAIN));
    }

    // Cuts the complete NPA packets off |stream|, dropping bytes before a start byte.
    static std::vector<std::string> takePackets(std::string& stream) {
        std::vector<std::string> packets;
        for (;;) {
            stream.erase(0, std::min(stream.find('\xA5'), stream.size()));
            if (stream.size() < 3) return packets;
            size_t length = 3 + ((static_cast<unsigned char>(stream[1]) << 8) | static_cast<unsigned char>(stream[2]));
            if (stream.size() < length) return packets;
            packets.push_back(stream.substr(0, length));
            stream.erase(0, length);
        }
    }

    // Runs |filter| on |commandFile| to its end (killed after 30 s). Thread-safe.
    UsbFilterRun run(const std::string& filter, const std::string& commandFile) const {
        UsbFilterRun result;
        std::vector<std::string> args = {filter, "42", "maintenance", "commands", "1", "", commandFile};
        std::vector<std::string> env = {"PATH=/usr/bin:/bin", "DEVICE_URI=" + deviceUri};
        env.insert(env.end(), environment.begin(), environment.end());
        for (const std::string& entry : sanitizerEnvironment()) env.push_back(entry);
        std::vector<char*> argv, envp;
        for (std::string& arg : args) argv.push_back(arg.data());
        for (std::string& entry : env) envp.push_back(entry.data());
        argv.push_back(nullptr);
        envp.push_back(nullptr);

        // Stdout, stderr, the back-channel (non-blocking, as the spooler has it), the side channel.
        int fds[8] = {-1, -1, -1, -1, -1, -1, -1, -1};
        bool ready = pipe2(fds, O_CLOEXEC) == 0 && pipe2(fds + 2, O_CLOEXEC) == 0 &&
                     pipe2(fds + 4, O_CLOEXEC | O_NONBLOCK) == 0 &&
                     socketpair(AF_LOCAL, SOCK_STREAM | SOCK_CLOEXEC, 0, fds + 6) == 0;
        int nullInput = moveAboveTen(open("/dev/null", O_RDONLY | O_CLOEXEC));
        for (int& fd : fds) fd = moveAboveTen(fd);
        int &output = fds[0], &errors = fds[2], &backChannel = fds[5];

        auto started = Clock::now(), deadline = started + std::chrono::seconds(30);
        PeerProcess child;
        result.ran = ready && nullInput >= 0 &&
                     child.start({{nullInput, 0}, {fds[1], 1}, {fds[3], 2}, {fds[4], 3}, {inheritFd4 ? 4 : fds[7], 4}},
                                 [&] {
                                     if (privateTmp && !enterPrivateTmp()) return 125;
                                     signal(SIGPIPE, SIG_DFL);
                                     execve(argv[0], argv.data(), envp.data());
                                     return 127;
                                 });
        for (int* fd : {&nullInput, &fds[1], &fds[3], &fds[4], &fds[7]}) {
            if (*fd >= 0) close(*fd);
            *fd = -1;
        }

        std::deque<std::pair<Clock::time_point, std::string>> pending;  // packets, and when they may go
        size_t answered = 0;
        std::string stream;  // the filter's output not yet cut into packets
        bool outputOpen = result.ran, errorsOpen = result.ran;
        while ((outputOpen || errorsOpen) && Clock::now() < deadline) {
            int queued = 0;
            if (backChannel >= 0 && !pending.empty() && Clock::now() >= pending.front().first &&
                ioctl(backChannel, FIONREAD, &queued) == 0 && queued == 0) {
                const std::string& packet = pending.front().second;
                bool written = write(backChannel, packet.data(), packet.size()) == static_cast<ssize_t>(packet.size());
                written ? pending.pop_front() : pending.clear();  // the filter is gone: nothing more arrives
            }
            if (closeWhenAnswered && answered >= answers.size() && pending.empty() && backChannel >= 0) {
                close(backChannel);
                backChannel = -1;
            }
            struct pollfd entries[2] = {{outputOpen ? output : -1, POLLIN, 0}, {errorsOpen ? errors : -1, POLLIN, 0}};
            if (poll(entries, 2, pending.empty() ? 20 : 2) < 0 && errno != EINTR) break;
            if (entries[0].revents != 0) {
                size_t before = result.output.size();
                outputOpen = drainInto(output, result.output);
                stream.append(result.output, before, std::string::npos);
                for (const std::string& packet : takePackets(stream)) {
                    if (packet.size() > 3 && static_cast<unsigned char>(packet[3]) == 0x80) continue;  // mode command
                    if (answered < answers.size()) {
                        auto at = Clock::now() + std::chrono::milliseconds(answers[answered].delayMs);
                        for (const std::string& part : answers[answered].packets) pending.emplace_back(at, part);
                    }
                    ++answered;
                }
            }
            if (entries[1].revents != 0) errorsOpen = drainInto(errors, result.errors);
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        result.exitStatus = child.wait(static_cast<int>(std::max<long long>(left, 0)));
        for (int fd : fds) {
            if (fd >= 0) close(fd);
        }
        result.seconds = std::chrono::duration<double>(Clock::now() - started).count();
        return result;
    }
};

}  // namespace cfftest
