// Protocol: one device dialogue carried over a Connection.
#include "protocol/Protocol.h"

#include "connection/Connection.h"
#include "protocol/Response.h"

Protocol::Protocol(Connection* connection) : connection_(connection) {}

Protocol::~Protocol() = default;

ProtocolType Protocol::getProtocolType() { return protocolType_; }

int Protocol::getProtocolPort() { return port_; }

void Protocol::assignResponseBuilder(Response* response) { response_.reset(response); }
