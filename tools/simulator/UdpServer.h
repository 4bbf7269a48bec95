// UdpServer: the simulated printer on the network: packets with network framing on one UDP
// port, an SNMP agent on another, and optionally a raw TCP print port that discards its data.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "DeviceProfile.h"
#include "MibView.h"
#include "Responder.h"
#include "SimulatorOptions.h"
#include "SnmpAgent.h"

class UdpServer {
public:
    // Payload bytes per datagram when the options set none; hosts read up to 6144 bytes.
    static constexpr size_t kDefaultPayload = 1024;
    // How long each answer packet waits for its acknowledgement.
    static constexpr int kAckWaitMs = 500;
    // Raw print connections served at once; further ones wait in the listen queue.
    static constexpr size_t kMaxRawConnections = 8;

    // Packet requests go to |responder|, or to the printer |profile| describes when it is
    // null; the SNMP agent always answers from |profile|.
    UdpServer(const DeviceProfile& profile, const SimulatorOptions& options, Responder* responder = nullptr);
    ~UdpServer();
    UdpServer(const UdpServer&) = delete;
    UdpServer& operator=(const UdpServer&) = delete;

    // Binds both sockets on |address|; a port of 0 picks a free one, a port of -1 leaves
    // that service off. Returns 0, or -1 with |error| set.
    int bind(const std::string& address, int npaPort, int snmpPort, std::string& error);
    // Listens on TCP |port| of |address| (0 picks a free one) for print data, which is read
    // and discarded; a connection is closed once the peer has finished sending. Lets a
    // spooler's network backend deliver a job. Returns 0, or -1 with |error| set.
    int bindRaw(const std::string& address, int port, std::string& error);
    int npaPort() const { return npaPort_; }
    int rawPort() const { return rawPort_; }
    int snmpPort() const { return snmpPort_; }

    // Serves until |stop| becomes true (checked at least every 100 ms). Returns 0.
    int serve(const std::atomic<bool>& stop);

    // Counters, for tests and the closing log line.
    int acksReceived() const { return acksReceived_; }
    int acksMissing() const { return acksMissing_; }
    long rawBytesReceived() const { return rawBytes_; }

private:
    int openSocket(const std::string& address, int port, int type, int& bound, std::string& error);
    void serveNpa(const std::atomic<bool>& stop);
    void serveSnmp();
    void acceptRaw();
    // Reads from raw connection |index| and closes it at its end; the data is dropped.
    void drainRaw(size_t index);
    // Sends one answer packet and waits for its acknowledgement.
    void sendAndAwaitAck(const std::string& datagram, uint16_t sequence, const void* peer, unsigned peerLength,
                         const std::atomic<bool>& stop);

    const SimulatorOptions& options_;
    MibView view_;
    SnmpAgent agent_;
    std::unique_ptr<Responder> ownResponder_;
    Responder* responder_;
    int npaSocket_ = -1;
    int snmpSocket_ = -1;
    int npaPort_ = -1;
    int snmpPort_ = -1;
    int rawListener_ = -1;
    int rawPort_ = -1;
    std::vector<int> rawConnections_;
    std::atomic<long> rawBytes_{0};
    int snmpRequests_ = 0;
    std::atomic<int> acksReceived_{0};
    std::atomic<int> acksMissing_{0};
};
