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
    Logger logger("RDCDuplexParser", "ParseRDCforDuplex");
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
            if (childId == "1.2.4.1") {
                duplex_ = value;
            }
        } else if (type == NPA_TYPE_CONTAINER) {
            if ((childId == "1.2" || childId.find("1.2.4") != std::string::npos) &&
                canDescend(childId)) {
                ParseRDCforDuplex(childId, containerWindow(cursor));
            }
            ParseContainerInfo(cursor);
        } else {
            ParseUnknownDataType(cursor);
        }
    }
    return 0;
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
