// ConnectionFactory: picks and creates the transport for a device URI and request.
#include "connection/ConnectionFactory.h"

#include <map>
#include <memory>
#include <vector>

#include "connection/Connection.h"
#include "connection/CupsBackendConnection.h"
#include "connection/CupsBackendSNMPConnection.h"
#include "connection/DNSServiceResolver.h"
#include "connection/NetworkConnection.h"
#include "connection/USBConnection.h"
#include "support/Logger.h"
#include "support/Utility.h"

namespace {

// Resolvers handed to network connections, which do not own them; they live until the
// process ends.
std::vector<std::unique_ptr<URLResolver>>& resolverStore() {
    static std::vector<std::unique_ptr<URLResolver>> store;
    return store;
}

}  // namespace

// CONN_USB when the URI contains "usb:" (case-sensitive), else CONN_NETWORK.
int ConnectionFactory::getConnectionType(std::string uri, RequestType /*type*/) {
    Logger logger("ConnectionFactory", "getConnectionType");
    logger.Log("Device URI =%s", uri.c_str());
    return uri.find("usb:") != std::string::npos ? CONN_USB : CONN_NETWORK;
}

// A new connection for the URI, request and execution mode, owned by the caller.
Connection* ConnectionFactory::createConnection(ExecutionType execution, std::string uri,
                                                RequestType type) {
    Logger logger("ConnectionFactory", "createConnection");
    Connection* connection = nullptr;
    int kind = getConnectionType(uri, type);
    if (kind == CONN_NETWORK) {
        if (type == REQ_SUPPLY_LEVELS && execution == EXEC_FILTER && Utility::isCUPS_2_0()) {
            connection = new CupsBackendSNMPConnection();
            logger.Log("Connection =%s", "CupsBackendSNMPConnection");
        } else {
            auto* resolver = new DNSServiceResolver();
            resolverStore().emplace_back(resolver);
            std::map<std::string, URLResolver*> resolvers;
            resolvers["dnssd"] = resolver;
            connection = new NetworkConnection(uri, resolvers);
            logger.Log("Connection =%s", "NetworkConnection");
        }
    } else if (execution != EXEC_FILTER) {
        connection = new USBConnection(uri);
        logger.Log("Connection =%s", "USBConnection");
    } else {
        connection = new CupsBackendConnection();
        logger.Log("Connection =%s", "CupsBackendConnection");
    }
    return connection;
}
