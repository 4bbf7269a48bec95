// ConnectionFactory: picks and creates the transport for a device URI and request.
#include "connection/ConnectionFactory.h"

#include "connection/Connection.h"

// Placeholder until the transports exist: every URI is a network URI and no
// connection can be made yet, so requests end quietly.
int ConnectionFactory::getConnectionType(std::string uri, RequestType /*type*/) {
    return uri.find("usb:") != std::string::npos ? CONN_USB : CONN_NETWORK;
}

Connection* ConnectionFactory::createConnection(ExecutionType /*execution*/, std::string /*uri*/,
                                                RequestType /*type*/) {
    return nullptr;
}
