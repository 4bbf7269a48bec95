// ROCParser: reads the ROC answer's name:number pairs and reports whether flash is installed.
#include "parser/ROCParser.h"

#include <cctype>
#include <cstdlib>
#include <exception>

#include "support/Logger.h"

namespace {

constexpr size_t kMinimumSize = 6;
constexpr size_t kCountOffset = 6;
constexpr size_t kTextOffset = 7;

bool isBlank(unsigned char byte) { return std::isspace(byte) != 0; }

// Reads pairs "name: number;" from |cursor| while fewer than |limit| bytes have been
// consumed. False when a pair runs into the end of the answer without its ":" or ";";
// the pairs read before it are kept.
bool readPairs(ByteCursor cursor, unsigned int limit, std::map<std::string, long>& record) {
    unsigned int consumed = 0;
    while (consumed < limit) {
        std::string name;
        while (!cursor.atEnd() && cursor.peek() != ':') {
            name += static_cast<char>(cursor.peek());
            cursor.skip(1);
            ++consumed;
        }
        if (cursor.atEnd()) {
            return false;
        }
        cursor.skip(1);
        ++consumed;
        while (!cursor.atEnd() && isBlank(cursor.peek())) {
            cursor.skip(1);
            ++consumed;
        }
        std::string number;
        while (!cursor.atEnd() && cursor.peek() != ';') {
            number += static_cast<char>(cursor.peek());
            cursor.skip(1);
            ++consumed;
        }
        if (cursor.atEnd()) {
            return false;
        }
        record[name] = std::strtol(number.c_str(), nullptr, 10);
        cursor.skip(1);
        ++consumed;
        while (consumed < limit && !cursor.atEnd() &&
               (isBlank(cursor.peek()) || cursor.peek() == 0)) {
            cursor.skip(1);
            ++consumed;
        }
    }
    return true;
}

}  // namespace

int ROCParser::parseData(Data* answer, CommandID id) {
    Logger logger("ROCParser", "parseData");
    int result = checkAnswer(logger, answer, id, kMinimumSize);
    if (result != NPA_PARSE_OK) {
        return result;
    }
    clearData();
    try {
        ByteCursor text(answer->get(), static_cast<size_t>(answer->size()));
        unsigned int passes = text.peek(kCountOffset);
        text.seek(kTextOffset);
        // The count byte is both the number of passes and the bytes read in each pass, so
        // every pass reads the same pairs: they are read once and appended once per pass.
        // Intended; getFLash answers the same from one copy or many.
        std::map<std::string, long> record;
        if (passes > 0) {
            readPairs(text, passes, record);
        }
        for (unsigned int pass = 0; pass < passes; ++pass) {
            records_.push_back(record);
        }
    } catch (const std::exception&) {
        status_ = -1;
        return -1;
    }
    status_ = NPA_PARSE_OK;
    return NPA_PARSE_OK;
}

int ROCParser::getFLash(int& out) {
    Logger logger("ROCParser", "getFLash");
    for (const auto& record : records_) {
        if (record.count("FLASH") != 0) {
            out = 1;
            break;
        }
    }
    return status_;
}

int ROCParser::clearData() {
    flash_ = -1;
    return 0;
}
