#include "helpers/UdpPeer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "helpers/FdSlot.h"

namespace cfftest {

UdpPeer::UdpPeer(Replies replies, const std::string& address, int port) : replies_(std::move(replies)) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(static_cast<uint16_t>(port));
    socklen_t length = sizeof(local);
    int fd = moveAboveTen(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (fd < 0 || inet_pton(AF_INET, address.c_str(), &local.sin_addr) != 1 ||
        bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length) != 0 || pipe2(wake_, O_CLOEXEC) != 0) {
        if (fd >= 0) close(fd);
        return;
    }
    wake_[0] = moveAboveTen(wake_[0]);
    wake_[1] = moveAboveTen(wake_[1]);
    port_ = ntohs(local.sin_port);
    socket_ = fd;
    thread_ = std::thread(&UdpPeer::serve, this);
}

UdpPeer::~UdpPeer() {
    if (thread_.joinable()) {
        (void)!write(wake_[1], "", 1);
        thread_.join();
    }
    for (int fd : {socket_, wake_[0], wake_[1]}) {
        if (fd >= 0) close(fd);
    }
}

std::vector<std::string> UdpPeer::received() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return received_;
}

bool UdpPeer::waitForDatagrams(size_t count, int timeoutMs) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return arrived_.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return received_.size() >= count; });
}

void UdpPeer::serve() {
    std::vector<char> buffer(65536);
    size_t answered = 0;
    for (;;) {
        pollfd entries[2] = {{socket_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
        if (poll(entries, 2, -1) < 0 || entries[1].revents != 0) return;
        sockaddr_storage sender;
        socklen_t senderLength = sizeof(sender);
        ssize_t count = recvfrom(socket_, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&sender),
                                 &senderLength);
        if (count < 0) continue;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            received_.emplace_back(buffer.data(), static_cast<size_t>(count));
        }
        arrived_.notify_all();
        for (const std::string& reply : answered < replies_.size() ? replies_[answered] : Replies::value_type{}) {
            sendto(socket_, reply.data(), reply.size(), 0, reinterpret_cast<sockaddr*>(&sender), senderLength);
        }
        ++answered;
    }
}

}  // namespace cfftest
