// Protocol: one device dialogue carried over a Connection.
#pragma once

#include <memory>

#include "core/Data.h"
#include "protocol/ProtocolType.h"

class Connection;
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
    void setProtocolType(ProtocolType type) { protocolType_ = type; }
    void setProtocolPort(int port) { port_ = port; }

private:
    std::unique_ptr<Connection> connection_;
    ProtocolType protocolType_ = PROTOCOL_NPA;
    std::unique_ptr<Response> response_;
    int port_ = 0;
};
