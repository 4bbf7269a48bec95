// ResponseFactory: creates the response builder that fits a protocol.
#include "protocol/ResponseFactory.h"

#include "protocol/Response.h"

// Placeholder until the builders exist.
Response* ResponseFactory::createResponseBuilder(ProtocolType /*type*/) { return nullptr; }
