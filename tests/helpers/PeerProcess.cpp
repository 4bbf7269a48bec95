// PeerProcess: a forked child that plays the other end of a channel in device tests.
#include "helpers/PeerProcess.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace cfftest {

bool PeerProcess::start(const std::vector<std::pair<int, int>>& placements, std::function<int()> body) {
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

int PeerProcess::wait(int timeoutMs) {
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

}  // namespace cfftest
