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
    ~PeerProcess() { wait(); }
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    // Forks; the child duplicates each (descriptor, number) of |placements| (descriptors of 10
    // or above) onto that number, closes every other descriptor above 2 and exits with what
    // |body| returns. False when fork fails.
    bool start(const std::vector<std::pair<int, int>>& placements, std::function<int()> body);
    // Waits up to |timeoutMs| for the child, then kills it. Its exit code, or -1 when it was
    // killed, died of a signal or was never started.
    int wait(int timeoutMs = 5000);

private:
    pid_t pid_ = -1;
};

}  // namespace cfftest
