// Parser: decodes device answers and answers questions about the device model.
#pragma once

#include <list>
#include <map>
#include <string>

#include "core/CommandID.h"
#include "core/Data.h"
#include "parser/SupplyInfo.h"

// Status returned by a query when nothing has been parsed yet, or when this dialogue
// cannot supply the fact asked for.
constexpr int kParserStatusNotAvailable = 14;

class Parser {
public:
    virtual ~Parser() = default;

    virtual int parseData(Data* answer, CommandID id) = 0;
    // Fills |supplies| with pointers owned by the parser, valid until it is destroyed.
    virtual int getSupplyInfo(std::list<supplyInfo_*>& supplies) = 0;
    virtual int getTrays(std::map<int, std::string>& trays) = 0;
    virtual int getBins(std::map<int, std::string>& bins) = 0;
    virtual int getDuplex(int& installed) = 0;
    virtual int getFLash(int& installed) = 0;  // the capital L is part of the interface
    virtual int getFinishers(std::map<int, std::string>& finishers) = 0;
    virtual int getSNMPCodePage(int& codePage) = 0;
    virtual int getManualFeeder(int& installed) = 0;
};
