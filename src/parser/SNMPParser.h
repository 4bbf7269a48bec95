// SNMPParser: turns the names in an SNMP configuration answer into fixed option ids.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "parser/Parser.h"

class SNMPDataPacket;

// Decodes the GetResponse to the configuration request and reports which known part
// names the printer returned. Only the presence of a name matters, never the object
// identifier that carried it.
class SNMPParser : public Parser {
public:
    SNMPParser();
    ~SNMPParser() override;

    // Decodes |answer|. Returns -1 even when values were decoded (intended: callers go
    // on to the getters, which rely on the parse status instead).
    int parseData(Data* answer, CommandID id) override;
    // Nothing to report over this dialogue; returns 0.
    int getSupplyInfo(std::list<supplyInfo_*>& supplies) override;
    // Each fills the map with the ids of the names found and returns the parse status:
    // 14 before any answer was parsed (map untouched), else 0.
    int getTrays(std::map<int, std::string>& trays) override;
    int getBins(std::map<int, std::string>& bins) override;
    int getFinishers(std::map<int, std::string>& finishers) override;
    // 1 installed, 0 not reported, -1 when the answer held no values. Return 0 once an
    // answer was parsed, else the parse status.
    int getDuplex(int& installed) override;
    int getFLash(int& installed) override;
    // 1 when the input names include the feeder, 0 when other inputs only, -1 when none.
    // Returns the parse status.
    int getManualFeeder(int& installed) override;
    // Nothing to report over this dialogue; returns 0.
    int getSNMPCodePage(int& codePage) override;

    // Puts into |options| every (id, name) of |table| whose name the answer holds; returns
    // how many were found, or 0 when nothing was parsed or the table is empty.
    int getFixedIDOptionMap(const std::map<std::string, int>& table, std::map<int, std::string>& options);

private:
    std::unique_ptr<SNMPDataPacket> packet_;
    std::map<std::string, int> trayNames_;
    std::map<std::string, int> binNames_;
    std::map<std::string, int> finisherNames_;
    std::map<std::string, int> inputNames_;
    int parseStatus_ = kParserStatusNotAvailable;
};
