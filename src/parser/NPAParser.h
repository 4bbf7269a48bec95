// NPAParser: routes NPA answers to the sub-parsers registered for their command.
#pragma once

#include <map>
#include <memory>

#include "parser/NPABaseParser.h"
#include "parser/ParserID.h"

class NPAParser : public Parser {
public:
    NPAParser();
    ~NPAParser() override;

    NPAParser(const NPAParser&) = delete;
    NPAParser& operator=(const NPAParser&) = delete;

    // 0 when sub-parsers are registered for |id| (their results are not looked at), else 1.
    int parseData(Data* answer, CommandID id) override;
    // Each query is answered by one sub-parser; -1, argument untouched, when it is missing.
    int getSupplyInfo(std::list<supplyInfo_*>& supplies) override;
    int getTrays(std::map<int, std::string>& trays) override;
    int getBins(std::map<int, std::string>& bins) override;
    int getDuplex(int& installed) override;
    int getFLash(int& installed) override;
    int getFinishers(std::map<int, std::string>& finishers) override;
    int getSNMPCodePage(int& codePage) override;
    int getManualFeeder(int& installed) override;

    // The sub-parser registered for (id, parserId), or null.
    NPABaseParser* getParser(CommandID id, ParserID parserId);
    // Fills the registry; returns 0.
    int createCommandParserMap();

private:
    using SubParserMap = std::map<ParserID, std::unique_ptr<NPABaseParser>>;
    std::map<CommandID, SubParserMap> commandParserMap_;
};
