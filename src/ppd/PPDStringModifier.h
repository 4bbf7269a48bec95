// PPDStringModifier: formats keywords as one "PPD: " or "ATTR: " line for the spooler.
#pragma once

#include <map>
#include <string>

#include "ppd/PPDWriter.h"

class PPDStringModifier : public PPDWriter {
public:
    PPDStringModifier();

    // Prefix and "keyword=value " per entry in keyword order; empty for an empty map or a
    // request type without a prefix.
    std::string formatData(RequestType type, std::map<std::string, std::string> keywords) override;

private:
    std::map<RequestType, std::string> prefixes_;
};
