// UdpServer: the simulated printer on the network: packets with network framing on one UDP
// port, an SNMP agent on another, and optionally a raw TCP print port that discards its data.
#include "UdpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "NetworkFraming.h"
#include "NpaRequest.h"
#include "PrinterResponder.h"
#include "SimulatorLog.h"

UdpServer::UdpServer(const DeviceProfile& profile, const SimulatorOptions& options, Responder* responder)
    : options_(options),
      view_(profile),
      agent_(profile, view_),
      ownResponder_(responder ? nullptr : new PrinterResponder(profile, options, kDefaultPayload)),
      responder_(responder ? responder : ownResponder_.get()) {}

UdpServer::~UdpServer() {
    if (npaSocket_ >= 0) {
        close(npaSocket_);
    }
    if (snmpSocket_ >= 0) {
        close(snmpSocket_);
    }
    if (rawListener_ >= 0) {
        close(rawListener_);
    }
    for (int fd : rawConnections_) {
        close(fd);
    }
}

int UdpServer::openSocket(const std::string& address, int port, int type, int& bound, std::string& error) {
    struct sockaddr_in local;
    std::memset(&local, 0, sizeof(local));
    local.sin_family = AF_INET;
    local.sin_port = htons(static_cast<uint16_t>(port));
    if (inet_pton(AF_INET, address.c_str(), &local.sin_addr) != 1) {
        error = "\"" + address + "\" is not an IPv4 address";
        return -1;
    }
    int fd = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        error = std::string("socket: ") + strerror(errno);
        return -1;
    }
    int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    bool stream = type == SOCK_STREAM;
    if (::bind(fd, reinterpret_cast<struct sockaddr*>(&local), sizeof(local)) != 0 ||
        (stream && listen(fd, 4) != 0)) {
        error = std::string(stream ? "cannot listen on TCP " : "cannot bind ") + address + ":" +
                std::to_string(port) + ": " + strerror(errno);
        close(fd);
        return -1;
    }
    socklen_t length = sizeof(local);
    getsockname(fd, reinterpret_cast<struct sockaddr*>(&local), &length);
    bound = ntohs(local.sin_port);
    return fd;
}

int UdpServer::bind(const std::string& address, int npaPort, int snmpPort, std::string& error) {
    if (npaPort >= 0 && (npaSocket_ = openSocket(address, npaPort, SOCK_DGRAM, npaPort_, error)) < 0) {
        return -1;
    }
    if (snmpPort >= 0 && (snmpSocket_ = openSocket(address, snmpPort, SOCK_DGRAM, snmpPort_, error)) < 0) {
        return -1;
    }
    return 0;
}

int UdpServer::bindRaw(const std::string& address, int port, std::string& error) {
    rawListener_ = openSocket(address, port, SOCK_STREAM, rawPort_, error);
    return rawListener_ < 0 ? -1 : 0;
}

void UdpServer::acceptRaw() {
    int fd = accept4(rawListener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd >= 0) {
        SimulatorLog::debug("raw print connection opened");
        rawConnections_.push_back(fd);
    }
}

void UdpServer::drainRaw(size_t index) {
    char buffer[8192];
    ssize_t got = recv(rawConnections_[index], buffer, sizeof(buffer), 0);
    if (got > 0) {
        rawBytes_ += got;
        return;
    }
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    SimulatorLog::debug("raw print connection closed; %ld byte(s) received in all", rawBytes_.load());
    close(rawConnections_[index]);
    rawConnections_.erase(rawConnections_.begin() + static_cast<long>(index));
}

void UdpServer::sendAndAwaitAck(const std::string& datagram, uint16_t sequence, const void* peer,
                                unsigned peerLength, const std::atomic<bool>& stop) {
    sendto(npaSocket_, datagram.data(), datagram.size(), 0, static_cast<const struct sockaddr*>(peer), peerLength);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kAckWaitMs);
    uint32_t expected = NetworkFraming::ackTag(sequence);
    while (!stop && std::chrono::steady_clock::now() < deadline) {
        struct pollfd fd = {npaSocket_, POLLIN, 0};
        if (poll(&fd, 1, 20) <= 0) {
            continue;
        }
        char buffer[64];
        ssize_t got = recv(npaSocket_, buffer, sizeof(buffer), 0);
        uint32_t tag = 0;
        if (got > 0 && NetworkFraming::isAck(std::string(buffer, static_cast<size_t>(got)), tag)) {
            if (tag == expected) {
                ++acksReceived_;
                return;
            }
            SimulatorLog::debug("acknowledgement for another packet (tag %08X)", tag);
        }
        // Anything else while an answer is in flight is dropped, as a busy printer would.
    }
    ++acksMissing_;
    SimulatorLog::debug("no acknowledgement for packet %u", sequence);
}

