// RDCGenInfoParser: reads the code page of the printer's texts from an RDC answer.
#pragma once

#include <string>

#include "parser/NPAContainerParser.h"

class RDCGenInfoParser : public NPAContainerParser {
public:
    RDCGenInfoParser() = default;

    // Parse status; on 0 the code page is this answer's (0 when it reports none).
    int parseData(Data* answer, CommandID id) override;
    // Stored status; |out| is always set to the code page.
    int getSNMPCodePage(int& out) override;
    // Sets the code page back to 0; returns 0.
    int clearData() override;

    // Walks the container at |cursor| whose dotted id is |parentId|; 0, or 7 without bytes.
    int ParseRDCforGenInfo(std::string parentId, ByteCursor cursor);

private:
    int codePage_ = 0;
};
