// RDCDuplexParser: reads the duplex unit's state from the RDC configuration answer.
#include "parser/RDCDuplexParser.h"

#include "support/Logger.h"

int RDCDuplexParser::parseData(Data* answer, CommandID id) {
    Logger logger("RDCDuplexParser", "parseData");
    int result = NPAContainerParser::parseData(answer, id);
    if (result != NPA_PARSE_OK) {
        return result;
    }
    clearData();
    ParseRDCforDuplex("1", treeCursor(answer));
    return result;
}

int RDCDuplexParser::ParseRDCforDuplex(std::string parentId, ByteCursor cursor) {
    return walkForIntegerLeaf(parentId, cursor, "1.2", "1.2.4", "1.2.4.1", duplex_,
                              "RDCDuplexParser", "ParseRDCforDuplex");
}

int RDCDuplexParser::getDuplex(int& out) {
    Logger logger("RDCDuplexParser", "getDuplex");
    out = duplex_;
    return status_;
}

int RDCDuplexParser::clearData() {
    duplex_ = -1;
    return 0;
}
