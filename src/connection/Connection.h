// Connection: moves raw bytes to and from the printer.
#pragma once

#include "core/Data.h"

class Protocol;

class Connection {
public:
    Connection();
    virtual ~Connection();

    virtual int doOpen() = 0;
    virtual int doClose() = 0;
    // Writes the request bytes; 0 on success.
    virtual int doWrite(Data* request) = 0;
    // Fills |answer| with what was read; 0 on success.
    virtual int doRead(Data& answer) = 0;

    // Read time-out in seconds; 5.0 when constructed.
    double getTimeoutVal() const { return timeout_; }
    void setTimeoutVal(double seconds) { timeout_ = seconds; }
    // The protocol that uses this connection (not owned).
    void setProtocol(Protocol* protocol) { protocol_ = protocol; }
    Protocol* getProtocol() const { return protocol_; }

private:
    double timeout_ = 5.0;
    Protocol* protocol_ = nullptr;
};
