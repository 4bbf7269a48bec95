// NetworkConnection: UDP datagrams to a printer named by a network device URI.
#include "connection/NetworkConnection.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "connection/URLResolver.h"
#include "protocol/Protocol.h"
#include "support/Logger.h"

long NetworkConnection::readGraceMicroseconds_ = NetworkConnection::kDefaultReadGraceMicroseconds;

namespace {

// Most addresses of one host that are tried.
constexpr size_t kMaxAddresses = 16;

// The host of a URI authority: an IPv6 literal between brackets (a zone written "%25"
// as in URIs becomes "%"), otherwise the text up to the first ":". A port written after
// the host is ignored: the protocol decides the port.
std::string hostOfAuthority(const std::string& authority) {
    if (authority.empty() || authority[0] != '[') {
        return authority.substr(0, authority.find(':'));
    }
    std::string host = authority.substr(1, authority.find(']') - 1);
    size_t zone = host.find("%25");
    if (zone != std::string::npos) {
        host.erase(zone + 1, 2);
    }
    return host;
}

// True when |a| and |b| hold the same IP address; ports are not compared.
bool sameAddress(const struct sockaddr_storage& a, const struct sockaddr_storage& b) {
    if (a.ss_family != b.ss_family) {
        return false;
    }
    if (a.ss_family == AF_INET) {
        const auto& a4 = reinterpret_cast<const struct sockaddr_in&>(a);
        const auto& b4 = reinterpret_cast<const struct sockaddr_in&>(b);
        return a4.sin_addr.s_addr == b4.sin_addr.s_addr;
    }
    if (a.ss_family == AF_INET6) {
        const auto& a6 = reinterpret_cast<const struct sockaddr_in6&>(a);
        const auto& b6 = reinterpret_cast<const struct sockaddr_in6&>(b);
        return std::memcmp(&a6.sin6_addr, &b6.sin6_addr, sizeof(a6.sin6_addr)) == 0 &&
               (a6.sin6_scope_id == 0 || b6.sin6_scope_id == 0 ||
                a6.sin6_scope_id == b6.sin6_scope_id);
    }
    return false;
}

// The address of |address| as text, for the log.
std::string addressText(const struct sockaddr_storage& address) {
    char text[INET6_ADDRSTRLEN] = "?";
    if (address.ss_family == AF_INET) {
        inet_ntop(AF_INET, &reinterpret_cast<const struct sockaddr_in&>(address).sin_addr, text,
                  sizeof(text));
    } else if (address.ss_family == AF_INET6) {
        inet_ntop(AF_INET6, &reinterpret_cast<const struct sockaddr_in6&>(address).sin6_addr,
                  text, sizeof(text));
    }
    return text;
}

// Errors with which a socket reports that the address it sent to refused the datagram
// (an ICMP message came back) or cannot be reached.
bool isRefusal(int error) {
    return error == ECONNREFUSED || error == EHOSTUNREACH || error == ENETUNREACH ||
           error == EHOSTDOWN;
}

// Empties the socket's queue of reported errors, which would otherwise keep it readable.
void discardQueuedErrors(int fd) {
    char control[512];
    char data[64];
    for (int i = 0; i < 64; ++i) {
        struct iovec vector = {data, sizeof(data)};
        struct msghdr message;
        std::memset(&message, 0, sizeof(message));
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof(control);
        if (recvmsg(fd, &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0) {
            return;
        }
    }
}

}  // namespace

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
    hostAddress_ = hostOfAuthority(authority);

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
    answered_ = false;
    addresses_.clear();
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
    for (struct addrinfo* entry = results; entry != nullptr && addresses_.size() < kMaxAddresses;
         entry = entry->ai_next) {
        if (entry->ai_addr == nullptr || entry->ai_addrlen > sizeof(struct sockaddr_storage)) {
            continue;
        }
        Address address{entry->ai_family, entry->ai_socktype, entry->ai_protocol, {},
                        entry->ai_addrlen};
        std::memcpy(&address.address, entry->ai_addr, entry->ai_addrlen);
        addresses_.push_back(address);
    }
    freeaddrinfo(results);

    // The addresses in the order the lookup gave them, until one socket opens.
    current_ = 0;
    bool opened = !addresses_.empty() && useAddress(0);
    if (!opened && !useNextAddress()) {
        return 10;
    }
    logger.Log("Socket creation status =%s", "Success");
    open_ = true;
    return 0;
}

bool NetworkConnection::useAddress(size_t index) {
    const Address& address = addresses_[index];
    int fd = socket(address.family, address.socketType, address.protocol);
    if (fd == -1) {
        return false;
    }
    // Refusals (ICMP port unreachable) are reported to this unconnected socket too, so
    // that an address where nobody listens gives way to the next one at once.
    int on = 1;
    if (address.family == AF_INET6) {
        (void)setsockopt(fd, IPPROTO_IPV6, IPV6_RECVERR, &on, sizeof(on));
        // Any local port will do, on the wildcard address of the socket's own family.
        struct sockaddr_in6 local;
        std::memset(&local, 0, sizeof(local));
        local.sin6_family = AF_INET6;
        local.sin6_addr = in6addr_any;
        (void)bind(fd, reinterpret_cast<struct sockaddr*>(&local), sizeof(local));
    } else if (address.family == AF_INET) {
        (void)setsockopt(fd, IPPROTO_IP, IP_RECVERR, &on, sizeof(on));
        struct sockaddr_in local;
        std::memset(&local, 0, sizeof(local));
        local.sin_family = AF_INET;
        local.sin_addr.s_addr = htonl(INADDR_ANY);
        (void)bind(fd, reinterpret_cast<struct sockaddr*>(&local), sizeof(local));
    }
    // The socket in use stays until its successor exists.
    if (socket_ != -1) {
        close(socket_);
    }
    socket_ = fd;
    current_ = index;
    std::memset(&peer_, 0, sizeof(peer_));
    std::memcpy(&peer_, &address.address, address.length);
    peerLength_ = address.length;
    return true;
}

