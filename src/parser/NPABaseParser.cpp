// NPABaseParser: checks that a reassembled NPA answer is whole; base of every NPA parser.
#include "parser/NPABaseParser.h"

#include "support/Logger.h"

namespace {
constexpr unsigned char kNpaStartByte = 0xA5;
}

int NPABaseParser::parseData(Data* answer, CommandID /*id*/) {
    Logger logger("NPABaseParser", "parseData");
    if (answer == nullptr) {
        logger.Log("error =%s", statusName(NPA_DATA_RESPONSE_ERROR));
        return NPA_DATA_RESPONSE_ERROR;
    }
    if (answer->get() == nullptr) {
        logger.Log("error =%s", statusName(NPA_DATA_BUFFER_ERROR));
        return NPA_DATA_BUFFER_ERROR;
    }
    if (CheckForDataValidity(answer->get(), static_cast<unsigned long>(answer->size()))) {
        return NPA_PARSE_OK;
    }
    logger.Log("error =%s", statusName(INVALID_RESPONSE_DATA_ERROR));
    return INVALID_RESPONSE_DATA_ERROR;
}

int NPABaseParser::checkAnswer(Logger& logger, Data* answer, CommandID id, size_t minimumSize) {
    if (answer != nullptr && answer->size() <= static_cast<int>(minimumSize)) {
        logger.Log("error =%s", statusName(INSUFFICIENT_NPA_DATA_ERROR));
        return INSUFFICIENT_NPA_DATA_ERROR;
    }
    int result = NPABaseParser::parseData(answer, id);
    if (result != NPA_PARSE_OK) {
        status_ = result;
    }
    return result;
}

int NPABaseParser::getSupplyInfo(std::list<supplyInfo_*>&) { return 0; }
int NPABaseParser::getTrays(std::map<int, std::string>&) { return 0; }
int NPABaseParser::getBins(std::map<int, std::string>&) { return 0; }
int NPABaseParser::getDuplex(int&) { return 0; }
int NPABaseParser::getFLash(int&) { return 0; }
int NPABaseParser::getFinishers(std::map<int, std::string>&) { return 0; }
int NPABaseParser::getSNMPCodePage(int&) { return 0; }
int NPABaseParser::getManualFeeder(int&) { return 0; }
int NPABaseParser::clearData() { return 0; }

bool NPABaseParser::CheckForDataValidity(const unsigned char* bytes, unsigned long size) {
    ByteCursor cursor(bytes, size);
    if (size < 3 || cursor.peek(0) != kNpaStartByte) {
        return false;
    }
    cursor.skip(1);
    return ByteReverse(cursor, 2) == size - 3;
}

uint64_t NPABaseParser::ByteReverse(const ByteCursor& bytes, unsigned short width) {
    if (width == 2 || width == 4 || width == 8) {
        return bytes.peekBigEndian(0, width);
    }
    if (!bytes.has(0, 1)) {
        return 0;
    }
    return static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(bytes.peek(0))));
}

uint64_t NPABaseParser::HexStrToLong(const ByteCursor& base, size_t offset, int count) {
    if (count <= 0) {
        return 0;
    }
    return base.peekBigEndian(offset, static_cast<size_t>(count));
}

const char* NPABaseParser::statusName(int status) {
    switch (status) {
        case NPA_DATA_RESPONSE_ERROR: return "NPA_DATA_RESPONSE_ERROR";
        case NPA_DATA_BUFFER_ERROR: return "NPA_DATA_BUFFER_ERROR";
        case INSUFFICIENT_NPA_DATA_ERROR: return "INSUFFICIENT_NPA_DATA_ERROR";
        case INVALID_RESPONSE_DATA_ERROR: return "INVALID_RESPONSE_DATA_ERROR";
        case INVALID_HEADER_INFO_ERROR: return "INVALID_HEADER_INFO_ERROR";
        default: return "";
    }
}
