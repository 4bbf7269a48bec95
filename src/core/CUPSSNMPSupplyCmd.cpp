// CUPSSNMPSupplyCmd: walks the four Printer MIB subtrees that describe the supplies.
#include "core/CUPSSNMPSupplyCmd.h"

#include "parser/Parser.h"
#include "protocol/Protocol.h"
#include "support/Logger.h"

CUPSSNMPSupplyCmd::CUPSSNMPSupplyCmd() : DevCommand(CMD_SUPPLIES, 0) {}

CUPSSNMPSupplyCmd::~CUPSSNMPSupplyCmd() = default;

const std::map<int, std::string>& CUPSSNMPSupplyCmd::getSubtreeMap() {
    // Localization first, then general: the code page is looked up from both.
    static const std::map<int, std::string> subtrees = {
        {0, ".1.3.6.1.2.1.43.7.1"},
        {1, ".1.3.6.1.2.1.43.5.1"},
        {2, ".1.3.6.1.2.1.43.12.1"},
        {3, ".1.3.6.1.2.1.43.11.1"},
    };
    return subtrees;
}

Data* CUPSSNMPSupplyCmd::getCommand(int requestID) {
    const auto& subtrees = getSubtreeMap();
    auto it = subtrees.find(requestID);
    if (it != subtrees.end()) {
        setRequest(new Data(it->second));
    }
    return request();
}

int CUPSSNMPSupplyCmd::Execute(Protocol* protocol, Parser* parser) {
    Logger logger("CUPSSNMPSupplyCmd", "Execute");
    if (protocol == nullptr || parser == nullptr) {
        return -1;
    }
    int result = -1;
    for (int n = 0; n <= 3; ++n) {
        setResponse(new Data());
        int rc = protocol->doRequest(getCommand(n), *getResponse());
        if (rc != 0) {
            logger.Log("FAIL : To get SNMP Information for requestID [%d]", n);
            continue;
        }
        setRequest(nullptr);
        result = parser->parseData(getResponse(), getCommandID());
    }
    return result;
}
