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

// Binds a UDP socket to |address| (IPv4 or IPv6 text; |port| 0: the system chooses) and serves
// it on a thread: the i-th datagram received is answered, to its sender, with the datagrams of
// replies[i] in order.
class UdpPeer {
public:
    using Replies = std::vector<std::vector<std::string>>;

    explicit UdpPeer(Replies replies = {}, const std::string& address = "127.0.0.1", int port = 0) {
        sockaddr_storage local{};
        auto* v4 = reinterpret_cast<sockaddr_in*>(&local);
        auto* v6 = reinterpret_cast<sockaddr_in6*>(&local);
        socklen_t length = sizeof(*v4);
        if (inet_pton(AF_INET, address.c_str(), &v4->sin_addr) == 1) {
            v4->sin_family = AF_INET, v4->sin_port = htons(static_cast<uint16_t>(port));
        } else if (inet_pton(AF_INET6, address.c_str(), &v6->sin6_addr) == 1) {
            v6->sin6_family = AF_INET6, v6->sin6_port = htons(static_cast<uint16_t>(port)), length = sizeof(*v6);
        } else {
            return;
        }
        timeval tick{0, 20000};  // how often the thread looks whether to stop
        int fd = moveAboveTen(socket(local.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&local), length) != 0 ||
            getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length) != 0 ||
            setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tick, sizeof(tick)) != 0) {
            if (fd >= 0) close(fd);
            return;
        }
        port_ = ntohs(local.ss_family == AF_INET ? v4->sin_port : v6->sin6_port);
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
                sender_ = sender, senderLength_ = senderLength;
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
    // Sends |datagram| from this socket to whoever last sent one to |peer|.
    void sendToSenderOf(const UdpPeer& peer, const std::string& datagram) const {
        std::lock_guard<std::mutex> lock(peer.mutex_);
        sendto(socket_, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&peer.sender_),
               peer.senderLength_);
    }

private:
    int socket_ = -1, port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
    mutable std::mutex mutex_;
    std::vector<std::string> received_;
    sockaddr_storage sender_{};
    socklen_t senderLength_ = 0;
};

}  // namespace cfftest
