// StubParser: a Parser whose queries return |status| and, unless "not available", the fixed facts.
#pragma once

#include "parser/Parser.h"

struct StubParser : Parser {
    using OptionMap = std::map<int, std::string>;
    explicit StubParser(int status = kParserStatusNotAvailable) : status(status) {}

    int status;
    OptionMap trays, bins, finishers;
    int duplex = 0, flash = 0, manualFeeder = 0, codePage = 0;
    std::list<supplyInfo_*> supplies;

    int parseData(Data*, CommandID) override { return 0; }
    int getSupplyInfo(std::list<supplyInfo_*>& out) override { return fill(out, supplies); }
    int getTrays(OptionMap& out) override { return fill(out, trays); }
    int getBins(OptionMap& out) override { return fill(out, bins); }
    int getFinishers(OptionMap& out) override { return fill(out, finishers); }
    int getDuplex(int& out) override { return fill(out, duplex); }
    int getFLash(int& out) override { return fill(out, flash); }
    int getSNMPCodePage(int& out) override { return fill(out, codePage); }
    int getManualFeeder(int& out) override { return fill(out, manualFeeder); }

private:
    template <typename T>
    int fill(T& out, const T& value) {
        if (status != kParserStatusNotAvailable) out = value;
        return status;
    }
};
