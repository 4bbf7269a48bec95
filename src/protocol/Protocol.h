// Protocol: one device dialogue carried over a Connection.
#pragma once

#include <functional>
#include <memory>

#include "core/Data.h"
#include "protocol/ProtocolType.h"

class ByteCursor;
class Connection;
class Logger;
class Response;

class Protocol {
public:
    // Takes ownership of |connection| (may be null).
    explicit Protocol(Connection* connection);
    virtual ~Protocol();

    // Sends |request| and fills |answer|: 0 on success, otherwise the dialogue's error.
    virtual int doRequest(Data* request, Data& answer) = 0;
    virtual ProtocolType getProtocolType();
    // Device port of the dialogue, 0 where none applies.
    virtual int getProtocolPort();

    // Takes ownership of the response builder.
    void assignResponseBuilder(Response* response);

    Connection* getConnection() const { return connection_.get(); }
    Response* getResponseBuilder() const { return response_.get(); }

protected:
    // States a packet handler of exchangePackets returns, and its result when no answer
    // packet was read.
    static constexpr int kNPAStateReading = 11;
    static constexpr int kNPAStateLastPacket = 12;
    static constexpr int kNPAStateFailed = 13;
    static constexpr int kNPANothingRead = 10;

    // Hands one read answer packet to the protocol together with the request's echo offset
    // and echo byte; returns one of the states above.
    using PacketHandler = std::function<int(Data* packet, int echoIndex, unsigned int echoValue)>;

    void setProtocolType(ProtocolType type) { protocolType_ = type; }
    void setProtocolPort(int port) { port_ = port; }

    // The NPA request and answer dialogue: opens the connection, lets |send| write the
    // request (it returns the write result) and, when that was 0, reads and hands each read
    // to |handle| until it returns other than kNPAStateReading, a read fails or the answer
    // reaches the builder's limits. Closes, and joins the stored packets into |response|.
    // Returns 0, -1 (no connection, request or response builder; joining failed), 10
    // (nothing was read), 13 (the printer flagged the command as failed) or the open error;
    // an exception ends it with the last status reached. Traces through |logger|.
    int exchangePackets(Logger& logger, Data* request, Data& response,
                        const std::function<int(Connection& connection)>& send,
                        const PacketHandler& handle);

    // The state that an answer packet's flags byte gives: 13 when it flags the command as
    // failed, 12 when no further packet follows, otherwise 11; the first two are traced.
    static int packetState(Logger& logger, unsigned int flags);

    // Reads one answer packet: kNPAStateReading for a missing or empty one; otherwise traces
    // its bytes and returns what |body| returns for them. When |body| throws, the result is
    // the last state it stored in its |state| argument (kNPAStateReading before any).
    int readPacket(Logger& logger, Data* packet,
                   const std::function<int(ByteCursor& bytes, size_t size, int& state)>& body);

    // Opens the connection for |request| and traces the command bytes. 0 when open, -1
    // without connection or request, otherwise the open error.
    int openForRequest(Logger& logger, Data* request);

private:
    std::unique_ptr<Connection> connection_;
    ProtocolType protocolType_ = PROTOCOL_NPA;
    std::unique_ptr<Response> response_;
    int port_ = 0;
};
