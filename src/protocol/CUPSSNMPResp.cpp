// CUPSSNMPResp: response builder of the backend SNMP channel, whose answer comes whole.
#include "protocol/CUPSSNMPResp.h"

#include "support/Logger.h"

int CUPSSNMPResp::repackResponse(Data& /*answer*/, unsigned int /*echoValue*/) {
    Logger logger("CUPSSNMPResp", "repackResponse");
    return 0;
}
