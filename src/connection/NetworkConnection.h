// NetworkConnection: UDP datagrams to a printer named by a network device URI.
#pragma once

#include <sys/socket.h>

#include <map>
#include <string>
#include <vector>

#include "connection/Connection.h"

class URLResolver;

class Logger;

class NetworkConnection : public Connection {
public:
    // Takes the host from |uri| and resolves it with the resolver registered under the
    // URI's scheme, if any. The resolvers are not owned.
    NetworkConnection(std::string uri, std::map<std::string, URLResolver*> resolvers);
    ~NetworkConnection() override;

    // Looks the host up and creates a socket towards its first address on the protocol's
    // port; 0, or 10 on failure.
    int doOpen() override;
    // Closes the socket; 0, or -1 when there was none.
    int doClose() override;
    // Sends the request as one datagram; 0 or -1. Until the printer has answered, an
    // address that cannot be sent to gives way to the host's next one.
    int doWrite(Data* request) override;
    // Receives one datagram of at most 6144 bytes from the printer's address; 0 or -1
    // (time-out included). Datagrams from other addresses are dropped within the same wait.
    int doRead(Data& answer) override;

    // The host that doOpen contacts (after resolution); an IPv6 literal without brackets.
    std::string getHostAddress() const { return hostAddress_; }

    // Microseconds added to the whole seconds of the time-out on every read wait, so that a
    // late datagram still counts; tests shorten it through setReadGraceMicroseconds.
    static constexpr long kDefaultReadGraceMicroseconds = 250000;
    static void setReadGraceMicroseconds(long microseconds);

    // Largest datagram read; longer ones are truncated.
    static constexpr int kMaxDatagramSize = 6144;

private:
    // One address of the host, as the name lookup gave it.
    struct Address {
        int family;
        int socketType;
        int protocol;
        struct sockaddr_storage address;
        socklen_t length;
    };

    // Creates and binds a socket for addresses_[index] and makes that address the peer.
    bool useAddress(size_t index);
    // Moves on to the first later address whose socket opens; false when none is left.
    bool useNextAddress();
    // Sends |bytes| to the peer, moving on through the host's addresses while sending
    // fails and the printer has not answered yet; false when no address took it. Logs
    // through the caller's |logger|, so a plain send reads in the log as the caller's write.
    bool sendToPrinter(const std::vector<unsigned char>& bytes, Logger& logger);

    std::string hostAddress_;
    int socket_ = -1;
    bool open_ = false;
    struct sockaddr_storage peer_ {};
    socklen_t peerLength_ = 0;
    std::map<std::string, URLResolver*> resolvers_;
    // The host's addresses in lookup order, and the one in use.
    std::vector<Address> addresses_;
    size_t current_ = 0;
    // The last request sent, for the next address when the current one refuses it.
    std::vector<unsigned char> lastRequest_;
    // True once a datagram from the printer was accepted since doOpen.
    bool answered_ = false;

    static long readGraceMicroseconds_;
};
