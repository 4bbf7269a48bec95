// PeerProcess: a forked child that plays the other end of a channel in device tests.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <utility>
#include <vector>

namespace cfftest {

class PeerProcess {
public:
    PeerProcess() = default;
    ~PeerProcess() { wait(); }
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    // Forks; the child duplicates each (descriptor, number) of |placements| (descriptors of 10
    // or above) onto that number, closes every other descriptor above 2 and exits with what
    // |body| returns. False when fork fails.
    bool start(const std::vector<std::pair<int, int>>& placements, std::function<int()> body) {
        pid_t pid = fork();
        if (pid != 0) {
            pid_ = pid;
            return pid > 0;
        }
        int top = 2;
        for (auto [from, to] : placements) top = std::max(top, dup2(from, to));
        for (int fd = 3; fd <= top; ++fd) {
            if (std::none_of(placements.begin(), placements.end(), [fd](auto& p) { return p.second == fd; })) close(fd);
        }
        close_range(top + 1, ~0U, 0);
        _exit(body());
    }

    // Waits up to |timeoutMs| for the child, then kills it. Its exit code, or -1 when it was
    // killed, died of a signal or was never started.
    int wait(int timeoutMs = 5000) {
        if (pid_ <= 0) return -1;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        int status = 0;
        pid_t done;
        while ((done = waitpid(pid_, &status, WNOHANG)) == 0 && std::chrono::steady_clock::now() < deadline) usleep(5000);
        if (done == 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, &status, 0);
        }
        pid_ = -1;
        return done > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;
};

}  // namespace cfftest
