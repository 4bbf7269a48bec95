// PPDStringModifier: formats keywords as one "PPD: " or "ATTR: " line for the spooler.
#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "ppd/PPDWriter.h"

class PPDStringModifier : public PPDWriter {
public:
    // The longest line cupsd reads whole, newline included; it cuts longer lines and treats
    // the rest as a separate message.
    static constexpr std::size_t kMaxLineBytes = 2047;

    PPDStringModifier();

    // Writes the line as PPDWriter does; after a written supply report, also the
    // "STATE: " lines that set the supplies' state reasons. The result is the first line's.
    int writeData(RequestType type, Parser* parser) override;

    // Prefix and "keyword=value " per entry in keyword order; empty for an empty map, a
    // request type without a prefix, or a line longer than kMaxLineBytes.
    std::string formatData(RequestType type, std::map<std::string, std::string> keywords) override;

    // Bytes of the line that formatData gives for |keywords|, newline included; 0 for a
    // request type without a prefix.
    static std::size_t lineLength(RequestType type, const std::map<std::string, std::string>& keywords);

private:
    static const std::map<RequestType, std::string>& prefixes();
};
