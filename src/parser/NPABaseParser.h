// NPABaseParser: checks that a reassembled NPA answer is whole; base of every NPA parser.
#pragma once

#include <cstddef>
#include <cstdint>

#include "parser/Parser.h"
#include "support/ByteCursor.h"

class Logger;

// Parse status codes shared by every NPA parser.
enum NPAParseStatus {
    NPA_PARSE_OK = 0,
    NPA_DATA_RESPONSE_ERROR = 1,       // no Data object was passed
    NPA_DATA_BUFFER_ERROR = 2,         // the Data object holds no bytes
    INSUFFICIENT_NPA_DATA_ERROR = 3,   // the answer is too short to hold a tree
    INVALID_RESPONSE_DATA_ERROR = 4,   // bad start byte or length field
    INVALID_HEADER_INFO_ERROR = 5,     // the header string cannot be read
    NPA_NULL_CURSOR_ERROR = 7,         // a walk was started without bytes
    NPA_NOT_PARSED = 14,               // nothing parsed yet
};

class NPABaseParser : public Parser {
public:
    NPABaseParser() = default;
    ~NPABaseParser() override = default;

    // 0 when the answer frame is whole, else 1, 2 or 4. Does not store the status.
    int parseData(Data* answer, CommandID id) override;

    // The queries answer nothing here: they leave their argument alone and return 0.
    int getSupplyInfo(std::list<supplyInfo_*>& supplies) override;
    int getTrays(std::map<int, std::string>& trays) override;
    int getBins(std::map<int, std::string>& bins) override;
    int getDuplex(int& installed) override;
    int getFLash(int& installed) override;
    int getFinishers(std::map<int, std::string>& finishers) override;
    int getSNMPCodePage(int& codePage) override;
    int getManualFeeder(int& installed) override;
    // Forgets what the last answer reported; returns 0.
    virtual int clearData();

    // True when the first byte is 0xA5 and the 16-bit length at offset 1 equals size - 3.
    static bool CheckForDataValidity(const unsigned char* bytes, unsigned long size);
    // The |width| bytes at the cursor as a native number: big-endian for widths 2, 4 and 8,
    // the first byte sign-extended for any other width; 0 when the bytes are not there.
    static uint64_t ByteReverse(const ByteCursor& bytes, unsigned short width);
    // Big-endian unsigned value of |count| raw bytes at |offset| from the cursor; 0 when
    // count is 0 or negative or the bytes are not there.
    static uint64_t HexStrToLong(const ByteCursor& base, size_t offset, int count);

    // The logged name of a status code ("" for codes without one).
    static const char* statusName(int status);

protected:
    // The checks every parser makes before reading an answer: 3 when |answer| is not longer
    // than |minimumSize|, otherwise the frame check of NPABaseParser::parseData, whose error
    // is stored in the status. Errors are traced through |logger|.
    int checkAnswer(Logger& logger, Data* answer, CommandID id, size_t minimumSize);

    int status_ = NPA_NOT_PARSED;
};
