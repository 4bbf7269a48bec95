// Fuzz target: reassembled NPA container answers through the parser registry and each RDC sub-parser.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "FuzzCommon.h"
#include "parser/NPAParser.h"
#include "parser/RDCDuplexParser.h"
#include "parser/RDCGenInfoParser.h"
#include "parser/RDCInputParser.h"
#include "parser/RDCOutputParser.h"
#include "parser/RDCSupplyParser.h"

// Input: selector byte (which parser, which command), then one whole answer.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    Data answer(data + 1, static_cast<int>(size - 1));
    RDCGenInfoParser companion;
    std::unique_ptr<Parser> parser;
    CommandID id = CMD_CONFIGURATION;
    switch (data[0] % 7) {
        case 0:
            parser = std::make_unique<NPAParser>();
            break;
        case 1:
            parser = std::make_unique<NPAParser>();
            id = CMD_SUPPLIES;
            break;
        case 2:
            parser = std::make_unique<RDCInputParser>();
            break;
        case 3:
            parser = std::make_unique<RDCOutputParser>();
            break;
        case 4:
            parser = std::make_unique<RDCDuplexParser>();
            break;
        case 5:
            parser = std::make_unique<RDCSupplyParser>(&companion);
            id = CMD_SUPPLIES;
            break;
        default:
            parser = std::make_unique<RDCGenInfoParser>();
            id = CMD_GENERAL_INFO;
            break;
    }
    parser->parseData(&answer, id);
    fuzz_common::askEverything(*parser);
    // A second answer into the same parser: what the first one left must not confuse it.
    parser->parseData(&answer, id);
    fuzz_common::askEverything(*parser);
    return 0;
}
