// RDCOutputParser: collects the output bins and finishers from the RDC configuration answer.
#include "parser/RDCOutputParser.h"

#include "support/Logger.h"

namespace {
// Bins and finishers accept deliberately different id ranges.
bool isBinId(int value) { return static_cast<unsigned int>(value) <= 16; }
bool isFinisherId(int value) { return value >= 1 && value <= 22 && value != 15; }
}  // namespace

int RDCOutputParser::parseData(Data* answer, CommandID id) {
    Logger logger("RDCOutputParser", "parseData");
    int result = NPAContainerParser::parseData(answer, id);
    if (result != NPA_PARSE_OK) {
        return result;
    }
    clearData();
    ParseRDCforOutputBin("1", treeCursor(answer), 0, 0);
    return result;
}

int RDCOutputParser::ParseRDCforOutputBin(std::string parentId, ByteCursor cursor, int unitNo,
                                          int entryNo) {
    Logger logger("RDCOutputParser", "ParseRDCforOutputBin");
    int binId = 0;
    int finisherId = 0;
    auto unitPrefix = [&]() { return "1.2.2." + std::to_string(unitNo); };
    auto entryPrefix = [&]() { return unitPrefix() + ".5." + std::to_string(entryNo); };
    ChildHandlers handlers;
    handlers.text = [&](const std::string& childId, const std::string& text) {
        if (childId == entryPrefix() + ".1.3") {
            bins_[binId] = text;
            logger.Log("Parse Output Bin. Device ID =0x%02x, Value =%s", binId, text.c_str());
        }
        if (childId == unitPrefix() + ".7") {
            finishers_[finisherId] = text;
            logger.Log("Parse Finisher. Device ID =0x%02x, Value =%s", finisherId, text.c_str());
        }
    };
    handlers.integer = [&](const std::string& childId, int value) {
        if (childId == entryPrefix() + ".1.1" && isBinId(value)) {
            binId = value;
            bins_.insert({value, ""});
            logger.Log("Parse Output Bin ID. Device ID =0x%02x", value);
        }
        if (childId == unitPrefix() + ".1" && isFinisherId(value)) {
            finisherId = value;
            finishers_.insert({value, ""});
            logger.Log("Parse Finisher ID. Device ID =0x%02x", value);
        }
    };
    handlers.container = [&](const std::string& childId) {
        if (childId == "1.2.2." + std::to_string(unitNo + 1)) {
            ++unitNo;
        }
        if (childId == "1.2.2." + std::to_string(unitNo) + ".5." + std::to_string(entryNo + 1)) {
            ++entryNo;
        }
    };
    handlers.descend = [&](const std::string& childId, const ByteCursor& window) {
        ParseRDCforOutputBin(childId, window, unitNo, entryNo);
    };
    walkChildren(parentId, cursor, "1.2", "1.2.2", handlers);
    return 0;
}

int RDCOutputParser::getBins(std::map<int, std::string>& out) {
    Logger logger("RDCOutputParser", "getBins");
    if (!bins_.empty()) {
        out = bins_;
    }
    return status_;
}

int RDCOutputParser::getFinishers(std::map<int, std::string>& out) {
    Logger logger("RDCOutputParser", "getFinishers");
    if (!finishers_.empty()) {
        out = finishers_;
    }
    return status_;
}

int RDCOutputParser::clearData() {
    bins_.clear();
    finishers_.clear();
    return 0;
}
