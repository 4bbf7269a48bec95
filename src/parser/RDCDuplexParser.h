// RDCDuplexParser: reads the duplex unit's state from the RDC configuration answer.
#pragma once

#include <string>

#include "parser/NPAContainerParser.h"

class RDCDuplexParser : public NPAContainerParser {
public:
    RDCDuplexParser() = default;

    // Parse status; on 0 the duplex state is this answer's (-1 when it reports none).
    int parseData(Data* answer, CommandID id) override;
    // Stored status; |out| is always set to the duplex state.
    int getDuplex(int& out) override;
    // Sets the duplex state back to -1 (not reported); returns 0.
    int clearData() override;

    // Walks the container at |cursor| whose dotted id is |parentId|; 0, or 7 without bytes.
    int ParseRDCforDuplex(std::string parentId, ByteCursor cursor);

private:
    int duplex_ = -1;
};
