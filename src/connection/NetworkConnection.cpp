// NetworkConnection: UDP datagrams to a printer named by a network device URI.
#include "connection/NetworkConnection.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "connection/URLResolver.h"
#include "protocol/Protocol.h"
#include "support/Logger.h"

long NetworkConnection::readGraceMicroseconds_ = NetworkConnection::kDefaultReadGraceMicroseconds;

void NetworkConnection::setReadGraceMicroseconds(long microseconds) {
    if (microseconds < 0) {
        microseconds = 0;
    }
    if (microseconds > 999999) {
        microseconds = 999999;
    }
    readGraceMicroseconds_ = microseconds;
}

NetworkConnection::NetworkConnection(std::string uri,
                                     std::map<std::string, URLResolver*> resolvers)
    : resolvers_(std::move(resolvers)) {
    Logger logger("NetworkConnection", "NetworkConnection");
    std::string scheme;
    std::string authority;
    size_t separator = uri.find("://");
    if (separator == std::string::npos) {
        authority = uri;
    } else {
        scheme = uri.substr(0, separator);
        authority = uri.substr(separator + 3);
        size_t slash = authority.find('/');
        if (slash != std::string::npos) {
            authority.erase(slash);
        }
    }
    // A port written in the URI is ignored: the protocol decides the port.
    hostAddress_ = authority.substr(0, authority.find(':'));

    auto entry = resolvers_.find(scheme);
    if (!hostAddress_.empty() && entry != resolvers_.end() && entry->second != nullptr) {
        URLResolver* resolver = entry->second;
        // Unresolved, the service name stays the host; opening then fails in getaddrinfo.
        if (resolver->resolveService(hostAddress_) == 0 && !resolver->getHostName().empty()) {
            hostAddress_ = resolver->getHostName();
        }
    }
}

NetworkConnection::~NetworkConnection() {
    if (socket_ != -1) {
        close(socket_);
    }
}

int NetworkConnection::doOpen() {
    Logger logger("NetworkConnection", "doOpen");
    open_ = false;
    if (socket_ != -1) {
        close(socket_);
        socket_ = -1;
    }
    if (getProtocol() == nullptr) {
        logger.Log("%s", "No protocol to give the port");
        return 10;
    }
    char port[10];
    std::snprintf(port, sizeof(port), "%d", getProtocol()->getProtocolPort());
    logger.Log("sHostAddress_ =%s", hostAddress_.c_str());
    if (hostAddress_.empty()) {
        logger.Log("getaddrinfo status =%s", "FAIL");
        return 10;
    }

    struct addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_socktype = SOCK_DGRAM;
    struct addrinfo* results = nullptr;
    if (getaddrinfo(hostAddress_.c_str(), port, &hints, &results) != 0 || results == nullptr) {
        logger.Log("getaddrinfo status =%s", "FAIL");
        return 10;
    }
    logger.Log("getaddrinfo status =%s", "Success");

    struct addrinfo* chosen = nullptr;
    for (struct addrinfo* entry = results; entry != nullptr; entry = entry->ai_next) {
        socket_ = socket(entry->ai_family, entry->ai_socktype, entry->ai_protocol);
        if (socket_ != -1) {
            chosen = entry;
            break;
        }
    }
    if (chosen == nullptr) {
        freeaddrinfo(results);
        return 10;
    }
    logger.Log("Socket creation status =%s", "Success");

    // Any local port will do; a bind that fails leaves the choice to the first send.
    struct sockaddr_in local;
    std::memset(&local, 0, sizeof(local));
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    local.sin_port = 0;
    (void)bind(socket_, reinterpret_cast<struct sockaddr*>(&local), sizeof(local));

    socklen_t length = chosen->ai_addrlen;
    if (length > sizeof(peer_)) {
        length = sizeof(peer_);
    }
    std::memset(&peer_, 0, sizeof(peer_));
    std::memcpy(&peer_, chosen->ai_addr, length);
    peerLength_ = length;
    open_ = true;
    freeaddrinfo(results);
    return 0;
}

int NetworkConnection::doClose() {
    Logger logger("NetworkConnection", "doClose");
    int result = -1;
    if (socket_ != -1) {
        close(socket_);
        socket_ = -1;
        result = 0;
    }
    open_ = false;
    return result;
}

int NetworkConnection::doWrite(Data* request) {
    Logger logger("NetworkConnection", "doWrite");
    if (!open_ || socket_ == -1) {
        return -1;
    }
    if (request == nullptr) {
        logger.Log("%s", "No request to send");
        return -1;
    }
    size_t size = request->size() > 0 ? static_cast<size_t>(request->size()) : 0;
    ssize_t sent = sendto(socket_, request->get(), size, 0,
                          reinterpret_cast<struct sockaddr*>(&peer_), peerLength_);
    if (sent == -1) {
        return -1;
    }
    logger.Log("Write return = %d", static_cast<int>(sent));
    return 0;
}

int NetworkConnection::doRead(Data& answer) {
    Logger logger("NetworkConnection", "doRead");
    if (!open_ || socket_ == -1) {
        return -1;
    }
    if (socket_ >= FD_SETSIZE) {
        logger.Log("Socket %d cannot be waited on", socket_);
        return -1;
    }

    // Whole seconds of the time-out plus a fixed fraction: once the time-out has dropped
    // to 0.0 every wait is just that fraction.
    double seconds = getTimeoutVal();
    if (seconds < 0.0) {
        seconds = 0.0;
    }
    if (seconds > 86400.0) {
        seconds = 86400.0;
    }
    struct timeval wait;
    wait.tv_sec = static_cast<time_t>(static_cast<int>(seconds));
    wait.tv_usec = static_cast<suseconds_t>(readGraceMicroseconds_);

    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(socket_, &readable);
    int ready = select(socket_ + 1, &readable, nullptr, nullptr, &wait);
    if (ready <= 0 || !FD_ISSET(socket_, &readable)) {
        logger.Log("%s", "Timed out.");
        return -1;
    }

    // One byte more than kept, so that a longer datagram shows as such.
    std::vector<unsigned char> buffer(kMaxDatagramSize + 1, 0);
    struct sockaddr_storage sender {};
    socklen_t senderLength = sizeof(sender);
    ssize_t count = recvfrom(socket_, buffer.data(), buffer.size(), 0,
                             reinterpret_cast<struct sockaddr*>(&sender), &senderLength);
    if (count <= 0) {
        return -1;
    }
    // Later writes answer whoever sent this datagram.
    if (senderLength > 0 && senderLength <= sizeof(sender)) {
        peer_ = sender;
        peerLength_ = senderLength;
    }
    if (count > kMaxDatagramSize) {
        count = kMaxDatagramSize;
    }
    // Intended: after the first datagram every wait is short, so the end of a
    // multi-packet answer is found when no further datagram follows closely.
    setTimeoutVal(0.0);
    answer.assign(buffer.data(), static_cast<int>(count));
    logger.Log("Read Size =%d", static_cast<int>(count));
    return 0;
}
