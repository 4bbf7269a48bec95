// RDCSupplyParser: builds one supply record per supply in the RDC supply answer.
#include "parser/RDCSupplyParser.h"

#include <memory>
#include <utility>

#include "support/Logger.h"
#include "support/Utility.h"

RDCSupplyParser::RDCSupplyParser(Parser* companion) : companion_(companion) {}

RDCSupplyParser::~RDCSupplyParser() {
    clearData();
    suppliesById_.clear();
}

int RDCSupplyParser::parseData(Data* answer, CommandID id) {
    Logger logger("RDCSupplyParser", "parseData");
    int result = NPAContainerParser::parseData(answer, id);
    if (result != NPA_PARSE_OK) {
        return result;
    }
    if (companion_ != nullptr) {
        result = companion_->parseData(answer, id);
        if (result != NPA_PARSE_OK) {
            return result;
        }
    }
    supplyInfo_* current = nullptr;
    clearData();
    ParseRDCforSupply("1", treeCursor(answer), 0, current);
    return NPA_PARSE_OK;
}

int RDCSupplyParser::ParseRDCforSupply(std::string parentId, ByteCursor cursor, int supplyNo,
                                       supplyInfo_*& current) {
    Logger logger("RDCSupplyParser", "ParseRDCforSupply");
    supplyInfo_* record = current;
    // Supplies are matched by their expected sequence number only.
    auto prefix = [&]() { return "1.2.8." + std::to_string(supplyNo); };
    ChildHandlers handlers;
    handlers.text = [&](const std::string& childId, const std::string& text) {
        if (record != nullptr) {
            storeText(childId, prefix(), text, *record);
        }
    };
    handlers.integer = [&](const std::string& childId, int value) {
        if (record != nullptr) {
            storeInteger(childId, prefix(), value, *record);
        }
    };
    handlers.container = [&](const std::string& childId) {
        // "1.2.9" adds an empty record at the end on purpose; the supply report drops it
        // because its type 0 is no supply type.
        if (childId == "1.2.8." + std::to_string(supplyNo + 1) || childId == "1.2.9") {
            auto fresh = std::make_unique<supplyInfo_>();
            supplies_.push_back(fresh.get());
            current = fresh.release();
            ++supplyNo;
        }
    };
    handlers.descend = [&](const std::string& childId, const ByteCursor& window) {
        ParseRDCforSupply(childId, window, supplyNo, current);
    };
    walkChildren(parentId, cursor, "1.2", "1.2.8", handlers);
    return 0;
}

void RDCSupplyParser::storeText(const std::string& childId, const std::string& prefix,
                                const std::string& text, supplyInfo_& record) {
    if (childId == prefix + ".1.3") {
        int codePage = 0;
        if (companion_ != nullptr) {
            companion_->getSNMPCodePage(codePage);
        }
        std::string converted;
        Utility::convertStringToUTF8(codePage, text, converted);
        record.name = converted;
    } else if (childId == prefix + ".1.5") {
        record.secondText = text;
    }
}

void RDCSupplyParser::storeInteger(const std::string& childId, const std::string& prefix,
                                   int value, supplyInfo_& record) {
    const std::pair<const char*, int supplyInfo_::*> leaves[] = {
        {".1.1", &supplyInfo_::supplyId},      {".1.6", &supplyInfo_::extraNumber1},
        {".1.7", &supplyInfo_::type},          {".1.14", &supplyInfo_::extraNumber2},
        {".1.15", &supplyInfo_::maxCapacity},  {".1.16", &supplyInfo_::currentLevel},
        {".1.12", &supplyInfo_::extraNumber3}, {".1.13", &supplyInfo_::extraNumber4},
    };
    for (const auto& leaf : leaves) {
        if (childId == prefix + leaf.first) {
            record.*(leaf.second) = value;
            return;
        }
    }
}

int RDCSupplyParser::getSupplyInfo(std::list<supplyInfo_*>& out) {
    Logger logger("RDCSupplyParser", "getSupplyInfo");
    if (!supplies_.empty()) {
        out = supplies_;
    }
    return status_;
}

int RDCSupplyParser::clearData() {
    for (supplyInfo_* record : supplies_) {
        delete record;
    }
    supplies_.clear();
    return 0;
}
