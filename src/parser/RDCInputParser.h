// RDCInputParser: collects the installed input trays from the RDC configuration answer.
#pragma once

#include <map>
#include <string>

#include "parser/NPAContainerParser.h"

class RDCInputParser : public NPAContainerParser {
public:
    // Device id of the manual feeder among the trays.
    static constexpr int kManualFeederId = 130;

    RDCInputParser() = default;

    // Parse status; on 0 the trays map holds this answer's trays.
    int parseData(Data* answer, CommandID id) override;
    // Stored status; |out| becomes a copy of the trays unless none were found.
    int getTrays(std::map<int, std::string>& out) override;
    // Stored status; |out| is 1 when tray 130 is present, 0 when not, untouched when no trays.
    int getManualFeeder(int& out) override;
    int clearData() override;

    // Walks the container at |cursor| whose dotted id is |parentId|; returns 0.
    int ParseRDCforInputBin(std::string parentId, ByteCursor cursor, int trayNo, int entryNo);

private:
    std::map<int, std::string> trays_;
};
