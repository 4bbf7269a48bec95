// ROCParser: reads the ROC answer's name:number pairs and reports whether flash is installed.
#pragma once

#include <list>
#include <map>
#include <string>

#include "parser/NPABaseParser.h"

class ROCParser : public NPABaseParser {
public:
    ROCParser() = default;

    // Parse status: 0, 1, 2, 3 (6 bytes or fewer), 4, or -1 when a record cannot be built.
    int parseData(Data* answer, CommandID id) override;
    // Stored status; |out| is set to 1 when any record names "FLASH", else left untouched.
    int getFLash(int& out) override;
    // Sets the flash field back to -1; the records are kept.
    int clearData() override;

    // The maps read so far, one per pass over the text.
    const std::list<std::map<std::string, long>>& records() const { return records_; }

private:
    int flash_ = -1;
    std::list<std::map<std::string, long>> records_;
};
