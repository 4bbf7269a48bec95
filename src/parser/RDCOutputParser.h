// RDCOutputParser: collects the output bins and finishers from the RDC configuration answer.
#pragma once

#include <map>
#include <string>

#include "parser/NPAContainerParser.h"

class RDCOutputParser : public NPAContainerParser {
public:
    RDCOutputParser() = default;

    // Parse status; on 0 the maps hold this answer's bins and finishers.
    int parseData(Data* answer, CommandID id) override;
    // Stored status; |out| becomes a copy of the bins unless none were found.
    int getBins(std::map<int, std::string>& out) override;
    // Stored status; |out| becomes a copy of the finishers unless none were found.
    int getFinishers(std::map<int, std::string>& out) override;
    int clearData() override;

    // Walks the container at |cursor| whose dotted id is |parentId|; returns 0.
    int ParseRDCforOutputBin(std::string parentId, ByteCursor cursor, int unitNo, int entryNo);

private:
    std::map<int, std::string> bins_;
    std::map<int, std::string> finishers_;
};
