// PPDFileModifier: copies a PPD file with the lines of the given keywords rewritten.
#pragma once

#include <map>
#include <string>

#include "ppd/PPDWriter.h"

class PPDFileModifier : public PPDWriter {
public:
    explicit PPDFileModifier(std::string ppdPath);

    // The whole file, each keyword rewriting the first line that contains it; empty when
    // the file cannot be read.
    std::string formatData(RequestType type, std::map<std::string, std::string> keywords) override;

private:
    std::string ppdPath_;
};
