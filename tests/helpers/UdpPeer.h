// UdpPeer: a scripted UDP device that records the datagrams it receives and answers them.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace cfftest {

// Binds a UDP socket (|port| 0: the system chooses) and serves it on a thread: the i-th
// datagram received is answered, to its sender, with the datagrams of replies[i] in order.
class UdpPeer {
public:
    using Replies = std::vector<std::vector<std::string>>;

    explicit UdpPeer(Replies replies = {}, const std::string& address = "127.0.0.1", int port = 0);
    ~UdpPeer();
    UdpPeer(const UdpPeer&) = delete;
    UdpPeer& operator=(const UdpPeer&) = delete;

    bool ok() const { return socket_ >= 0; }
    int port() const { return port_; }
    std::vector<std::string> received() const;
    // Waits until |count| datagrams have arrived or |timeoutMs| passed; true if they did.
    bool waitForDatagrams(size_t count, int timeoutMs) const;

private:
    void serve();

    Replies replies_;
    int socket_ = -1;
    int port_ = 0;
    int wake_[2] = {-1, -1};
    std::thread thread_;
    mutable std::mutex mutex_;
    mutable std::condition_variable arrived_;
    std::vector<std::string> received_;
};

}  // namespace cfftest
