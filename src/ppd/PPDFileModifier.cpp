// PPDFileModifier: copies a PPD file with the lines of the given keywords rewritten.
#include "ppd/PPDFileModifier.h"

#include <fstream>

#include "support/Logger.h"

PPDFileModifier::PPDFileModifier(std::string ppdPath)
    : PPDWriter(": "), ppdPath_(std::move(ppdPath)) {}

std::string PPDFileModifier::formatData(RequestType /*type*/,
                                        std::map<std::string, std::string> keywords) {
    Logger logger("PPDFileModifier", "formatData");
    std::string result;
    std::ifstream file(ppdPath_);
    if (!file) {
        return result;
    }
    std::string line;
    while (std::getline(file, line)) {
        for (auto entry = keywords.begin(); entry != keywords.end(); ++entry) {
            size_t position = line.find(entry->first);
            if (position == std::string::npos) {
                continue;
            }
            std::string replacement = entry->first + separator_ + entry->second;
            logger.Log("Replacing line= \"%s\" with \"%s\"", line.substr(position).c_str(),
                       replacement.c_str());
            line.replace(position, std::string::npos, replacement);
            // Each keyword rewrites only the first line that mentions it.
            keywords.erase(entry);
            break;
        }
        result += line + "\n";
    }
    return result;
}
