// Fuzz target: the ROC answer's option text.
#include <cstddef>
#include <cstdint>

#include "parser/ROCParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Data answer(data, static_cast<int>(size));
    ROCParser parser;
    parser.parseData(&answer, CMD_ROC);
    int flash = 0;
    parser.getFLash(flash);
    return 0;
}
