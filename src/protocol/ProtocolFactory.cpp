// ProtocolFactory: creates the protocol, with its connection and response builder, for a request.
#include "protocol/ProtocolFactory.h"

#include "connection/Connection.h"
#include "connection/ConnectionFactory.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/NPABiDiProtocol.h"
#include "protocol/NPAProtocol.h"
#include "protocol/Protocol.h"
#include "protocol/ResponseFactory.h"
#include "protocol/SNMPProtocol.h"
#include "support/Logger.h"
#include "support/Utility.h"

Protocol* ProtocolFactory::CreateProtocol(RequestType type, ExecutionType execution, std::string uri) {
    Logger logger("ProtocolFactory", "CreateProtocol");
    int kind = ConnectionFactory::getConnectionType(uri, type);
    Connection* connection = ConnectionFactory::createConnection(execution, uri, type);
    if (connection == nullptr) {
        return nullptr;
    }
    logger.Log("ConnectionType : [%d], RequestType: [%d], ExecutionType : [%d]", kind,
               static_cast<int>(type), static_cast<int>(execution));

    Protocol* protocol = nullptr;
    if (kind == CONN_USB) {
        protocol = new NPAProtocol(connection);
    } else if (type != REQ_SUPPLY_LEVELS) {
        protocol = new SNMPProtocol(connection);
    } else if (execution == EXEC_FILTER && Utility::isCUPS_2_0()) {
        protocol = new CUPSSNMPProtocol(connection);
    } else {
        protocol = new NPABiDiProtocol(connection);
    }
    connection->setProtocol(protocol);
    protocol->assignResponseBuilder(ResponseFactory::createResponseBuilder(protocol->getProtocolType()));
    return protocol;
}
