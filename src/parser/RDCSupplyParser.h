// RDCSupplyParser: builds one supply record per supply in the RDC supply answer.
#pragma once

#include <list>
#include <map>
#include <string>

#include "parser/NPAContainerParser.h"

class RDCSupplyParser : public NPAContainerParser {
public:
    // |companion| reads the code page of the same answer; it is kept, not owned.
    explicit RDCSupplyParser(Parser* companion);
    ~RDCSupplyParser() override;

    RDCSupplyParser(const RDCSupplyParser&) = delete;
    RDCSupplyParser& operator=(const RDCSupplyParser&) = delete;

    // Parse status (its own, then the companion's); on 0 the records are this answer's.
    int parseData(Data* answer, CommandID id) override;
    // Stored status; |out| becomes a copy of the record pointers unless there are none.
    // The records stay owned by this parser.
    int getSupplyInfo(std::list<supplyInfo_*>& out) override;
    // Deletes every record; returns 0.
    int clearData() override;

    // Walks the container at |cursor| whose dotted id is |parentId|, filling the record
    // that |current| points to on entry; returns 0.
    int ParseRDCforSupply(std::string parentId, ByteCursor cursor, int supplyNo,
                          supplyInfo_*& current);

private:
    void storeText(const std::string& childId, const std::string& prefix,
                   const std::string& text, supplyInfo_& record);
    void storeInteger(const std::string& childId, const std::string& prefix, int value,
                      supplyInfo_& record);

    Parser* companion_;
    std::list<supplyInfo_*> supplies_;
    std::map<int, supplyInfo_*> suppliesById_;  // nothing fills it
};
