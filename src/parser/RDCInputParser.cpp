// RDCInputParser: collects the installed input trays from the RDC configuration answer.
#include "parser/RDCInputParser.h"

#include "support/Logger.h"

namespace {
bool isTrayId(int value) { return (value >= 1 && value <= 5) || (value >= 128 && value <= 132); }
}  // namespace

int RDCInputParser::parseData(Data* answer, CommandID id) {
    Logger logger("RDCInputParser", "parseData");
    int result = NPAContainerParser::parseData(answer, id);
    if (result != NPA_PARSE_OK) {
        return result;
    }
    clearData();
    ParseRDCforInputBin("1", treeCursor(answer), 0, 0);
    return result;
}

int RDCInputParser::ParseRDCforInputBin(std::string parentId, ByteCursor cursor, int trayNo,
                                        int entryNo) {
    Logger logger("RDCInputParser", "ParseRDCforInputBin");
    int deviceId = 0;
    // Trays and their entries are matched by their expected sequence numbers only.
    auto entryPrefix = [&]() {
        return "1.2.1." + std::to_string(trayNo) + ".5." + std::to_string(entryNo);
    };
    ChildHandlers handlers;
    handlers.text = [&](const std::string& childId, const std::string& text) {
        if (childId == entryPrefix() + ".1.3") {
            trays_[deviceId] = text;
            logger.Log("Parsed Input Tray. DeviceID =0x%02x, Value =%s", deviceId, text.c_str());
        }
    };
    handlers.integer = [&](const std::string& childId, int value) {
        if (childId == entryPrefix() + ".1.1" && isTrayId(value)) {
            deviceId = value;
            trays_.insert({value, ""});
            logger.Log("Parsed Input Tray ID. DeviceID =0x%02x", value);
        }
    };
    handlers.container = [&](const std::string& childId) {
        if (childId == "1.2.1." + std::to_string(trayNo + 1)) {
            ++trayNo;
        }
        if (childId == "1.2.1." + std::to_string(trayNo) + ".5." + std::to_string(entryNo + 1)) {
            ++entryNo;
        }
    };
    handlers.descend = [&](const std::string& childId, const ByteCursor& window) {
        ParseRDCforInputBin(childId, window, trayNo, entryNo);
    };
    walkChildren(parentId, cursor, "1.2", "1.2.1", handlers);
    return 0;
}

int RDCInputParser::getTrays(std::map<int, std::string>& out) {
    Logger logger("RDCInputParser", "getTrays");
    if (!trays_.empty()) {
        out = trays_;
    }
    return status_;
}

int RDCInputParser::getManualFeeder(int& out) {
    Logger logger("RDCInputParser", "getManualFeeder");
    if (!trays_.empty()) {
        out = trays_.count(kManualFeederId) != 0 ? 1 : 0;
    }
    return status_;
}

int RDCInputParser::clearData() {
    trays_.clear();
    return 0;
}
