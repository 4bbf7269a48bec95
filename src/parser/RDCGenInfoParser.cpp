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
    Logger logger("RDCGenInfoParser", "ParseRDCforDuplex");
    if (cursor.base() == nullptr) {
        return NPA_NULL_CURSOR_ERROR;
    }
    int value = 0;
    unsigned int count = 0;
    GetNoOfElement(cursor, count);
    for (NPAChildWalk walk(count); walk.next(cursor);) {
        unsigned char id = 0;
        unsigned char type = 0;
        GetItemInfo(cursor, id, type);
        std::string childId = parentId + "." + std::to_string(id);
        if (type == NPA_TYPE_INTEGER) {
            if (ParseIntegerInfo(cursor, value) != 0) {
                break;
            }
            if (childId == "1.1.1.1") {
                codePage_ = value;
            }
        } else if (type == NPA_TYPE_CONTAINER) {
            if ((childId == "1.1" || childId.find("1.1.1") != std::string::npos) &&
                canDescend(childId)) {
                ParseRDCforGenInfo(childId, containerWindow(cursor));
            }
            ParseContainerInfo(cursor);
        } else {
            ParseUnknownDataType(cursor);
        }
    }
    return 0;
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
