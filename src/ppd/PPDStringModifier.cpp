// PPDStringModifier: formats keywords as one "PPD: " or "ATTR: " line for the spooler.
#include "ppd/PPDStringModifier.h"

#include "support/Logger.h"

PPDStringModifier::PPDStringModifier() : PPDWriter("=") {}

const std::map<RequestType, std::string>& PPDStringModifier::prefixes() {
    // Duplex-option requests have no prefix on purpose: they produce no line.
    static const std::map<RequestType, std::string> table = {{REQ_INSTALLABLE_OPTIONS, "PPD: "},
                                                             {REQ_SUPPLY_LEVELS, "ATTR: "}};
    return table;
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
    auto prefix = prefixes().find(type);
    if (prefix == prefixes().end()) {
        return std::string();
    }
    // cupsd would cut a longer line and apply a part of it; writing none keeps the queue's
    // attributes consistent. Supply lines are shortened to fit before they get here.
    std::size_t length = lineLength(type, keywords);
    if (length > kMaxLineBytes) {
        logger.Log("Line of %d bytes is longer than %d bytes; not written", static_cast<int>(length),
                   static_cast<int>(kMaxLineBytes));
        return std::string();
    }
    return prefix->second + body;
}

std::size_t PPDStringModifier::lineLength(RequestType type,
                                          const std::map<std::string, std::string>& keywords) {
    auto prefix = prefixes().find(type);
    if (prefix == prefixes().end()) {
        return 0;
    }
    std::size_t length = prefix->second.size() + 1;  // the newline the stream adds
    for (const auto& entry : keywords) {
        length += entry.first.size() + 1 + entry.second.size() + 1;  // "keyword=value "
    }
    return length;
}
