// PPDStringModifier: formats keywords as one "PPD: " or "ATTR: " line for the spooler.
#pragma once

#include <map>
#include <string>

#include "ppd/PPDWriter.h"

class PPDStringModifier : public PPDWriter {
public:
    PPDStringModifier();

    // Writes the line as PPDWriter does; after a written supply report, also the
    // "STATE: " lines that set the supplies' state reasons. The result is the first line's.
    int writeData(RequestType type, Parser* parser) override;

    // Prefix and "keyword=value " per entry in keyword order; empty for an empty map or a
    // request type without a prefix.
    std::string formatData(RequestType type, std::map<std::string, std::string> keywords) override;

private:
    std::map<RequestType, std::string> prefixes_;
};
