// PPDStringModifier: formats keywords as one "PPD: " or "ATTR: " line for the spooler.
#include "ppd/PPDStringModifier.h"

#include "support/Logger.h"

PPDStringModifier::PPDStringModifier() : PPDWriter("=") {
    // Duplex-option requests have no prefix on purpose: they produce no line.
    prefixes_[REQ_INSTALLABLE_OPTIONS] = "PPD: ";
    prefixes_[REQ_SUPPLY_LEVELS] = "ATTR: ";
}

int PPDStringModifier::writeData(RequestType type, Parser* parser) {
    int result = PPDWriter::writeData(type, parser);
    // Only a report that reached the spooler moves the reasons; a failed one leaves the
    // queue's reasons as the last good report set them.
    if (result != 0 || type != REQ_SUPPLY_LEVELS || !mapper_ || !outputStream_) {
        return result;
    }
    Logger logger("PPDStringModifier", "writeData");
    for (const std::string& line : mapper_->supplyStateReasons().lines()) {
        logger.Log("Supply state reasons: %s", line.c_str());
        outputStream_->WriteData(line);
    }
    return result;
}

std::string PPDStringModifier::formatData(RequestType type,
                                          std::map<std::string, std::string> keywords) {
    Logger logger("PPDStringModifier", "formatData");
    if (keywords.empty()) {
        return std::string();
    }
    std::string body;
    for (const auto& entry : keywords) {
        body += entry.first + separator_ + entry.second + " ";
    }
    logger.Log("Default string added: %s\n", body.c_str());
    auto prefix = prefixes_.find(type);
    if (prefix == prefixes_.end()) {
        return std::string();
    }
    return prefix->second + body;
}
