// PeerProcess: a forked child that plays the other end of a channel in device tests.
#pragma once

#include <sys/types.h>

#include <functional>
#include <utility>
#include <vector>

namespace cfftest {

class PeerProcess {
public:
    PeerProcess() = default;
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    // Forks. In the child, each (descriptor, number) of |placements| is duplicated onto
    // that number, every other descriptor above 2 is closed, and the child exits with
    // what |body| returns. The descriptors to place should be 10 or above. False when
    // fork fails.
    bool start(const std::vector<std::pair<int, int>>& placements, std::function<int()> body);
    // Waits up to |timeoutMs| for the child to exit, then kills it. Returns its exit code,
    // or -1 when it was killed, died of a signal or was never started.
    int wait(int timeoutMs = 5000);
    bool running() const { return pid_ > 0; }

private:
    pid_t pid_ = -1;
};

}  // namespace cfftest
