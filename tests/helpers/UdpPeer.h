// UdpPeer: a scripted UDP device that records the datagrams it receives and answers them.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "helpers/FdSlot.h"

namespace cfftest {

// Binds a UDP socket (|port| 0: the system chooses) and serves it on a thread: the i-th
// datagram received is answered, to its sender, with the datagrams of replies[i] in order.
class UdpPeer {
public:
    using Replies = std::vector<std::vector<std::string>>;

    explicit UdpPeer(Replies replies = {}, const std::string& address = "127.0.0.1", int port = 0) {
        sockaddr_in local{AF_INET, htons(static_cast<uint16_t>(port)), {}, {}};
        socklen_t length = sizeof(local);
        timeval tick{0, 20000};  // how often the thread looks whether to stop
        int fd = moveAboveTen(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        if (fd < 0 || inet_pton(AF_INET, address.c_str(), &local.sin_addr) != 1 ||
            bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0 ||
            getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length) != 0 ||
            setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tick, sizeof(tick)) != 0) {
            if (fd >= 0) close(fd);
            return;
        }
        port_ = ntohs(local.sin_port);
        socket_ = fd;
        thread_ = std::thread([this, replies = std::move(replies)] {
            std::vector<char> buffer(65536);
            while (!stop_) {
                sockaddr_storage sender;
                socklen_t senderLength = sizeof(sender);
                auto* from = reinterpret_cast<sockaddr*>(&sender);
                ssize_t count = recvfrom(socket_, buffer.data(), buffer.size(), 0, from, &senderLength);
                if (count < 0) continue;
                std::lock_guard<std::mutex> lock(mutex_);
                received_.emplace_back(buffer.data(), static_cast<size_t>(count));
                if (received_.size() > replies.size()) continue;
                for (const std::string& reply : replies[received_.size() - 1]) {
                    sendto(socket_, reply.data(), reply.size(), 0, from, senderLength);
                }
            }
        });
    }
    ~UdpPeer() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
        if (socket_ >= 0) close(socket_);
    }

    bool ok() const { return socket_ >= 0; }
    int port() const { return port_; }
    std::vector<std::string> received() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return received_;
    }

private:
    int socket_ = -1, port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
    mutable std::mutex mutex_;
    std::vector<std::string> received_;
};

}  // namespace cfftest
