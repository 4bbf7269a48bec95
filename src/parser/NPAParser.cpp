// NPAParser: routes NPA answers to the sub-parsers registered for their command.
#include "parser/NPAParser.h"

#include "parser/RDCDuplexParser.h"
#include "parser/RDCGenInfoParser.h"
#include "parser/RDCInputParser.h"
#include "parser/RDCOutputParser.h"
#include "parser/RDCSupplyParser.h"
#include "parser/ROCParser.h"
#include "support/Logger.h"

NPAParser::NPAParser() { createCommandParserMap(); }

// Every sub-parser is owned by exactly one registry entry and deleted with it.
NPAParser::~NPAParser() = default;

int NPAParser::createCommandParserMap() {
    Logger logger("NPAParser", "createCommandParserMap");
    // The general-information parser comes first: the supply parser reads the code page
    // of its own answer through it.
    auto generalInfo = std::make_unique<RDCGenInfoParser>();
    auto supply = std::make_unique<RDCSupplyParser>(generalInfo.get());

    commandParserMap_[CMD_SUPPLIES][PARSER_SUPPLY] = std::move(supply);
    commandParserMap_[CMD_CONFIGURATION][PARSER_INPUT] = std::make_unique<RDCInputParser>();
    commandParserMap_[CMD_CONFIGURATION][PARSER_OUTPUT] = std::make_unique<RDCOutputParser>();
    commandParserMap_[CMD_CONFIGURATION][PARSER_DUPLEX] = std::make_unique<RDCDuplexParser>();
    commandParserMap_[CMD_ROC][PARSER_ROC] = std::make_unique<ROCParser>();
    commandParserMap_[CMD_GENERAL_INFO][PARSER_GENERAL_INFO] = std::move(generalInfo);
    return 0;
}

int NPAParser::parseData(Data* answer, CommandID id) {
    Logger logger("NPAParser", "parseData");
    if (answer != nullptr && answer->get() != nullptr) {
        logger.LogData(answer->get(), answer->size());
    }
    auto entry = commandParserMap_.find(id);
    if (entry == commandParserMap_.end()) {
        logger.Log("error =%s", NPABaseParser::statusName(NPA_DATA_RESPONSE_ERROR));
        return NPA_DATA_RESPONSE_ERROR;
    }
    for (auto& subParser : entry->second) {
        subParser.second->parseData(answer, id);
    }
    return 0;
}

NPABaseParser* NPAParser::getParser(CommandID id, ParserID parserId) {
    Logger logger("NPAParser", "getParser");
    auto entry = commandParserMap_.find(id);
    if (entry == commandParserMap_.end()) {
        logger.Log("error = %s", "NO_NPA_PARSER_AVAILABLE");
        return nullptr;
    }
    auto subParser = entry->second.find(parserId);
    if (subParser == entry->second.end()) {
        logger.Log("error = %s", "NO_NPA_PARSER_AVAILABLE");
        return nullptr;
    }
    return subParser->second.get();
}

int NPAParser::getTrays(std::map<int, std::string>& trays) {
    Logger logger("NPAParser", "getTrays");
    NPABaseParser* parser = getParser(CMD_CONFIGURATION, PARSER_INPUT);
    return parser != nullptr ? parser->getTrays(trays) : -1;
}

int NPAParser::getManualFeeder(int& installed) {
    Logger logger("NPAParser", "getManualFeeder");
    NPABaseParser* parser = getParser(CMD_CONFIGURATION, PARSER_INPUT);
    return parser != nullptr ? parser->getManualFeeder(installed) : -1;
}

int NPAParser::getBins(std::map<int, std::string>& bins) {
    Logger logger("NPAParser", "getBins");
    NPABaseParser* parser = getParser(CMD_CONFIGURATION, PARSER_OUTPUT);
    return parser != nullptr ? parser->getBins(bins) : -1;
}

int NPAParser::getFinishers(std::map<int, std::string>& finishers) {
    Logger logger("NPAParser", "getFinishers");
    NPABaseParser* parser = getParser(CMD_CONFIGURATION, PARSER_OUTPUT);
    return parser != nullptr ? parser->getFinishers(finishers) : -1;
}

int NPAParser::getDuplex(int& installed) {
    Logger logger("NPAParser", "getDuplex");
    NPABaseParser* parser = getParser(CMD_CONFIGURATION, PARSER_DUPLEX);
    return parser != nullptr ? parser->getDuplex(installed) : -1;
}

int NPAParser::getFLash(int& installed) {
    Logger logger("NPAParser", "getFLash");
    NPABaseParser* parser = getParser(CMD_ROC, PARSER_ROC);
    return parser != nullptr ? parser->getFLash(installed) : -1;
}

int NPAParser::getSupplyInfo(std::list<supplyInfo_*>& supplies) {
    Logger logger("NPAParser", "getSupplyInfo");
    NPABaseParser* parser = getParser(CMD_SUPPLIES, PARSER_SUPPLY);
    return parser != nullptr ? parser->getSupplyInfo(supplies) : -1;
}

int NPAParser::getSNMPCodePage(int& codePage) {
    Logger logger("NPAParser", "getSNMPCodePage");
    NPABaseParser* parser = getParser(CMD_GENERAL_INFO, PARSER_GENERAL_INFO);
    return parser != nullptr ? parser->getSNMPCodePage(codePage) : -1;
}
