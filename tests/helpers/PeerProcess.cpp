// PeerProcess: a forked child that plays the other end of a channel in device tests.
#include "helpers/PeerProcess.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace cfftest {

PeerProcess::~PeerProcess() { wait(); }

bool PeerProcess::start(const std::vector<std::pair<int, int>>& placements,
                        std::function<int()> body) {
    pid_t pid = fork();
    if (pid < 0) {
        return false;
    }
    if (pid > 0) {
        pid_ = pid;
        return true;
    }
    std::vector<int> targets;
    for (const auto& placement : placements) {
        dup2(placement.first, placement.second);
        targets.push_back(placement.second);
    }
    std::sort(targets.begin(), targets.end());
    unsigned int next = 3;
    for (int target : targets) {
        if (static_cast<unsigned int>(target) > next) {
            close_range(next, static_cast<unsigned int>(target) - 1, 0);
        }
        next = std::max(next, static_cast<unsigned int>(target) + 1);
    }
    close_range(next, ~0U, 0);
    _exit(body());
}

int PeerProcess::wait(int timeoutMs) {
    if (pid_ <= 0) {
        return -1;
    }
    int status = 0;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    pid_t done = 0;
    while ((done = waitpid(pid_, &status, WNOHANG)) == 0 &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (done == 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return -1;
    }
    pid_ = -1;
    return done > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace cfftest
