// RDCGenInfoParser: reads the code page of the printer's texts from an RDC answer.
#include "parser/RDCGenInfoParser.h"

#include "support/Logger.h"

int RDCGenInfoParser::parseData(Data* answer, CommandID id) {
    Logger logger("RDCGenInfoParser", "parseData");
    int result = NPAContainerParser::parseData(answer, id);
    if (result != NPA_PARSE_OK) {
        return result;
    }
    clearData();
    ParseRDCforGenInfo("1", treeCursor(answer));
    return result;
}

int RDCGenInfoParser::ParseRDCforGenInfo(std::string parentId, ByteCursor cursor) {
    // Traced as "ParseRDCforDuplex" on purpose: log readers match this walk by that name.
    return walkForIntegerLeaf(parentId, cursor, "1.1", "1.1.1", "1.1.1.1", codePage_,
                              "RDCGenInfoParser", "ParseRDCforDuplex");
}

int RDCGenInfoParser::getSNMPCodePage(int& out) {
    Logger logger("RDCGenInfoParser", "getSNMPCodePage");
    out = codePage_;
    logger.Log("Code Page =%d", codePage_);
    return status_;
}

int RDCGenInfoParser::clearData() {
    codePage_ = 0;
    return 0;
}
