// ProtocolFactory: creates the protocol, with its connection and response builder, for a request.
#pragma once

#include <string>

#include "connection/ConnectionType.h"
#include "core/RequestType.h"

class Protocol;

class ProtocolFactory {
public:
    // A new protocol owned by the caller, or null when no connection could be created.
    static Protocol* CreateProtocol(RequestType type, ExecutionType execution, std::string uri);
};
