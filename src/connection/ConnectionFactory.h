// ConnectionFactory: picks and creates the transport for a device URI and request.
#pragma once

#include <string>

#include "connection/ConnectionType.h"
#include "core/RequestType.h"

class Connection;

class ConnectionFactory {
public:
    // CONN_USB when |uri| contains "usb:" (case-sensitive), else CONN_NETWORK.
    static int getConnectionType(std::string uri, RequestType type);
    // A new connection owned by the caller.
    static Connection* createConnection(ExecutionType execution, std::string uri, RequestType type);
};
