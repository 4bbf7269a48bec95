// ProtocolFactory: creates the protocol, with its connection and response builder, for a request.
#include "protocol/ProtocolFactory.h"

#include "protocol/Protocol.h"

// Placeholder until the protocols exist: no protocol, so the request ends quietly.
Protocol* ProtocolFactory::CreateProtocol(RequestType /*type*/, ExecutionType /*execution*/,
                                          std::string /*uri*/) {
    return nullptr;
}