bool NetworkConnection::useNextAddress() {
    Logger logger("NetworkConnection", "useNextAddress");
    for (size_t index = current_ + 1; index < addresses_.size(); ++index) {
        if (useAddress(index)) {
            logger.Log("Trying the next address =%s", addressText(peer_).c_str());
            return true;
        }
    }
    return false;
}

bool NetworkConnection::sendToPrinter(const std::vector<unsigned char>& bytes, Logger& logger) {
    bool retried = false;
    for (;;) {
        ssize_t sent = sendto(socket_, bytes.data(), bytes.size(), 0,
                              reinterpret_cast<struct sockaddr*>(&peer_), peerLength_);
        if (sent != -1) {
            logger.Log("Write return = %d", static_cast<int>(sent));
            return true;
        }
        int error = errno;
        logger.Log("Sending to %s failed: %s", addressText(peer_).c_str(), std::strerror(error));
        discardQueuedErrors(socket_);
        // A refusal may be that of an earlier datagram, which this call has now taken:
        // the same address gets one more try.
        if (isRefusal(error) && !retried) {
            retried = true;
            continue;
        }
        // Once the printer has answered from this address, it is the one to talk to.
        if (answered_ || !useNextAddress()) {
            return false;
        }
        retried = false;
    }
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
    size_t size = request->size() > 0 && request->get() != nullptr
                      ? static_cast<size_t>(request->size())
                      : 0;
    lastRequest_.assign(request->get(), request->get() + size);
    return sendToPrinter(lastRequest_, logger) ? 0 : -1;
}

int NetworkConnection::doRead(Data& answer) {
    Logger logger("NetworkConnection", "doRead");
    if (!open_ || socket_ == -1) {
        return -1;
    }

    // Whole seconds of the time-out plus a fixed fraction: once the time-out has dropped
    // to 0.0 every wait is just that fraction. Datagrams that are dropped do not restart it.
    double seconds = getTimeoutVal();
    if (seconds < 0.0) {
        seconds = 0.0;
    }
    if (seconds > 86400.0) {
        seconds = 86400.0;
    }
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() +
                                       std::chrono::seconds(static_cast<int>(seconds)) +
                                       std::chrono::microseconds(readGraceMicroseconds_);

    // One byte more than kept, so that a longer datagram shows as such.
    std::vector<unsigned char> buffer(kMaxDatagramSize + 1, 0);
    for (;;) {
        if (socket_ >= FD_SETSIZE) {
            logger.Log("Socket %d cannot be waited on", socket_);
            return -1;
        }
        auto remaining =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
        if (remaining < 0) {
            remaining = 0;
        }
        struct timeval wait;
        wait.tv_sec = static_cast<time_t>(remaining / 1000000);
        wait.tv_usec = static_cast<suseconds_t>(remaining % 1000000);
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(socket_, &readable);
        int ready = select(socket_ + 1, &readable, nullptr, nullptr, &wait);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0 || !FD_ISSET(socket_, &readable)) {
            logger.Log("%s", "Timed out.");
            return -1;
        }

        struct sockaddr_storage sender {};
        socklen_t senderLength = sizeof(sender);
        // Not blocking: a socket is also readable when it only has errors to report.
        ssize_t count = recvfrom(socket_, buffer.data(), buffer.size(), MSG_DONTWAIT,
                                 reinterpret_cast<struct sockaddr*>(&sender), &senderLength);
        if (count < 0) {
            int error = errno;
            discardQueuedErrors(socket_);
            if (isRefusal(error)) {
                logger.Log("%s refused the request: %s", addressText(peer_).c_str(),
                           std::strerror(error));
                // Before any answer, the request goes to the host's next address and the
                // wait goes on; otherwise the refusal is no answer and the wait goes on.
                if (!answered_ && !lastRequest_.empty() && useNextAddress() &&
                    !sendToPrinter(lastRequest_, logger)) {
                    return -1;
                }
                continue;
            }
            if (error == EINTR || error == EAGAIN || error == EWOULDBLOCK) {
                continue;
            }
            return -1;
        }
        // Only the printer's address may answer; the port it answers from may differ.
        if (senderLength > sizeof(sender) || !sameAddress(sender, addresses_[current_].address)) {
            logger.Log("Dropped a datagram from %s", addressText(sender).c_str());
            continue;
        }
        if (count == 0) {
            return -1;
        }
        // Later writes (acknowledgements) go to the port this datagram came from.
        peer_ = sender;
        peerLength_ = senderLength;
        answered_ = true;
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
}
