// Fuzz target: the backend channel's "identifier=value" walk lines and the supply records built from them.
#include <cstddef>
#include <cstdint>

#include "FuzzCommon.h"
#include "parser/CUPSSNMPParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Data answer(data, static_cast<int>(size));
    CUPSSNMPParser parser;
    parser.parseData(&answer, CMD_SUPPLIES);
    fuzz_common::askEverything(parser);
    return 0;
}
