// NetworkConnection: UDP datagrams to a printer named by a network device URI.
#pragma once

#include <sys/socket.h>

#include <map>
#include <string>

#include "connection/Connection.h"

class URLResolver;

class NetworkConnection : public Connection {
public:
    // Takes the host from |uri| and resolves it with the resolver registered under the
    // URI's scheme, if any. The resolvers are not owned.
    NetworkConnection(std::string uri, std::map<std::string, URLResolver*> resolvers);
    ~NetworkConnection() override;

    // Creates the socket towards the host on the protocol's port; 0, or 10 on failure.
    int doOpen() override;
    // Closes the socket; 0, or -1 when there was none.
    int doClose() override;
    // Sends the request as one datagram; 0 or -1.
    int doWrite(Data* request) override;
    // Receives one datagram of at most 6144 bytes; 0 or -1 (time-out included).
    int doRead(Data& answer) override;

    // The host that doOpen contacts (after resolution).
    std::string getHostAddress() const { return hostAddress_; }

    // Microseconds added to the whole seconds of the time-out on every read wait, so that a
    // late datagram still counts; tests shorten it through setReadGraceMicroseconds.
    static constexpr long kDefaultReadGraceMicroseconds = 250000;
    static void setReadGraceMicroseconds(long microseconds);

    // Largest datagram read; longer ones are truncated.
    static constexpr int kMaxDatagramSize = 6144;

private:
    std::string hostAddress_;
    int socket_ = -1;
    bool open_ = false;
    struct sockaddr_storage peer_ {};
    socklen_t peerLength_ = 0;
    std::map<std::string, URLResolver*> resolvers_;

    static long readGraceMicroseconds_;
};