void UdpServer::serveNpa(const std::atomic<bool>& stop) {
    char buffer[8192];
    struct sockaddr_storage peer;
    socklen_t peerLength = sizeof(peer);
    ssize_t got = recvfrom(npaSocket_, buffer, sizeof(buffer), 0, reinterpret_cast<struct sockaddr*>(&peer), &peerLength);
    if (got <= 0) {
        return;
    }
    std::string datagram(buffer, static_cast<size_t>(got));
    uint32_t tag = 0;
    if (NetworkFraming::isAck(datagram, tag)) {
        SimulatorLog::debug("late acknowledgement (tag %08X)", tag);
        return;
    }
    std::string packet = NetworkFraming::requestPacket(datagram);
    if (packet.empty()) {
        SimulatorLog::debug("datagram of %zd bytes is too short for a request", got);
        return;
    }
    std::vector<std::string> packets = responder_->respond(NpaRequest::classify(packet));
    std::vector<uint16_t> order;
    for (size_t i = 0; i < packets.size(); ++i) {
        order.push_back(static_cast<uint16_t>(i));
    }
    if (options_.reorder) {
        std::reverse(order.begin(), order.end());
    }
    for (size_t i = 0; i < order.size(); ++i) {
        std::string answerPacket = packets[order[i]];
        if (i == 0 && options_.noise) {
            answerPacket.insert(answerPacket.begin(), '\0');
        }
        std::string framed = NetworkFraming::frameAnswer(answerPacket, order[i], datagram);
        SimulatorLog::dump("answer datagram", reinterpret_cast<const unsigned char*>(framed.data()), framed.size());
        sendAndAwaitAck(framed, order[i], &peer, peerLength, stop);
    }
}

void UdpServer::serveSnmp() {
    unsigned char buffer[8192];
    struct sockaddr_storage peer;
    socklen_t peerLength = sizeof(peer);
    ssize_t got = recvfrom(snmpSocket_, buffer, sizeof(buffer), 0, reinterpret_cast<struct sockaddr*>(&peer), &peerLength);
    if (got <= 0) {
        return;
    }
    SimulatorLog::dump("SNMP request", buffer, static_cast<size_t>(got));
    if (++snmpRequests_ <= options_.dropRequests) {
        SimulatorLog::debug("dropping SNMP request %d", snmpRequests_);
        return;
    }
    std::string reply;
    if (!agent_.handle(buffer, static_cast<size_t>(got), reply)) {
        SimulatorLog::debug("SNMP datagram ignored");
        return;
    }
    if (options_.delayMs > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(options_.delayMs));
    }
    SimulatorLog::dump("SNMP response", reinterpret_cast<const unsigned char*>(reply.data()), reply.size());
    sendto(snmpSocket_, reply.data(), reply.size(), 0, reinterpret_cast<struct sockaddr*>(&peer), peerLength);
}

int UdpServer::serve(const std::atomic<bool>& stop) {
    while (!stop) {
        std::vector<struct pollfd> fds;
        int npaIndex = -1;
        int snmpIndex = -1;
        int rawIndex = -1;
        if (npaSocket_ >= 0) {
            npaIndex = static_cast<int>(fds.size());
            fds.push_back({npaSocket_, POLLIN, 0});
        }
        if (snmpSocket_ >= 0) {
            snmpIndex = static_cast<int>(fds.size());
            fds.push_back({snmpSocket_, POLLIN, 0});
        }
        if (rawListener_ >= 0 && rawConnections_.size() < kMaxRawConnections) {
            rawIndex = static_cast<int>(fds.size());
            fds.push_back({rawListener_, POLLIN, 0});
        }
        size_t firstConnection = fds.size();
        for (int fd : rawConnections_) {
            fds.push_back({fd, POLLIN, 0});
        }
        if (poll(fds.data(), fds.size(), 100) <= 0) {
            continue;
        }
        if (npaIndex >= 0 && (fds[npaIndex].revents & POLLIN)) {
            serveNpa(stop);
        }
        if (snmpIndex >= 0 && (fds[snmpIndex].revents & POLLIN)) {
            serveSnmp();
        }
        // Last first, so that closing a connection does not shift the ones still to visit.
        for (size_t i = fds.size(); i-- > firstConnection;) {
            if (fds[i].revents != 0) {
                drainRaw(i - firstConnection);
            }
        }
        if (rawIndex >= 0 && (fds[rawIndex].revents & POLLIN)) {
            acceptRaw();
        }
    }
    return 0;
}
