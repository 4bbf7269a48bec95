// ScriptedUsbPrinter: runs the filter program as the spooler does and plays the printer behind the backend.
#include "helpers/ScriptedUsbPrinter.h"

#include "helpers/PrivateTmp.h"
#include "helpers/TestUtil.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <deque>

namespace cfftest {

namespace {

using SteadyClock = std::chrono::steady_clock;

void closeAll(std::initializer_list<int*> fds) {
    for (int* fd : fds) {
        if (*fd >= 0) close(*fd);
        *fd = -1;
    }
}

// Appends what is available on |fd| to |into|; false at end of file or on an error.
bool drainInto(int fd, std::string& into) {
    char buffer[4096];
    ssize_t got = read(fd, buffer, sizeof buffer);
    if (got > 0) into.append(buffer, static_cast<size_t>(got));
    return got > 0 || (got < 0 && (errno == EINTR || errno == EAGAIN));
}

// Cuts the complete NPA packets off the front of |stream|, dropping bytes before a start
// byte as a printer resynchronising would.
std::vector<std::string> takePackets(std::string& stream) {
    std::vector<std::string> packets;
    for (;;) {
        size_t start = stream.find('\xA5');
        stream.erase(0, start == std::string::npos ? stream.size() : start);
        if (stream.size() < 3) return packets;
        size_t length = 3 + ((static_cast<unsigned char>(stream[1]) << 8) | static_cast<unsigned char>(stream[2]));
        if (stream.size() < length) return packets;
        packets.push_back(stream.substr(0, length));
        stream.erase(0, length);
    }
}

// In a child: a mount namespace of its own with an empty /tmp.
bool enterPrivateTmp() {
    return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mountPrivateTmp();
}

}  // namespace

bool ScriptedUsbPrinter::privateTmpAvailable() {
    static const bool available = [] {
        pid_t child = fork();
        if (child == 0) _exit(enterPrivateTmp() ? 0 : 1);
        int status = 0;
        return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }();
    return available;
}

ScriptedUsbPrinter::ScriptedUsbPrinter(std::vector<PrinterAnswer> answers)
    : ScriptedUsbPrinter(std::move(answers), Options()) {}

ScriptedUsbPrinter::ScriptedUsbPrinter(std::vector<PrinterAnswer> answers, Options options)
    : answers_(std::move(answers)), options_(std::move(options)) {}

UsbFilterRun ScriptedUsbPrinter::run(const std::string& filter, const std::string& commandFile) const {
    UsbFilterRun result;
    // Everything the child needs is prepared before fork: other threads may hold allocator locks.
    std::vector<std::string> args = {filter, "42", "maintenance", "commands", "1", "", commandFile};
    std::vector<std::string> environment = {"PATH=/usr/bin:/bin", "DEVICE_URI=" + options_.deviceUri};
    environment.insert(environment.end(), options_.environment.begin(), options_.environment.end());
    for (const std::string& entry : sanitizerEnvironment()) environment.push_back(entry);
    std::vector<char*> argv, envp;
    for (std::string& arg : args) argv.push_back(arg.data());
    for (std::string& entry : environment) envp.push_back(entry.data());
    argv.push_back(nullptr);
    envp.push_back(nullptr);

    int output[2] = {-1, -1}, errors[2] = {-1, -1}, backChannel[2] = {-1, -1}, sideChannel[2] = {-1, -1};
    int nullInput = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nullInput < 0 || pipe2(output, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0 ||
        pipe2(backChannel, O_CLOEXEC) != 0 ||
        socketpair(AF_LOCAL, SOCK_STREAM | SOCK_CLOEXEC, 0, sideChannel) != 0) {
        closeAll({&nullInput, &output[0], &output[1], &errors[0], &errors[1], &backChannel[0], &backChannel[1],
                  &sideChannel[0], &sideChannel[1]});
        return result;
    }
    // The spooler leaves both back-channel ends non-blocking.
    for (int fd : backChannel) fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);

    auto started = SteadyClock::now();
    pid_t child = fork();
    if (child == 0) {
        // Lift the sources above the targets first, so that no dup2 overwrites one still needed.
        const int sources[5] = {nullInput, output[1], errors[1], backChannel[0],
                                options_.inheritFd4 ? 4 : sideChannel[1]};
        int lifted[5];
        for (int target = 0; target < 5; ++target) lifted[target] = fcntl(sources[target], F_DUPFD, 10);
        for (int target = 0; target < 5; ++target) {
            if (lifted[target] < 0 || dup2(lifted[target], target) != target) _exit(126);
        }
        close_range(5, ~0U, 0);
        if (options_.privateTmp && !enterPrivateTmp()) _exit(125);
        signal(SIGPIPE, SIG_DFL);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    closeAll({&nullInput, &output[1], &errors[1], &backChannel[0], &sideChannel[1]});
    if (child < 0) {
        closeAll({&output[0], &errors[0], &backChannel[1], &sideChannel[0]});
        return result;
    }

    struct Pending {
        std::deque<std::string> packets;
        SteadyClock::time_point notBefore;
    };
    std::deque<Pending> pending;
    size_t answered = 0;
    std::string stream;
    bool outputOpen = true, errorsOpen = true, exited = false;
    int status = 0;
    while (outputOpen || errorsOpen || !exited) {
        auto now = SteadyClock::now();
        if (now >= started + std::chrono::seconds(30)) kill(child, SIGKILL);
        // The next packet goes out once the filter has read everything before it.
        int queued = 0;
        while (backChannel[1] >= 0 && !pending.empty() && now >= pending.front().notBefore &&
               ioctl(backChannel[1], FIONREAD, &queued) == 0 && queued == 0) {
            if (pending.front().packets.empty()) {
                pending.pop_front();
                continue;
            }
            const std::string& packet = pending.front().packets.front();
            if (write(backChannel[1], packet.data(), packet.size()) != static_cast<ssize_t>(packet.size())) {
                pending.clear();  // the filter is gone: nothing more can be delivered
            } else {
                pending.front().packets.pop_front();
            }
            break;
        }
        if (options_.closeWhenAnswered && answered >= answers_.size() && pending.empty()) {
            closeAll({&backChannel[1]});
        }
        if (!exited) {
            pid_t done = waitpid(child, &status, WNOHANG);
            exited = done == child || done < 0;
        }
        if (!outputOpen && !errorsOpen) {
            usleep(2000);
            continue;
        }
        struct pollfd entries[2] = {{outputOpen ? output[0] : -1, POLLIN, 0}, {errorsOpen ? errors[0] : -1, POLLIN, 0}};
        if (poll(entries, 2, pending.empty() ? 20 : 2) < 0 && errno != EINTR) break;
        if (entries[0].revents != 0) {
            size_t before = result.output.size();
            outputOpen = drainInto(output[0], result.output);
            stream.append(result.output, before, std::string::npos);
            for (const std::string& packet : takePackets(stream)) {
                if (packet.size() > 3 && static_cast<unsigned char>(packet[3]) == 0x80) continue;  // mode command
                if (answered < answers_.size()) {
                    const PrinterAnswer& answer = answers_[answered];
                    pending.push_back({{answer.packets.begin(), answer.packets.end()},
                                       SteadyClock::now() + std::chrono::milliseconds(answer.delayMs)});
                }
                ++answered;
            }
        }
        if (entries[1].revents != 0) errorsOpen = drainInto(errors[0], result.errors);
    }
    closeAll({&output[0], &errors[0], &backChannel[1], &sideChannel[0]});
    result.seconds = std::chrono::duration<double>(SteadyClock::now() - started).count();
    result.ran = true;
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return result;
}

}  // namespace cfftest
