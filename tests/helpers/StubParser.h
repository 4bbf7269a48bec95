// StubParser: a Parser whose every query answers with one fixed status, for tests that only
// need a parser to hand around or to record what it is given.
#pragma once

#include "parser/Parser.h"

class StubParser : public Parser {
public:
    explicit StubParser(int status = kParserStatusNotAvailable) : status_(status) {}
    int parseData(Data*, CommandID) override { return 0; }
    int getSupplyInfo(std::list<supplyInfo_*>&) override { return status_; }
    int getTrays(std::map<int, std::string>&) override { return status_; }
    int getBins(std::map<int, std::string>&) override { return status_; }
    int getDuplex(int&) override { return status_; }
    int getFLash(int&) override { return status_; }
    int getFinishers(std::map<int, std::string>&) override { return status_; }
    int getSNMPCodePage(int&) override { return status_; }
    int getManualFeeder(int&) override { return status_; }

protected:
    int status_;
};
